#!/usr/bin/env bash
# Builds what is missing and runs Ombrix's Windows build under Wine, with the
# delivered database beside it. Until the main program exists this runs the
# administration tool, ombrixctl.exe: any arguments are passed to it
# (default: list the profiles of the delivered database).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${OMBRIX_BUILD:-$root/build}

"$root/scripts/setup.sh"
"$root/scripts/build-windows.sh" "$build/windows" >/dev/null

cd "$build/windows/bin"
if [ $# -eq 0 ]; then
  set -- --db 'DataBase\DataBase.db' profiles
fi
status=0
"$root/scripts/wine-run" ./ombrixctl.exe "$@" || status=$?
"$root/scripts/wine-stop" "$build/windows"
exit $status
