#!/usr/bin/env bash
# Builds what is missing and runs Ombrix (ombrix.exe) under Wine, in a
# virtual desktop with a task bar, on the delivered empty database. The
# program keeps its store in build/run/DataBase between runs; at the first
# start it asks the administrator to choose a password.
#
# With no display (a server, CI), Ombrix runs on a virtual X display: the
# script says which, and how to look at it.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${OMBRIX_BUILD:-$root/build}
run=$build/run

"$root/scripts/setup.sh"
"$root/scripts/build-windows.sh" "$build/windows" >/dev/null

mkdir -p "$run/DataBase"
cp "$build/windows/bin/ombrix.exe" "$build/windows/bin/ombrixctl.exe" "$build/windows/bin/italian.lng" \
  "$build/windows/bin/english.lng" "$run/"
[ -f "$run/DataBase/DataBase.db" ] || cp "$build/windows/bin/DataBase/DataBase.db" "$run/DataBase/"

# A prefix of its own, so the tests' settings never reach the program you run.
export OMBRIX_WINEPREFIX=$run/wine
cd "$run"
"$root/scripts/wine-run" cmd /c exit </dev/null >/dev/null 2>&1 || true
WINEDEBUG=-all WINEPREFIX=$OMBRIX_WINEPREFIX wine reg add 'HKLM\SOFTWARE\Ombrix\Opzioni' /v DataBase /t REG_SZ \
  /d "$(WINEDEBUG=-all WINEPREFIX=$OMBRIX_WINEPREFIX winepath -w "$run/DataBase")" /f >/dev/null 2>&1

if [ -z "${DISPLAY:-}" ]; then
  display=$(cat "$run/.wine-state/xvfb.display" 2>/dev/null || echo "?")
  echo "Ombrix runs on the virtual display $display. To look at it:"
  echo "  DISPLAY=$display import -window root ombrix.png   (a screenshot)"
  echo "  x11vnc -display $display   (then connect a VNC viewer)"
fi
echo "Ombrix is running; it ends with its own exit command (administrator, 'Esci da Ombrix')."
status=0
"$root/scripts/wine-run" ./ombrix.exe || status=$?
"$root/scripts/wine-stop" "$run"
exit $status
