#!/usr/bin/env bash
# Cross-compiles the Windows build into DIR (default build/windows).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
dir=${1:-$root/build/windows}
sqlite=${OMBRIX_SQLITE_CACHE:-$root/build/_deps/sqlite}
"$root/scripts/fetch-sqlite.sh" "$sqlite"
echo "== Windows build (MinGW-w64)"
cmake -S "$root" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
  -DOMBRIX_SQLITE_DIR="$sqlite" -DOMBRIX_WERROR=ON >/dev/null
cmake --build "$dir" -j "${OMBRIX_JOBS:-2}"
