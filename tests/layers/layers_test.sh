#!/usr/bin/env bash
# The floors of src/ run one way: platform at the bottom, then support, core,
# the subsystems (side by side, none using another), app on top. A file may
# include its own floor and those below it, never one above. Portable code
# (outside every win32/ folder) includes no Win32 header and switches on no
# _WIN32: the two builds differ by which files they compile.
set -u
cd "${1:?usage: layers_test.sh SRC_FOLDER}" || exit 2

rank() {
  case "$1" in
    platform) echo 0 ;; support) echo 1 ;; core) echo 2 ;; app) echo 4 ;;
    enforce | profiles | schedule | browser | lockdown | machine) echo 3 ;;
    *) echo -1 ;;
  esac
}

fail=0
problem() { echo "FAIL: $file$1"; fail=1; }
while IFS= read -r file; do
  floor=${file%%/*}
  mine=$(rank "$floor")
  [ "$mine" -ge 0 ] || { problem ": $floor is no known floor"; continue; }
  portable=1
  case "/$file" in */win32/*) portable=0 ;; esac
  while IFS= read -r target; do
    tfloor=${target%%/*}
    theirs=$(rank "$tfloor")
    [ "$theirs" -ge 0 ] || continue  # a generated or third-party header
    [ "$theirs" -gt "$mine" ] && problem " includes $target: $tfloor is above $floor"
    [ "$theirs" -eq "$mine" ] && [ "$tfloor" != "$floor" ] && problem " includes $target: subsystems do not use each other"
    case "/$target" in */win32/*) [ $portable = 1 ] && problem " is portable and includes $target" ;; esac
  done < <(sed -nE 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"([^"]+)".*/\1/p' "$file")
  [ $portable = 1 ] || continue
  grep -qE '^[[:space:]]*#[[:space:]]*include[[:space:]]*<(windows|shellapi|shlobj|commctrl|oleacc|uiautomation)\.h>' "$file" &&
    problem " is portable and includes a Win32 header"
  grep -qE '^[[:space:]]*#[[:space:]]*if.*_WIN32' "$file" && problem " is portable and switches on _WIN32"
done < <(find . -type f \( -name '*.h' -o -name '*.cpp' -o -name '*.in' \) -print | sed 's#^\./##' | sort)
[ $fail = 0 ] && echo "layers: every include runs downward"
exit $fail
