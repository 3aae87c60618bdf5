#!/usr/bin/env bash
# Builds the Windows installers from the Windows build:
#   scripts/package.sh [BUILD_DIR]     (default build/windows)
# writes BUILD_DIR/package/ombrix-setup-VERSION.exe and, for deployment
# tools, BUILD_DIR/package/ombrix-VERSION-x64.msi, and prints their paths in
# that order, one a line.
# OMBRIX_PACKAGE_NO_BUILD=1 packages what is built already;
# OMBRIX_PACKAGE_VERSION=x.y.z stamps another version on the installers (the
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
for f in ombrix.exe ombrixctl.exe metrokiller.exe ombrixguard.exe italian.lng english.lng DataBase/DataBase.db; do
  [ -f "$build/bin/$f" ] || { echo "package: $build/bin/$f is missing; build first" >&2; exit 1; }
done
mkdir -p "$build/package"
out="$build/package/ombrix-setup-$version.exe"
makensis -V2 -INPUTCHARSET UTF8 -DVERSION="$version" -DBINDIR="$build/bin" -DOUTFILE="$out" "$root/installer/ombrix.nsi" >&2
echo "$out"

# The package takes every language file the build ships. wixl reads the
# sources only by paths relative to where it runs: it runs in the build's bin.
msi="$build/package/ombrix-$version-x64.msi"
{
  echo '<?xml version="1.0" encoding="utf-8"?>'
  echo '<Include>'
  echo '  <Component Id="Languages" Guid="5E0B7C39-2A86-4F1D-9C3E-B84D16A0F275" Win64="yes">'
  keypath=' KeyPath="yes"'
  for f in "$build"/bin/*.lng; do
    name=$(basename "$f")
    echo "    <File Id=\"$name\" Name=\"$name\" Source=\"$name\"$keypath/>"
    keypath=
  done
  echo '  </Component>'
  echo '</Include>'
} >"$build/package/languages.wxi"
icon=$(realpath --relative-to="$build/bin" "$root/src/app/win32/res/ombrix.ico")
(cd "$build/bin" && wixl -a x64 -D Version="$version" -D BinDir=. -D IconFile="$icon" -I "$build/package" \
  -o "$msi" "$root/installer/ombrix.wxs") >&2
echo "$msi"
