#!/usr/bin/env bash
# Every test: set up from nothing, then
#   1. the normal build and all test suites;
#   2. all suites again under AddressSanitizer + UndefinedBehaviorSanitizer;
#   3. the threaded suites under ThreadSanitizer;
#   4. every fuzzer for a bounded time on its corpus (ZR_FUZZ_SECONDS, default 30);
#   5. a consumer project built against the installed package.
# Stages can be chosen with ZR_STAGES="normal asan tsan fuzz consumer".
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

ZR_STAGES="${ZR_STAGES:-normal asan tsan fuzz consumer}"
ZR_FUZZ_SECONDS="${ZR_FUZZ_SECONDS:-30}"
passed=0
failed=0
summary=()
start_all=$SECONDS

stage_time() { echo "$(( SECONDS - $1 ))s"; }

# run_ctest DIR [ctest args...]: runs ctest and adds its counts to the totals.
run_ctest() {
  local dir="$1"
  shift
  local log="$dir/ctest.log"
  local rc=0
  ctest --test-dir "$dir" -j "$ZR_JOBS" --output-on-failure --timeout 600 "$@" 2>&1 | tee "$log" || rc=1
  local line
  line=$(grep -E 'tests passed, [0-9]+ tests? failed out of [0-9]+' "$log" | tail -n 1 || true)
  if [ -z "$line" ]; then
    echo "ctest in $dir printed no summary"
    failed=$(( failed + 1 ))
    return 1
  fi
  local total fails
  total=$(sed -E 's/.*out of ([0-9]+).*/\1/' <<<"$line")
  fails=$(sed -E 's/.* ([0-9]+) tests? failed.*/\1/' <<<"$line")
  passed=$(( passed + total - fails ))
  failed=$(( failed + fails ))
  return $rc
}

zr_install_packages

for stage in $ZR_STAGES; do
  t0=$SECONDS
  case "$stage" in
    normal)
      echo "== normal build and all tests"
      zr_build "$ZR_ROOT/build"
      run_ctest "$ZR_ROOT/build" || true
      ;;
    asan)
      echo "== AddressSanitizer + UndefinedBehaviorSanitizer"
      zr_build "$ZR_ROOT/build-asan" -DCMAKE_BUILD_TYPE=Debug "-DZR_SANITIZE=address;undefined"
      ASAN_OPTIONS="detect_leaks=1:abort_on_error=1" UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1" \
        run_ctest "$ZR_ROOT/build-asan" || true
      ;;
    tsan)
      echo "== ThreadSanitizer, threaded suites"
      zr_build "$ZR_ROOT/build-tsan" -DCMAKE_BUILD_TYPE=Debug -DZR_SANITIZE=thread
      TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1" run_ctest "$ZR_ROOT/build-tsan" -L threaded || true
      ;;
    fuzz)
      echo "== fuzzers, ${ZR_FUZZ_SECONDS}s each"
      zr_build "$ZR_ROOT/build-fuzz" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZR_FUZZ=ON -DZR_TESTS=OFF \
        -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14
      for fuzzer in "$ZR_ROOT"/build-fuzz/fuzz/fuzz_*; do
        name=$(basename "$fuzzer")
        name=${name#fuzz_}
        work="$ZR_ROOT/build-fuzz/corpus-$name"
        mkdir -p "$work"
        if [ -d "$ZR_ROOT/fuzz/corpus/$name" ]; then cp -r "$ZR_ROOT/fuzz/corpus/$name/." "$work/"; fi
        log="$ZR_ROOT/build-fuzz/$name.log"
        # fuzz/<name>.options holds a fuzzer's own flags, such as a larger -max_len.
        extra=()
        if [ -f "$ZR_ROOT/fuzz/$name.options" ]; then read -r -a extra <"$ZR_ROOT/fuzz/$name.options"; fi
        if "$fuzzer" -max_total_time="$ZR_FUZZ_SECONDS" -print_final_stats=1 "${extra[@]}" "$work" >"$log" 2>&1; then
          runs=$(grep -E 'stat::number_of_executed_units' "$log" | awk '{print $2}')
          echo "fuzz $name: ok, ${runs:-?} executions"
          passed=$(( passed + 1 ))
        else
          echo "fuzz $name: FAILED"
          tail -n 60 "$log"
          failed=$(( failed + 1 ))
        fi
      done
      ;;
    consumer)
      echo "== consumer project against the installed package"
      zr_build "$ZR_ROOT/build"
      prefix="$ZR_ROOT/build/install-prefix"
      rm -rf "$prefix" "$ZR_ROOT/build/consumer"
      cmake --install "$ZR_ROOT/build" --prefix "$prefix" >/dev/null
      if cmake -S "$ZR_ROOT/tests/consumer" -B "$ZR_ROOT/build/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null &&
        cmake --build "$ZR_ROOT/build/consumer" &&
        LD_LIBRARY_PATH="$prefix/lib" "$ZR_ROOT/build/consumer/consumer_cmake" &&
        LD_LIBRARY_PATH="$prefix/lib" "$ZR_ROOT/build/consumer/consumer_pkgconfig"; then
        echo "consumer: ok"
        passed=$(( passed + 1 ))
      else
        echo "consumer: FAILED"
        failed=$(( failed + 1 ))
      fi
      ;;
    *)
      echo "unknown stage $stage"
      failed=$(( failed + 1 ))
      ;;
  esac
  summary+=("$stage $(stage_time $t0)")
done

echo
echo "== stages: ${summary[*]}; total $(( SECONDS - start_all ))s"
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
