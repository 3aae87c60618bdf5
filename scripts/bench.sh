#!/usr/bin/env bash
# Builds the native release build and runs the benchmarks. Arguments go to
# the benchmark program (e.g. --benchmark_filter=Insert).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${OMBRIX_BUILD:-$root/build}/release
"$root/scripts/setup.sh"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DOMBRIX_TESTS=OFF >/dev/null
cmake --build "$build" -j "${OMBRIX_JOBS:-2}" --target ombrix_bench ombrix_data
cd "$build/bin" && ./ombrix_bench "$@"
