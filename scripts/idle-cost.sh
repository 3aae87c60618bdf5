#!/usr/bin/env bash
# What Ombrix costs the machine while nothing happens: the Windows build runs
# under Wine on a generated store (one profile of N forbidden site entries,
# forbidden processes and titles, the log on), and for T seconds this reports
# the CPU share of ombrix.exe, of wineserver and of the rest of the Wine
# session, read from /proc. First the session alone, then with Ombrix and no
# browser, then with a browser stand-in open on an allowed page: as chrome.exe,
# then under a name Ombrix does not know (a browser it finds by what it shows).
#
#   scripts/idle-cost.sh [--entries N] [--seconds T] [BUILD]   (default 100000, 20, build/windows)
#
# The session has a Wine prefix of its own (BUILD/wine-idle), so nothing else
# running under Wine is counted. A share is of one core: 100% is a core kept busy.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
entries=100000 seconds=20 build=$root/build/windows
while [ $# -gt 0 ]; do
  case $1 in
    --entries) entries=$2; shift 2 ;;
    --seconds) seconds=$2; shift 2 ;;
    -*) echo "usage: idle-cost.sh [--entries N] [--seconds T] [BUILD]" >&2; exit 2 ;;
    *) build=$(cd "$1" && pwd); shift ;;
  esac
done
bin=$build/bin
for f in ombrix.exe italian.lng browser_standin.exe DataBase/DataBase.db; do
  [ -e "$bin/$f" ] || { echo "idle-cost: $bin/$f is missing; build first (scripts/build-windows.sh)" >&2; exit 1; }
done
command -v sqlite3 >/dev/null || { echo "idle-cost: sqlite3 is missing; run scripts/setup.sh" >&2; exit 1; }

prefix=$build/wine-idle
export OMBRIX_WINEPREFIX=$prefix
run() { "$root/scripts/wine-run" "$@"; }
stop_session() { WINEPREFIX=$prefix wineserver -k 2>/dev/null || true; sleep 1; }
trap stop_session EXIT

# Creates the prefix and its desktop, so the baseline sees a settled session.
run cmd /c exit </dev/null >/dev/null 2>&1 || true

folder=$prefix/drive_c/ombrix-idle
rm -rf "$folder"
mkdir -p "$folder/DataBase" "$folder/browser"
cp "$bin/ombrix.exe" "$bin/italian.lng" "$folder/"
cp "$bin/DataBase/DataBase.db" "$folder/DataBase/"
cp "$bin/browser_standin.exe" "$folder/browser/chrome.exe"
cp "$bin/browser_standin.exe" "$folder/browser/navigatore.exe"
sqlite3 "$folder/DataBase/DataBase.db" <<SQL
BEGIN;
WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < $entries)
INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) SELECT 1, '.sito' || i || '.example' FROM n;
INSERT INTO ProcessiVietati (IDProfilo, Processo) VALUES (1, 'giochi.exe');
INSERT INTO NomiFinestreVietate (IDProfilo, NomeFinestra) VALUES (1, 'Campo minato');
UPDATE Profili SET SitiProibiti = -1 WHERE IDProfilo = 1;
UPDATE Opzioni SET LogSiti = -1, IDProfiloInUso = 1;
COMMIT;
SQL
printf 'Segreta1\n' | run "$bin/ombrixctl.exe" --db 'C:\ombrix-idle\DataBase\DataBase.db' password set >/dev/null
run reg add 'HKLM\SOFTWARE\Ombrix\Opzioni' /v DataBase /t REG_SZ /d 'C:\ombrix-idle\DataBase' /f >/dev/null 2>&1

# The Wine processes of this session: their environment names our prefix.
session_pids() {
  local pid
  for pid in $(grep -lzx "WINEPREFIX=$prefix" /proc/[0-9]*/environ 2>/dev/null | cut -d/ -f3); do
    case $(readlink "/proc/$pid/exe" 2>/dev/null) in */wine*) echo "$pid" ;; esac
  done
}
# Clock ticks used so far by each process: "pid name ticks".
ticks() {
  local pid
  for pid in $(session_pids); do
    # The name sits in parentheses and may hold blanks; the times follow it.
    awk -v pid="$pid" '{ line = $0; sub(/^[^(]*\(/, "", line); name = line; sub(/\).*$/, "", name);
      sub(/^.*\) /, "", line); split(line, f, " "); print pid, name, f[12] + f[13] }' "/proc/$pid/stat" 2>/dev/null \
      || true
  done
}
# Measures for $seconds and prints the share of ombrix.exe, wineserver and the rest.
measure() {
  local before after hz
  hz=$(getconf CLK_TCK)
  before=$(ticks)
  sleep "$seconds"
  after=$(ticks)
  awk -v hz="$hz" -v t="$seconds" -v label="$1" '
    NR == FNR { start[$1] = $3; next }
    { used = $3 - (($1 in start) ? start[$1] : 0); who = ($2 == "ombrix.exe") ? "ombrix" : ($2 ~ /^wineserver/) ? "server" : "rest"
      sum[who] += used }
    END { printf "%-38s ombrix.exe %5.1f%%   wineserver %5.1f%%   rest of the session %5.1f%%\n", label,
            100 * sum["ombrix"] / hz / t, 100 * sum["server"] / hz / t, 100 * sum["rest"] / hz / t }' \
    <(echo "$before") <(echo "$after")
}

sleep 5
measure "without Ombrix"

(run 'C:\ombrix-idle\ombrix.exe' </dev/null >/dev/null 2>&1 &)
for _ in $(seq 60); do ticks | grep -q ' ombrix.exe ' && break; sleep 1; done
ticks | grep -q ' ombrix.exe ' || { echo "idle-cost: ombrix.exe did not start" >&2; exit 1; }
sleep 15  # loading the list and the splash's second
measure "Ombrix, no browser ($entries entries)"

# Ends the stand-ins of this session.
end_browsers() {
  local pid
  for pid in $(session_pids); do
    case $(tr '\0' ' ' <"/proc/$pid/cmdline" 2>/dev/null) in *browser*) kill "$pid" 2>/dev/null || true ;; esac
  done
  sleep 2
}

for browser in chrome navigatore; do
  (run "C:\\ombrix-idle\\browser\\$browser.exe" --name 'Address and search bar' 'http://www.consentito.example/' \
    </dev/null >/dev/null 2>&1 &)
  sleep 5
  measure "Ombrix, one browser open ($browser.exe)"
  end_browsers
done
