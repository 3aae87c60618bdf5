#!/usr/bin/env bash
# Builds the fuzz targets with clang (libFuzzer, AddressSanitizer,
# UndefinedBehaviorSanitizer) in build/fuzz and runs one of them.
#
#   scripts/fuzz.sh TARGET SECONDS [libFuzzer options...]
#
# TARGET: exchange_reader, ini_reader or site_rule. The corpus grows in
# build/fuzz/corpus/TARGET; a crash is left in build/fuzz/findings.
# OMBRIX_FUZZ_BUILD picks another build folder.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
target=${1:?usage: fuzz.sh TARGET SECONDS}
seconds=${2:?usage: fuzz.sh TARGET SECONDS}
shift 2
build=${OMBRIX_FUZZ_BUILD:-$root/build/fuzz}
cc=$(command -v clang-16 || true)
cxx=$(command -v clang++-16 || true)
if [ -z "$cc" ] || [ -z "$cxx" ]; then
  echo "fuzz.sh: clang-16 is missing; run scripts/setup.sh" >&2
  exit 1
fi
if [ ! -f "$build/build.ninja" ]; then
  CC=$cc CXX=$cxx cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DOMBRIX_FUZZ=ON -DOMBRIX_TESTS=OFF -DOMBRIX_BENCH=OFF >/dev/null
fi
cmake --build "$build" -j "${OMBRIX_JOBS:-2}" --target "fuzz_$target"
corpus=$build/corpus/$target
mkdir -p "$corpus" "$build/findings"
# Seeds from the repository: a real exchange file, the language file.
case $target in
  exchange_reader) cp -n "$root"/fuzz/seeds/*.OX "$corpus"/ 2>/dev/null || true ;;
  ini_reader) [ -e "$corpus/italian" ] || { printf 'Strings=0001\n'; cat "$root/data/italian.lng"; } >"$corpus/italian" ;;
esac
"$build/bin/fuzz_$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=65536 \
  -artifact_prefix="$build/findings/$target-" -print_final_stats=1 "$@" "$corpus"
