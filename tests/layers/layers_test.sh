#!/usr/bin/env bash
# The floors of src/ run one way: platform at the bottom, then support, core,
# the subsystems (side by side, none using another), app on top. A file may
# include its own floor and those below it, never one above. Portable code
# (outside every win32/ folder) includes no Win32 header and switches on no
# _WIN32: the two builds differ by which files they compile.
set -u
src=${1:?usage: layers_test.sh SRC_FOLDER}
cd "$src" || exit 2

rank() {
  case "$1" in
    platform) echo 0 ;;
    support) echo 1 ;;
    core) echo 2 ;;
    enforce | profiles | schedule | browser | lockdown | machine) echo 3 ;;
    app) echo 4 ;;
    *) echo -1 ;;
  esac
}

fail=0
while IFS= read -r file; do
  floor=${file%%/*}
  mine=$(rank "$floor")
  [ "$mine" -ge 0 ] || { echo "FAIL: $file: $floor is no known floor"; fail=1; continue; }
  portable=1
  case "/$file" in */win32/*) portable=0 ;; esac
  while IFS= read -r line; do
    target=$(sed -E 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"([^"]+)".*/\1/' <<<"$line")
    [ "$target" != "$line" ] || continue
    tfloor=${target%%/*}
    theirs=$(rank "$tfloor")
    [ "$theirs" -ge 0 ] || continue  # a generated or third-party header
    if [ "$theirs" -gt "$mine" ]; then
      echo "FAIL: $file includes $target: $tfloor is above $floor"; fail=1
    elif [ "$theirs" -eq "$mine" ] && [ "$tfloor" != "$floor" ]; then
      echo "FAIL: $file includes $target: subsystems do not use each other"; fail=1
    fi
    case "/$target" in
      */win32/*) [ $portable = 0 ] && continue
        echo "FAIL: $file is portable and includes $target"; fail=1 ;;
    esac
  done < <(grep -E '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' "$file")
  if [ $portable = 1 ]; then
    if grep -qE '^[[:space:]]*#[[:space:]]*include[[:space:]]*<(windows|shellapi|shlobj|commctrl|oleacc|uiautomation)\.h>' "$file"; then
      echo "FAIL: $file is portable and includes a Win32 header"; fail=1
    fi
    if grep -qE '^[[:space:]]*#[[:space:]]*if.*_WIN32' "$file"; then
      echo "FAIL: $file is portable and switches on _WIN32"; fail=1
    fi
  fi
done < <(find . -path ./.git -prune -o -type f \( -name '*.h' -o -name '*.cpp' -o -name '*.in' \) -print | sed 's#^\./##' | sort)
[ $fail = 0 ] && echo "layers: every include runs downward"
exit $fail
