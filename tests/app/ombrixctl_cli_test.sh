#!/usr/bin/env bash
# ombrixctl as an administrator runs it: arguments in, exit statuses and output out.
set -u
ctl=${1:?usage: ombrixctl_cli_test.sh OMBRIXCTL}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export OMBRIX_REGISTRY=$work/registry.txt
fail=0
expect() { [ "$2" = "$3" ] || { echo "FAIL: $1: '$3', expected '$2'"; fail=1; }; }  # NAME EXPECTED ACTUAL
"$ctl" init "$work/a.db"; expect "init" 0 $?
expect "missing db" 0090 "$("$ctl" --db "$work/none.db" profiles 2>&1 | cut -c1-4)"
expect "profile add" "$(printf '2\tScuola')" "$("$ctl" --db "$work/a.db" profile add Scuola)"
expect "site add -" "added 2, duplicates skipped 1" \
  "$(printf 'a.org\r\nb.org\nA.ORG\n' | "$ctl" --db "$work/a.db" site add scuola -)"
# A person typing: each answer comes while the input is still open.
coproc checker { "$ctl" --db "$work/a.db" check scuola -; }
checker_pid=$checker_PID  # bash unsets checker_PID once the checker has ended
echo "https://www.a.org/x" >&"${checker[1]}"
answer=; read -r -t 10 answer <&"${checker[0]}"
expect "check answers a typed line at once" "blocked 0181 http://a.org" "$answer"
exec {checker[1]}>&-
wait "$checker_pid"; expect "check ends with its input" 0 $?
"$ctl" 2>/dev/null; expect "no command" 2 $?
[ $fail -eq 0 ] && echo "ombrixctl: all checks passed"
exit $fail
