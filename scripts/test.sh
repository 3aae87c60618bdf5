#!/usr/bin/env bash
# The whole test suite: installs what is missing, then builds and tests
#   1. the native build, with AddressSanitizer and UndefinedBehaviorSanitizer;
#   2. the Windows build, cross-compiled with MinGW-w64, its tests run under Wine.
# Exits non-zero when anything fails.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${OMBRIX_BUILD:-$root/build}
jobs=${OMBRIX_JOBS:-2}

"$root/scripts/setup.sh"
# Whatever ends this run, the virtual display and the wineserver go with it.
trap '"$root/scripts/wine-stop" "$build/windows"' EXIT
trap 'exit 130' INT TERM

echo "== native build (sanitizers on)"
cmake -S "$root" -B "$build/native" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
  -DOMBRIX_SANITIZE=ON -DOMBRIX_WERROR=ON >/dev/null
cmake --build "$build/native" -j "$jobs"
ctest --test-dir "$build/native" -j "$jobs" --output-on-failure --timeout 600

"$root/scripts/build-windows.sh" "$build/windows"

echo "== Windows tests under Wine"
ctest --test-dir "$build/windows" -j "$jobs" --output-on-failure --timeout 900
