#!/usr/bin/env bash
# How long a pupil's forced end leaves the PC unfiltered under the guard
# service: under Wine, ombrix.exe is ended 20 times (TerminateProcess, each
# time after it ran 10 s, as a pupil finds it running) and, each time, a
# forbidden program is started at once; the time from the end
# to that program's end (the program the guard started again enforcing) is
# measured, and the minimum, median and maximum printed. A measure, not a
# check: it fails only when the program is not started again at all. It
# takes about four minutes.
#
#   scripts/guard-restart-time.sh [BUILD]   (default build/windows)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build/windows}" && pwd)
for f in ombrix_e2e_tests.exe ombrixguard.exe ombrix.exe window_recorder.exe; do
  [ -e "$build/bin/$f" ] || { echo "guard-restart-time: $build/bin/$f is missing; build first" >&2; exit 1; }
done
cd "$build/bin"
GTEST_FILTER='GuardTest.DISABLED_KillToEnforcementTimes' \
  "$root/scripts/wine-run" ./ombrix_e2e_tests.exe --gtest_also_run_disabled_tests 2>&1 |
  grep -E '^kill to enforcement|FAILED|Failure' || { echo "guard-restart-time: no measure" >&2; exit 1; }
