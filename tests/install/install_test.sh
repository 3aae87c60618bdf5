#!/usr/bin/env bash
# The installer under Wine, in a prefix of its own made afresh: a silent first
# install with the administrator password, the guard service starting the
# program, a silent upgrade over the running program, a silent uninstall that keeps the store,
# and one with /PURGE that does not.
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

first=$(OMBRIX_PACKAGE_NO_BUILD=1 "$root/scripts/package.sh" "$build" | sed -n 1p)
version=$(basename "$first" .exe)
version=${version#ombrix-setup-}
next_version=${version%.*}.$((${version##*.} + 1))
second=$(OMBRIX_PACKAGE_NO_BUILD=1 OMBRIX_PACKAGE_VERSION=$next_version "$root/scripts/package.sh" "$build" | sed -n 1p)
cp "$first" "$second" "$work/"
first=$work/$(basename "$first")
second=$work/$(basename "$second")

uninstall_key='HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\Ombrix'
event_key='HKLM\SYSTEM\CurrentControlSet\Services\EventLog\Application\Ombrix'

echo "== a silent first install needs the password"
set +e
w "$first" /S
status=$?
set -e
check "refused without /PASSWORD (exit $status)" test "$status" -ne 0
check "nothing installed" test ! -e "$instdir/ombrix.exe" -a ! -e "$store"

echo "== silent first install"
set +e
w "$first" /S '/PASSWORD=Prova Uno1'
status=$?
set -e
check "installed (exit $status)" test "$status" -eq 0
for f in ombrix.exe ombrixctl.exe metrokiller.exe ombrixguard.exe italian.lng english.lng uninstall.exe; do check "$f installed" test -f "$instdir/$f"; done
check "the delivered store in the per-machine folder" test -f "$store"
check "the password stored hashed" test "$(sql "SELECT substr(PasswordAdmin, 1, 14) FROM Opzioni;")" = 'pbkdf2-sha256$'
check "the password opens" sh -c "printf 'Prova Uno1' | '$root/scripts/wine-run' '$instdir/ombrixctl.exe' --db 'C:\\Ombrix\\DataBase\\DataBase.db' password check"
check "no plain password in the store" sh -c "! grep -q 'Prova Uno1' '$store'"
check "ombrixctl --version says $version" test "$(w "$instdir/ombrixctl.exe" --version | tr -d '\r')" = "ombrixctl $version"
check "Apps & features: version" test "$(reg_value "$uninstall_key" DisplayVersion)" = "$version"
check "Apps & features: publisher" test "$(reg_value "$uninstall_key" Publisher)" = Ombrix
check "Apps & features: uninstaller" test -n "$(reg_value "$uninstall_key" UninstallString)"
check "Apps & features: size" test -n "$(reg_value "$uninstall_key" EstimatedSize)"
check "Start menu shortcut" test -f "$shortcut"
check "the event source's texts are ombrix.exe's" \
  test "$(reg_value "$event_key" EventMessageFile)" = 'C:\Program Files\Ombrix\ombrix.exe'
check "... named by an expandable string" \
  test "$(w reg query "$event_key" /v EventMessageFile | tr -d '\r' | awk '$1 == "EventMessageFile" { print $2 }')" = REG_EXPAND_SZ
check "the event source writes errors, warnings and information" test "$(reg_value "$event_key" TypesSupported)" = 0x7
check "the machine's key says a password was chosen" test "$(reg_value 'HKLM\SOFTWARE\Ombrix\Opzioni' PasswordScelta)" = 1
check "the machine's key names the store's folder" test "$(reg_value 'HKLM\SOFTWARE\Ombrix\Opzioni' DataBase)" = 'C:\Ombrix\DataBase'
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
check "the store kept its rows" test "$(sql "SELECT count(*) FROM Profili WHERE Profilo = 'Segnaposto';")" = 1
check "the store kept its password" test "$(sql "SELECT PasswordAdmin FROM Opzioni;")" = "$hash"
check "the store was upgraded" test "$(sql "SELECT count(*) FROM sqlite_master WHERE name = 'LogSiti';")" = 1
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
check "Apps & features entry removed" test -z "$(reg_value "$uninstall_key" DisplayName)"
check "shortcut removed" test ! -e "$shortcut"
check "event source removed" test -z "$(reg_value "$event_key" TypesSupported)"
check "the store kept" test -f "$store"
for _ in $(seq 25); do gone && break; sleep 0.2; done  # a process killed by force takes a moment to go
check "the program ended" gone
check "its journal given back" test ! -e "$journal"

echo "== a reinstall finds the kept store and tells when its folders cannot be protected; /PURGE removes it"
rm -rf "$logdir"
echo 'a file in the way' >"$logdir"  # the log folder cannot be made
set +e
w "$second" /S
status=$?
set -e
check "the folders' failure has its own exit status (exit $status)" test "$status" -eq 6
check "the store kept its password" test "$(sql "SELECT PasswordAdmin FROM Opzioni;")" = "$hash"
rm -f "$logdir"
w "$second" /S
check "the log folder made again" test -d "$logdir"
uninstall /S /PURGE
check "the store removed" test ! -e "$store"
check "its log folder removed" test ! -e "$logdir"
check "its copy removed" test ! -e "$(dirname "$store")/DataBase.copia.db"
check "no guard service left" guard_gone

echo "$failures failed"
[ "$failures" -eq 0 ]
