#!/usr/bin/env bash
# Runs the differential test of the site rules in full: random addresses and
# site lists through the compiled list and through the literal walk, which
# must give the same answer every time. The test suite runs a few thousand
# pairs; this runs a million or more in a release build.
#
#   scripts/differential.sh [BUILD_DIR] [PAIRS] [SEED]
#
# BUILD_DIR defaults to build/differential, PAIRS to 1000000; SEED (or
# OMBRIX_DIFFERENTIAL_SEED) picks another random sequence.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/differential}
pairs=${2:-1000000}
seed=${3:-${OMBRIX_DIFFERENTIAL_SEED:-20240305}}
"$root/scripts/setup.sh"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DOMBRIX_TESTS=ON >/dev/null
cmake --build "$build" -j "${OMBRIX_JOBS:-2}" --target ombrix_tests
cd "$build/bin"
OMBRIX_DIFFERENTIAL_PAIRS=$pairs OMBRIX_DIFFERENTIAL_SEED=$seed \
  ./ombrix_tests --gtest_filter='SiteListDifferential.*'
