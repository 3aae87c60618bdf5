#!/usr/bin/env bash
# Runs a Windows program through scripts/wine-run with Wine's debug output
# (each ReportEventW call) copied to TRACE, named in OMBRIX_EVENT_TRACE.
#   tests/win32/with_event_trace.sh TRACE PROGRAM.exe [ARGS...]
set -uo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
trace=${1:?usage: with_event_trace.sh TRACE PROGRAM.exe [ARGS...]}
shift
: >"$trace"
trace=$(cd "$(dirname "$trace")" && pwd)/$(basename "$trace")
# Wine's drive Z: is the root of the Linux file system.
export OMBRIX_EVENT_TRACE="Z:${trace//\//\\}"
export WINEDEBUG=-all,fixme+advapi,+eventlog
# A plain pipe, and no descriptor left open for wine-run's children: the wine
# server it may start outlives the test, and would hold the copy open.
exec 3>&1
"$root/scripts/wine-run" "$@" 2>&1 >&3 3>&- | tee -a "$trace" >&2 3>&-
exit "${PIPESTATUS[0]}"
