# Install rules: libraries, headers under include/zrbase/ with their relative
# paths, the CMake package (zrbase::zrbase, zrbase::zr, zrbase::OS) and zrbase.pc.
include(CMakePackageConfigHelpers)

install(TARGETS OS zr zrbase EXPORT zrbaseTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

install(DIRECTORY platform/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zrbase
  FILES_MATCHING PATTERN "*.h" PATTERN "posix" EXCLUDE)
install(DIRECTORY src/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zrbase
  FILES_MATCHING PATTERN "*.h")

install(EXPORT zrbaseTargets NAMESPACE zrbase:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zrbase)
configure_package_config_file(cmake/zrbaseConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/zrbaseConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zrbase)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/zrbaseConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zrbaseConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/zrbaseConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zrbase)

# The .pc file finds its prefix from its own place, so that an installed
# tree can be moved (or installed with --prefix) and still be found.
file(RELATIVE_PATH ZR_PC_TO_PREFIX "/root/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/root")
configure_file(cmake/zrbase.pc.in ${CMAKE_CURRENT_BINARY_DIR}/zrbase.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zrbase.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
# The run-time data (strings.txt) goes to the shared root that the library
# reads: the shared data folder's "korvane/", which for the default prefix is
# /usr/local/share/korvane/ (another prefix: point ZR_SHARED_DATA_DIR or
# XDG_DATA_DIRS at its share/).
install(DIRECTORY data/ DESTINATION ${CMAKE_INSTALL_DATADIR}/korvane OPTIONAL)
