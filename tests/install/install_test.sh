#!/usr/bin/env bash
# The installer under Wine, in a prefix of its own made afresh: a silent first install with the
# administrator password, the guard service starting the program, a silent upgrade over the
# running program, a silent uninstall that keeps the store, and one with /PURGE that does not.
#   tests/install/install_test.sh BUILD_DIR
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:?usage: install_test.sh BUILD_DIR}" && pwd)
work=$build/install-test
source "$root/tests/install/lib.sh"

# As Apps & features runs it: the uninstaller hands over to a copy of itself
# in the temporary folder and returns; the copy does the work.
uninstall() {
  w "$instdir/uninstall.exe" "$@"
  for _ in $(seq 300); do pgrep -f 'nsu.*Un\.exe' >/dev/null || return 0; sleep 0.2; done
  echo "the uninstaller did not end"
}

packages 1

uninstall_key='HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\Ombrix'
event_key='HKLM\SYSTEM\CurrentControlSet\Services\EventLog\Application\Ombrix'

echo "== a silent first install needs the password"
status_of w "$first" /S
check "refused without /PASSWORD (exit $status)" test "$status" -ne 0
check "nothing installed" test ! -e "$instdir/ombrix.exe" -a ! -e "$store"

echo "== silent first install"
status_of w "$first" /S '/PASSWORD=Prova Uno1'
check "installed (exit $status)" test "$status" -eq 0
for f in ombrix.exe ombrixctl.exe metrokiller.exe ombrixguard.exe italian.lng english.lng uninstall.exe; do check "$f installed" test -f "$instdir/$f"; done
check "the delivered store in the per-machine folder" test -f "$store"
check "the password stored hashed, nowhere plain" \
  test "$(sql "SELECT substr(PasswordAdmin, 1, 14) FROM Opzioni;")" = 'pbkdf2-sha256$' -a -z "$(grep -l 'Prova Uno1' "$store")"
check "the password opens" sh -c "printf 'Prova Uno1' | '$root/scripts/wine-run' '$instdir/ombrixctl.exe' --db 'C:\\Ombrix\\DataBase\\DataBase.db' password check"
check "ombrixctl --version says $version" test "$(w "$instdir/ombrixctl.exe" --version | tr -d '\r')" = "ombrixctl $version"
check "Apps & features: version, publisher, uninstaller, size" test "$(reg_value "$uninstall_key" DisplayVersion) $(reg_value "$uninstall_key" Publisher)" = "$version Ombrix" -a -n "$(reg_value "$uninstall_key" UninstallString)" -a -n "$(reg_value "$uninstall_key" EstimatedSize)"
check "Start menu shortcut" test -f "$shortcut"
check "the event source's texts are ombrix.exe's, named by an expandable string, for all three types" \
  test "$(w reg query "$event_key" /v EventMessageFile | tr -d '\r' | awk '$1 == "EventMessageFile" { print $2, $3, $4 }') $(reg_value "$event_key" TypesSupported)" = 'REG_EXPAND_SZ C:\Program Files\Ombrix\ombrix.exe 0x7'
check "the machine's key: a password chosen, the store's folder" \
  test "$(reg_value 'HKLM\SOFTWARE\Ombrix\Opzioni' PasswordScelta) $(reg_value 'HKLM\SOFTWARE\Ombrix\Opzioni' DataBase)" = '1 C:\Ombrix\DataBase'
check "the log folder made beside the store" test -d "$logdir"
check "the store's copy beside it, with the password" \
  test "$(sqlite3 "$(dirname "$store")/DataBase.copia.db" "SELECT PasswordAdmin FROM Opzioni;")" = "$(sql "SELECT PasswordAdmin FROM Opzioni;")"

echo "== the guard service starts the program"
check_guard
sql "INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Segnaposto');"
sql "INSERT INTO LogSiti (DataOra, URL) VALUES ('2020-01-01 10:00:00', 'http://vecchio.example/');"  # an older log
sleep 3
check "and it keeps running" running
check "the log is read from its own file, filled from the store's old rows" \
  test "$(w "$instdir/ombrixctl.exe" log show | tr -d '\r')" = "$(printf '2020-01-01 10:00:00\thttp://vecchio.example/')"
check "the log's file beside the store" test -f "$(dirname "$store")/Registro/LogSiti.db"

echo "== silent upgrade to $next_version over the running program"
hash=$(sql "SELECT PasswordAdmin FROM Opzioni;")
sql "DROP TABLE LogSiti;"  # an older store: the upgrade makes it again
before=$(program_id)
w "$second" /S
# A process ended stays a zombie for a moment, without its command line.
check "the running program was ended" sh -c "test -n '$before' && ! pgrep -f 'Ombrix.ombrix\\.exe' | grep -qx '$before'"
check_guard
check "the store kept its rows and password, and was upgraded" test "$(sql "SELECT count(*) FROM Profili WHERE Profilo = 'Segnaposto';
  SELECT PasswordAdmin = '$hash' FROM Opzioni; SELECT count(*) FROM sqlite_master WHERE name = 'LogSiti';" | tr '\n' ' ')" = '1 1 1 '
check "Apps & features: version $next_version" test "$(reg_value "$uninstall_key" DisplayVersion)" = "$next_version"

echo "== silent uninstall over the running program gives the machine back and keeps the store"
journal="$prefix/drive_c/users/$(id -un)/AppData/Local/Ombrix/Ripristino.journal"  # this user's own
# The upgrade's forced end may have left a journal: wait for the program itself.
for _ in $(seq 100); do running && break; sleep 0.2; done
sleep 3
check "the running program keeps a journal" test -f "$journal"
uninstall /S
check "the guard service stopped and removed" guard_gone
for f in ombrix.exe ombrixctl.exe metrokiller.exe ombrixguard.exe italian.lng english.lng; do check "$f removed" test ! -e "$instdir/$f"; done
check "Apps & features entry, shortcut and event source removed" \
  test -z "$(reg_value "$uninstall_key" DisplayName)$(reg_value "$event_key" TypesSupported)" -a ! -e "$shortcut"
check "the store kept" test -f "$store"
for _ in $(seq 25); do gone && break; sleep 0.2; done  # a process killed by force takes a moment to go
check "the program ended" gone
check "its journal given back" test ! -e "$journal"

echo "== a reinstall finds the kept store and tells when its folders cannot be protected; /PURGE removes it"
rm -rf "$logdir"
echo 'a file in the way' >"$logdir"  # the log folder cannot be made
status_of w "$second" /S
check "the folders' failure has its own exit status (exit $status)" test "$status" -eq 6
check "the store kept its password" test "$(sql "SELECT PasswordAdmin FROM Opzioni;")" = "$hash"
rm -f "$logdir"
w "$second" /S
check "the log folder made again" test -d "$logdir"
uninstall /S /PURGE
check "the store, its log folder and its copy removed" test ! -e "$store" -a ! -e "$logdir" -a ! -e "$(dirname "$store")/DataBase.copia.db"
check "no guard service left" guard_gone

echo "$failures failed"
[ "$failures" -eq 0 ]
