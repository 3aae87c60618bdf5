#!/usr/bin/env bash
# Unpacks Wine's generated UI Automation client header from Debian's
# libwine-dev package (downloaded, never installed) into DEST/wine-uia/: the
# reference a Windows test compares our own interface declarations with.
# Exits non-zero, changing nothing, when the package cannot be had. Run only
# when the build is configured with -DOMBRIX_UIA_REFERENCE=ON.
set -euo pipefail
dest=${1:?usage: fetch-wine-uia-reference.sh DEST}
[ -f "$dest/wine-uia/uiautomationclient.h" ] && exit 0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
apt-get download libwine-dev >/dev/null 2>&1
dpkg -x libwine-dev_*.deb unpacked
header=$(find unpacked -name uiautomationclient.h | head -n 1)
[ -n "$header" ] || exit 1
from=$(dirname "$header")
mkdir -p "$dest/wine-uia.tmp"
cp "$from/uiautomationcore.h" "$dest/wine-uia.tmp/"
# Its own core header, not the older one of the compiler.
sed 's/#include <uiautomationcore.h>/#include "uiautomationcore.h"/' "$header" >"$dest/wine-uia.tmp/uiautomationclient.h"
rm -rf "$dest/wine-uia"
mv "$dest/wine-uia.tmp" "$dest/wine-uia"
