#!/usr/bin/env bash
# Side by side with the fastest JavaScript filter engine we know
# (@ghostery/adblocker, installed from the npm registry into the build
# folder): the same made-up list of domains and the same addresses through
# `ombrixctl check PROFILE -` and through the engine, whose rule for each
# domain is "||domain^". Prints the time of ombrixctl's whole command and the
# engine's matching time alone (the list already loaded), each the best of
# three, and the number of addresses the two judge differently, which must be
# 0: the script fails otherwise.
#
#   scripts/versus-npm.sh [BUILD_DIR] [DOMAINS] [ADDRESSES]
#
# BUILD_DIR defaults to the release build of scripts/bench.sh, DOMAINS to
# 100000 and ADDRESSES to 1000000.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-${OMBRIX_BUILD:-$root/build}/release}
domains=${2:-100000}
addresses=${3:-1000000}
engine_version=2.18.2
"$root/scripts/setup.sh"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DOMBRIX_TESTS=OFF >/dev/null
cmake --build "$build" -j "${OMBRIX_JOBS:-2}" --target ombrixctl ombrix_site_data ombrix_data

engine=$build/npm-engine
if [ "$(cat "$engine/installed" 2>/dev/null)" != "$engine_version" ]; then
  mkdir -p "$engine"
  echo '{"private": true}' >"$engine/package.json"
  npm install --prefix "$engine" --no-audit --no-fund --silent "@ghostery/adblocker@$engine_version"
  echo "$engine_version" >"$engine/installed"
fi
# Beside its node_modules, so that node finds the engine.
cp "$root/scripts/versus-npm.mjs" "$engine/"

data=$build/versus-npm-data
mkdir -p "$data"
"$build/bin/ombrix_site_data" "$data" "$domains" "$addresses"

best=
for _ in 1 2 3; do
  start=$(date +%s%N)
  "$build/bin/ombrixctl" --db "$data/sites.db" check '#1' - <"$data/addresses.txt" >"$data/ombrix-verdicts.txt"
  elapsed=$(( ($(date +%s%N) - start) / 1000000 ))
  if [ -z "$best" ] || [ "$elapsed" -lt "$best" ]; then best=$elapsed; fi
done
engine_seconds=$(node "$engine/versus-npm.mjs" "$data/domains.txt" "$data/addresses.txt" 2>&1 >"$data/npm-verdicts.txt")

disagreements=$(paste -d' ' <(cut -d' ' -f1 "$data/ombrix-verdicts.txt") "$data/npm-verdicts.txt" |
  awk '$1 != $2 { n++ } END { print n + 0 }')
judged=$(wc -l <"$data/npm-verdicts.txt")
printf '%s domains, %s addresses\n' "$domains" "$judged"
printf 'ombrixctl check, whole command:   %d.%03d s\n' $((best / 1000)) $((best % 1000))
printf 'npm engine, matching alone:       %s s\n' "$engine_seconds"
printf 'disagreements:                    %s\n' "$disagreements"
[ "$disagreements" -eq 0 ] && [ "$judged" -eq "$(wc -l <"$data/ombrix-verdicts.txt")" ]
