#!/usr/bin/env bash
# ombrixctl as an administrator runs it: exit statuses and output.
set -u
ctl=${1:?usage: ombrixctl_cli_test.sh OMBRIXCTL}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export OMBRIX_REGISTRY=$work/registry.txt
fail=0
check() {  # check NAME EXPECTED_STATUS ACTUAL_STATUS
  if [ "$2" != "$3" ]; then echo "FAIL: $1: status $3, expected $2"; fail=1; fi
}

"$ctl" init "$work/a.db"; check "init" 0 $?
"$ctl" init "$work/a.db" 2>/dev/null; check "init again" 1 $?
out=$("$ctl" --db "$work/a.db" profiles); check "profiles" 0 $?
[ "$out" = "$(printf '1\tNessuna restrizione')" ] || { echo "FAIL: profiles printed '$out'"; fail=1; }
out=$("$ctl" --db "$work/a.db" upgrade); check "upgrade" 0 $?
[ "$out" = "up to date" ] || { echo "FAIL: upgrade printed '$out'"; fail=1; }
err=$("$ctl" --db "$work/none.db" profiles 2>&1 >/dev/null); check "missing db" 1 $?
case "$err" in 0090:*) ;; *) echo "FAIL: missing db said '$err'"; fail=1 ;; esac
"$ctl" 2>/dev/null; check "no command" 2 $?
"$ctl" --db 2>/dev/null; check "--db without file" 2 $?
[ $fail -eq 0 ] && echo "ombrixctl: all checks passed"
exit $fail
