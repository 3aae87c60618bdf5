# What the installers' tests under Wine share: a prefix of the test's own,
# made afresh in $work, and checks that go on after a failure.
#   root=... work=... source tests/install/lib.sh
export OMBRIX_WINEPREFIX=$work/wine
prefix=$OMBRIX_WINEPREFIX
stop() { "$root/scripts/wine-stop" "$work"; }
rm -rf "$work"
mkdir -p "$work"
trap stop EXIT

failures=0
check() {  # check WHAT COMMAND...: one line per check, the run goes on
  local what=$1
  shift
  if "$@"; then echo "ok   $what"; else echo "FAIL $what"; failures=$((failures + 1)); fi
}
w() { "$root/scripts/wine-run" "$@" </dev/null; }
status_of() { set +e; "$@"; status=$?; set -e; }  # the run goes on
# packages LINE: package.sh's LINEth file for this version and the next, copied to $work as $first and $second.
packages() {
  first=$(OMBRIX_PACKAGE_NO_BUILD=1 "$root/scripts/package.sh" "$build" | sed -n "$1p")
  version=$(basename "$first" | sed -E 's/^ombrix-(setup-)?//; s/(-x64)?\.(exe|msi)$//')
  next_version=${version%.*}.$((${version##*.} + 1))
  second=$(OMBRIX_PACKAGE_NO_BUILD=1 OMBRIX_PACKAGE_VERSION=$next_version "$root/scripts/package.sh" "$build" | sed -n "$1p")
  cp "$first" "$second" "$work/"
  first=$work/$(basename "$first")
  second=$work/$(basename "$second")
}
reg_value() {  # reg_value KEY NAME: the value's data, empty when absent
  w reg query "$1" /v "$2" 2>/dev/null | tr -d '\r' | awk -v n="$2" '$1 == n { $1 = ""; $2 = ""; sub(/^ +/, ""); print }'
}
program_id() { pgrep -f 'Ombrix.ombrix\.exe' | head -1; }
running() { test -n "$(program_id)"; }
gone() { ! running; }
guard_key='HKLM\SYSTEM\CurrentControlSet\Services\OmbrixGuard'
guard_gone() { ! pgrep -f 'Ombrix.ombrixguard\.exe' >/dev/null && test -z "$(reg_value "$guard_key" ImagePath)"; }
# The guard registered to start with Windows, running, and the program it started.
check_guard() {
  check "the guard service registered to start with Windows" \
    test "$(reg_value "$guard_key" ImagePath) $(reg_value "$guard_key" Start)" = '"C:\Program Files\Ombrix\ombrixguard.exe" 0x2'
  for _ in $(seq 100); do running && break; sleep 0.2; done
  check "... running, and it started ombrix.exe" sh -c "pgrep -f 'Ombrix.ombrixguard\.exe' >/dev/null && pgrep -f 'Ombrix.ombrix\.exe' >/dev/null"
}
sql() { sqlite3 "$store" "$1"; }

instdir="$prefix/drive_c/Program Files/Ombrix"
store=$prefix/drive_c/Ombrix/DataBase/DataBase.db
logdir=$prefix/drive_c/Ombrix/DataBase/Registro
shortcut="$prefix/drive_c/ProgramData/Microsoft/Windows/Start Menu/Programs/Ombrix.lnk"
