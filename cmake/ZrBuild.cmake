# Compiler settings shared by every target of the project.

find_program(ZR_CCACHE ccache)
if(ZR_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER ${ZR_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${ZR_CCACHE})
endif()

add_library(zr_warnings INTERFACE)
target_compile_options(zr_warnings INTERFACE -Wall -Wextra -Wno-unused-parameter)

# Sanitizers apply to everything, tests and dependencies built here alike.
if(ZR_SANITIZE)
  string(REPLACE ";" "," _zr_san "${ZR_SANITIZE}")
  add_compile_options(-fsanitize=${_zr_san} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=${_zr_san})
endif()
if(ZR_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# Every library of the project: shared, no undefined symbols, headers found
# relative to platform/ and src/.
function(zr_library target)
  cmake_parse_arguments(ARG "" "OUTPUT_NAME;INCLUDE_ROOT" "SOURCES;PUBLIC_LIBS;PRIVATE_LIBS" ${ARGN})
  add_library(${target} SHARED ${ARG_SOURCES})
  add_library(zrbase::${target} ALIAS ${target})
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ${ARG_OUTPUT_NAME}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    EXPORT_NAME ${target})
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${ARG_INCLUDE_ROOT}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/zrbase>)
  target_link_libraries(${target} PUBLIC ${ARG_PUBLIC_LIBS} PRIVATE ${ARG_PRIVATE_LIBS} zr_warnings)
  # No program replaces a function of these libraries, so calls inside one
  # library may be inlined and bound directly instead of going through the PLT.
  target_compile_options(${target} PRIVATE -fno-semantic-interposition)
  if(NOT ZR_SANITIZE AND NOT ZR_FUZZ)
    # The sanitizer runtimes resolve their symbols at load time.
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
endfunction()
