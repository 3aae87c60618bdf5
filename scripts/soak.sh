#!/usr/bin/env bash
# A school week in MINUTES (default 30): ombrix.exe under Wine with a
# 100,000-entry profile, the log on and its time slots changing the profile,
# while a browser stand-in walks through allowed and forbidden pages, a
# forbidden program starts every few seconds and a forbidden window appears
# now and then (the end-to-end test Soak.*, which checks that each was
# ended). Once a minute the test samples the program's handles, GDI and USER
# objects, threads, and the store's and the log's size; this script adds the
# memory of the program's Wine process. It prints the table and a verdict,
# and exits non-zero when the verdict fails.
#
#   scripts/soak.sh [MINUTES]
#
# The verdict, over the second half of the run (the first half warms the
# caches: the site list, SQLite's pages, Wine's own tables):
#   - handles grow by at most 40: a few are open at any moment for a
#     snapshot, a browser's reading or a notice, and a page is met several
#     times a second, so a handle lost per page, or per program ended, adds
#     hundreds a minute;
#   - GDI and USER objects grow by at most 20 each (a notice, a tooltip
#     may be on screen at one sample and not the next), where the system
#     counts them;
#   - memory grows by at most 8 MB: the 100,000-entry list is read again at
#     each change of profile and the heap keeps what it freed, but a leak of
#     a few hundred bytes per page comes to more over a quarter hour;
#   - no forbidden page, program or window was left, and nothing was traced.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${OMBRIX_BUILD:-$root/build}
minutes=${1:-30}
case $minutes in '' | *[!0-9]* | 0) echo "usage: soak.sh [MINUTES]" >&2; exit 2 ;; esac

"$root/scripts/setup.sh"
# The soak needs the program and the end-to-end tests with their helpers.
[ -f "$build/windows/CMakeCache.txt" ] || "$root/scripts/build-windows.sh" "$build/windows" >/dev/null
cmake --build "$build/windows" -j "${OMBRIX_JOBS:-2}" --target ombrix_e2e_tests >/dev/null
trap '"$root/scripts/wine-stop" "$build/windows"' EXIT
trap 'exit 130' INT TERM

prefix=${OMBRIX_WINEPREFIX:-$build/windows/wine}
out=$build/soak
mkdir -p "$out"
: >"$out/samples.txt"
: >"$out/test.log"

# The resident memory, in KB, of the ombrix.exe that runs in this prefix.
program_memory() {
  local pid exe
  for pid in $(pgrep -f 'ombrix\.exe' || true); do
    exe=$(tr '\0' '\n' <"/proc/$pid/cmdline" 2>/dev/null | head -n 1) || continue
    case $exe in *\\ombrix.exe | */ombrix.exe) ;; *) continue ;; esac
    tr '\0' '\n' <"/proc/$pid/environ" 2>/dev/null | grep -qx "WINEPREFIX=$prefix" || continue
    awk '/^VmRSS:/ { print $2 }' "/proc/$pid/status" 2>/dev/null && return
  done
  echo -1
}

echo "== soak: $minutes minutes (samples in $out)"
status=0
(cd "$build/windows/bin" &&
  OMBRIX_SOAK_MINUTES=$minutes "$root/scripts/wine-run" ./ombrix_e2e_tests.exe \
    --gtest_also_run_disabled_tests --gtest_filter='Soak.*' 2>&1) |
  while IFS= read -r line; do
    line=${line%$'\r'}
    echo "$line" >>"$out/test.log"
    case $line in soak-sample*) echo "$line memory=$(program_memory)" >>"$out/samples.txt" ;; esac
  done || true
grep -q '^\[  PASSED  \] 1 test' "$out/test.log" || status=1

awk -v minutes="$minutes" '
  function field(name,   i, kv) {
    for (i = 2; i <= NF; i++) { split($i, kv, "="); if (kv[1] == name) return kv[2] }
    return ""
  }
  {
    n++
    m[n] = field("minute"); mem[n] = field("memory"); h[n] = field("handles"); g[n] = field("gdi")
    u[n] = field("user"); t[n] = field("threads"); s[n] = field("store"); l[n] = field("log")
    p[n] = field("pages"); pr[n] = field("programs"); w[n] = field("windows"); sw[n] = field("switches")
  }
  function shown(v) { return v < 0 ? "n/a" : v }
  function growth(name, a, bound,   d) {
    if (a[half] < 0 || a[n] < 0) { printf "  %-8s not counted here\n", name; return }
    d = a[n] - a[half]
    printf "  %-8s %+d (bound %d) %s\n", name, d, bound, d <= bound ? "ok" : "TOO MUCH"
    if (d > bound) bad = 1
  }
  END {
    if (n < 3) { print "soak: too few samples"; exit 1 }
    printf "%6s %9s %7s %5s %5s %7s %9s %9s %11s %9s %7s %4s\n", "minute", "memory_KB", "handles", "gdi", "user",
           "threads", "store_KB", "log_KB", "pages", "programs", "windows", "prof"
    for (i = 1; i <= n; i++)
      printf "%6s %9s %7s %5s %5s %7s %9d %9d %11s %9s %7s %4s\n", m[i], shown(mem[i]), shown(h[i]), shown(g[i]),
             shown(u[i]), t[i], s[i] / 1024, l[i] / 1024, p[i], pr[i], w[i], sw[i]
    half = int((n + 1) / 2)
    print "growth over the second half (minute " m[half] " to " m[n] "):"
    growth("handles", h, 40); growth("gdi", g, 20); growth("user", u, 20); growth("memory", mem, 8192)
    split(p[n], a, "/"); split(pr[n], b, "/"); split(w[n], c, "/")
    if (a[1] != a[2] || b[1] != b[2] || c[1] != c[2]) { print "  enforcement missed something"; bad = 1 }
    exit bad
  }' "$out/samples.txt" || status=1

if [ "$status" -eq 0 ]; then
  echo "soak verdict: PASS"
else
  grep -E 'Failure|error:|Expected|Which is|FAILED' "$out/test.log" | head -n 20 >&2 || true
  echo "soak verdict: FAIL (log: $out/test.log)"
fi
exit $status
