#!/usr/bin/env bash
# Builds the benchmarks in release mode, runs them and prints the table:
# operation, ours, peer, ratio. Extra arguments go to the benchmark binary
# (for example --benchmark_filter=UUID).
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
zr_install_packages "${ZR_BENCH_PACKAGES[@]}"
zr_build "$ZR_ROOT/build-bench" -DCMAKE_BUILD_TYPE=Release -DZR_BENCH=ON -DZR_TESTS=OFF
out="$ZR_ROOT/build-bench/bench.json"
"$ZR_ROOT/build-bench/bench/zr_bench" --benchmark_format=json --benchmark_out="$out" \
  --benchmark_out_format=json --benchmark_min_time=0.2 "$@" >/dev/null
python3 "$ZR_ROOT/bench/compare.py" "$out"
