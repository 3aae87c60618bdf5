#!/usr/bin/env bash
# The Windows Installer package under Wine, in a prefix of its own made
# afresh: a refused hash that installs nothing, a silent install without the
# password's hash (the guard service registered and starting the program), a
# silent uninstall that removes the service first and keeps the store, an install with
# the hash, a major upgrade to the next version keeping rows and password, and
# the last uninstall over the running program, which gives back its journal.
# msiinfo reads the package's tables as a second look.
#   tests/install/msi_test.sh BUILD_DIR
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:?usage: msi_test.sh BUILD_DIR}" && pwd)
work=$build/msi-test
source "$root/tests/install/lib.sh"

packages 2
windows_path() { echo "Z:${1//\//\\}"; }
msiexec() { status_of w msiexec "$@" >/dev/null 2>&1; }
property() { msiinfo export "$1" Property | tr -d '\r' | awk -F'\t' -v n="$2" '$1 == n { print $2 }'; }
event_key='HKLM\SYSTEM\CurrentControlSet\Services\EventLog\Application\Ombrix'
machine_key='HKLM\SOFTWARE\Ombrix\Opzioni'
files=(ombrix.exe ombrixctl.exe metrokiller.exe ombrixguard.exe italian.lng)
installed() { for f in "${files[@]}"; do test -f "$instdir/$f" || return 1; done; }
removed() { for f in "${files[@]}"; do test ! -e "$instdir/$f" || return 1; done; }
arp() { reg_value "HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\$(property "$1" ProductCode)" "$2"; }

echo "== the package's tables"
check "its tables" test "$(msiinfo tables "$first" | tr -d '\r' | grep -cxE 'File|Component|Shortcut|Registry|CustomAction|Upgrade')" = 6
check "one upgrade code for every version" test "$(property "$first" UpgradeCode)" = "$(property "$second" UpgradeCode)"
check "version $version, per machine" test "$(property "$first" ProductVersion) $(property "$first" ALLUSERS)" = "$version 1"
check "for 64-bit Windows" grep -q 'x64;' <<<"$(msiinfo suminfo "$first")"

echo "== a hash that is none installs nothing"
msiexec /i "$(windows_path "$first")" /qn 'PASSWORDHASH=pbkdf2-sha256$1$00$00'
check "refused (exit $status)" test "$status" -ne 0
check "no store" test ! -e "$store"
check "no program" removed

echo "== silent install without the hash"
msiexec /i "$(windows_path "$first")" /qn
check "installed (exit $status)" test "$status" -eq 0
check "the files" installed
# Wine's Windows Installer puts an all-users package's shortcut in the menu
# of the user who installs it; Windows puts it in the all-users menu.
user_shortcut="$prefix/drive_c/users/$(id -un)/AppData/Roaming/Microsoft/Windows/Start Menu/Programs/Ombrix.lnk"
check "Start menu shortcut" test -f "$shortcut" -o -f "$user_shortcut"
check "Apps & features: Ombrix $version by Ombrix" test "$(arp "$first" DisplayName) $(arp "$first" DisplayVersion) $(arp "$first" Publisher)" = "Ombrix $version Ombrix"
check "the event source names ombrix.exe, for all three types" \
  test "$(reg_value "$event_key" EventMessageFile) $(reg_value "$event_key" TypesSupported)" = 'C:\Program Files\Ombrix\ombrix.exe 0x7'
check "the delivered store, without a password" test -f "$store" -a -z "$(sql "SELECT ifnull(PasswordAdmin, '') FROM Opzioni;")"
check "the machine's key: no password chosen, the store's folder" \
  test "$(reg_value "$machine_key" PasswordScelta) $(reg_value "$machine_key" DataBase)" = ' C:\Ombrix\DataBase'
check "the log folder made beside the store" test -d "$logdir"
check_guard

echo "== silent uninstall keeps the store"
sql "INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Segnaposto');"
msiexec /x "$(windows_path "$first")" /qn
check "uninstalled (exit $status)" test "$status" -eq 0
check "the files removed" removed
check "shortcut, Apps & features entry and event source removed" \
  test ! -e "$shortcut" -a ! -e "$user_shortcut" -a -z "$(arp "$first" DisplayName)$(reg_value "$event_key" TypesSupported)"
check "the guard service stopped and removed" guard_gone
for _ in $(seq 25); do gone && break; sleep 0.2; done
check "the program it started ended" gone
check "the store kept" test "$(sql "SELECT Profilo FROM Profili WHERE IDProfilo = 2;")" = Segnaposto

echo "== silent install with the hash"
password_store=$work/password.db
w "$build/bin/ombrixctl.exe" init "$(windows_path "$password_store")"
OMBRIX_TEST_PASSWORD='Prova Uno1' w "$build/bin/ombrixctl.exe" --db "$(windows_path "$password_store")" \
  password set --from-environment OMBRIX_TEST_PASSWORD
hash=$(sqlite3 "$password_store" "SELECT PasswordAdmin FROM Opzioni;")
msiexec /i "$(windows_path "$first")" /qn "PASSWORDHASH=$hash"
check "installed (exit $status)" test "$status" -eq 0
check "the password stored" test "$(sql "SELECT PasswordAdmin FROM Opzioni;")" = "$hash"
check "only that password opens" sh -c "printf 'Prova Uno1' | '$root/scripts/wine-run' '$instdir/ombrixctl.exe' password check &&
  ! printf 'Prova Uno2' | '$root/scripts/wine-run' '$instdir/ombrixctl.exe' password check"
check "the machine's key says a password was chosen" test "$(reg_value "$machine_key" PasswordScelta)" = 1
check_guard
check "the store's copy beside it, with the password" \
  test "$(sqlite3 "$(dirname "$store")/DataBase.copia.db" "SELECT PasswordAdmin FROM Opzioni;")" = "$hash"

echo "== silent major upgrade to $next_version"
sql "DROP TABLE LogSiti;"  # an older store: the upgrade makes it again
msiexec /i "$(windows_path "$second")" /qn
check "upgraded (exit $status)" test "$status" -eq 0
check "the files" installed
check "Apps & features: only $next_version" test "$(arp "$second" DisplayVersion)/$(arp "$first" DisplayVersion)" = "$next_version/"
check "the store kept its rows and password, and was upgraded" test "$(sql "SELECT Profilo FROM Profili WHERE IDProfilo = 2;
  SELECT PasswordAdmin = '$hash' FROM Opzioni; SELECT count(*) FROM sqlite_master WHERE name = 'LogSiti';" | tr '\n' ' ')" = 'Segnaposto 1 1 '
check_guard

echo "== silent uninstall over the running program"
# The program the guard started.
journal="$prefix/drive_c/users/$(id -un)/AppData/Local/Ombrix/Ripristino.journal"  # this user's own
for _ in $(seq 150); do test -f "$journal" && break; sleep 0.2; done
check "the running program keeps a journal" test -f "$journal"
msiexec /x "$(windows_path "$second")" /qn
check "uninstalled (exit $status)" test "$status" -eq 0
for _ in $(seq 25); do gone && break; sleep 0.2; done  # a process killed by force takes a moment to go
check "the program ended" gone
check "the guard service removed" guard_gone
check "its journal given back" test ! -e "$journal"
check "the files removed" removed
check "the store kept, with its password" test "$(sql "SELECT PasswordAdmin FROM Opzioni;")" = "$hash"

echo "$failures failed"
[ "$failures" -eq 0 ]
