#!/usr/bin/env bash
# The whole test suite: installs what is missing, then builds and tests
#   1. the native build, with AddressSanitizer and UndefinedBehaviorSanitizer;
#   2. the fuzz targets, built with clang, each run for 30 seconds;
#   3. the Windows build, cross-compiled with MinGW-w64, its tests run under Wine;
#   4. a 2-minute soak of the program under Wine (scripts/soak.sh).
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

echo "== fuzz targets, 30 s each (clang, libFuzzer)"
for target in exchange_reader ini_reader site_rule; do
  log="$build/fuzz-$target.log"
  if ! OMBRIX_FUZZ_BUILD="$build/fuzz" "$root/scripts/fuzz.sh" "$target" 30 >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    echo "fuzz target $target failed (log: $log)" >&2
    exit 1
  fi
  grep -E '^stat::number_of_executed_units' "$log" | sed "s/^/  $target /"
done

"$root/scripts/build-windows.sh" "$build/windows"

echo "== Windows tests under Wine"
ctest --test-dir "$build/windows" -j "$jobs" --output-on-failure --timeout 900

echo "== soak, 2 minutes"
"$root/scripts/soak.sh" 2
