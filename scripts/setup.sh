#!/usr/bin/env bash
# Installs everything the two builds and their tests need, from Debian's
# packages, and fetches the SQLite amalgamation for the Windows build.
# Safe to run again: it only does what is missing.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

# `wine` brings the wine and wineserver commands; wine64 alone has neither.
# libxml2-utils brings xmllint, and libxml2-dev the parser the native test
# of the administrative templates reads them with.
# binutils-mingw-w64-x86-64 brings windres and windmc (the event log's texts).
# wixl builds the MSI; msitools' msiinfo reads its tables in the tests.
packages=(
  build-essential cmake ninja-build pkg-config git ca-certificates
  libsqlite3-dev libssl-dev libgtest-dev libgmock-dev googletest libbenchmark-dev
  g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64
  wine wine64 xvfb xdotool imagemagick x11-utils sqlite3 nsis procps libidn2-dev
  clang-16 libclang-rt-16-dev libxml2-utils libxml2-dev wixl msitools
)
# npm fetches the SQLite amalgamation; a machine may have its own Node.js
# already, which Debian's npm package would conflict with.
command -v npm >/dev/null 2>&1 || packages+=(nodejs npm)

as_root() { if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi; }

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  as_root apt-get update -qq
  log=$(mktemp)
  if ! as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" \
      >"$log" 2>&1; then
    tail -30 "$log" >&2
    rm -f "$log"
    echo "setup: apt-get could not install the packages above" >&2
    exit 1
  fi
  rm -f "$log"
fi

# A package can install without the command a script calls: check each.
absent=()
for c in wine wineserver Xvfb xdotool import x86_64-w64-mingw32-g++ x86_64-w64-mingw32-windres x86_64-w64-mingw32-windmc \
         cmake ninja npm g++ flock setsid sqlite3 makensis pgrep clang-16 clang++-16 xmllint \
         wixl msiinfo; do
  command -v "$c" >/dev/null 2>&1 || absent+=("$c")
done
if [ ${#absent[@]} -gt 0 ]; then
  echo "setup: still missing after installing: ${absent[*]}" >&2
  exit 1
fi

"$root/scripts/fetch-sqlite.sh" "${OMBRIX_SQLITE_CACHE:-$root/build/_deps/sqlite}"
