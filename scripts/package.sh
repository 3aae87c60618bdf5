#!/usr/bin/env bash
# Builds the Windows installer from the Windows build:
#   scripts/package.sh [BUILD_DIR]     (default build/windows)
# writes BUILD_DIR/package/ombrix-setup-VERSION.exe and prints its path.
# OMBRIX_PACKAGE_NO_BUILD=1 packages what is built already;
# OMBRIX_PACKAGE_VERSION=x.y.z stamps another version on the installer (the
# tests make an "upgrade" that way without a second build).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/windows}

if [ "${OMBRIX_PACKAGE_NO_BUILD:-0}" != 1 ]; then
  "$root/scripts/setup.sh"
  "$root/scripts/build-windows.sh" "$build"
fi
build=$(cd "$build" && pwd)
version=${OMBRIX_PACKAGE_VERSION:-$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")}
[[ $version =~ ^[0-9]+\.[0-9]+\.[0-9]+$ ]] || { echo "package: no x.y.z version ($version)" >&2; exit 1; }
for f in ombrix.exe ombrixctl.exe metrokiller.exe italian.lng english.lng DataBase/DataBase.db; do
  [ -f "$build/bin/$f" ] || { echo "package: $build/bin/$f is missing; build first" >&2; exit 1; }
done
mkdir -p "$build/package"
out="$build/package/ombrix-setup-$version.exe"
makensis -V2 -INPUTCHARSET UTF8 -DVERSION="$version" -DBINDIR="$build/bin" -DOUTFILE="$out" "$root/installer/ombrix.nsi" >&2
echo "$out"
