#!/usr/bin/env bash
# Proves README's test command on a truly fresh machine: builds a minimal
# Debian 12 system in a folder, puts a clean clone of this repository's
# committed main into it, and runs scripts/test.sh inside it as root, with
# /proc, /dev and /dev/pts mounted and no display. Slow (it installs every
# package the project needs), so it is not part of the test command.
#
#   scripts/fresh-check.sh [FOLDER]     (default /var/tmp/ombrix-fresh)
#
# The packages come from the mirror this machine's apt uses. OMBRIX_FRESH_KEEP=1
# keeps the folder afterwards for a look inside.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
target=${1:-/var/tmp/ombrix-fresh}
[ "$(id -u)" -eq 0 ] || { echo "fresh-check: run as root (it mounts and chroots)" >&2; exit 2; }

command -v debootstrap >/dev/null 2>&1 || {
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends debootstrap >/dev/null
}

# The first Debian mirror of this machine's apt sources (deb822 or one-line form).
mirror=$(
  { cat /etc/apt/sources.list.d/*.sources 2>/dev/null | awk '
      /^Types:/ { deb = ($0 ~ /deb( |$)/) }
      /^URIs:/ && deb { print $2 }'
    grep -hE '^deb ' /etc/apt/sources.list /etc/apt/sources.list.d/*.list 2>/dev/null | awk '{ print ($2 ~ /^\[/) ? $3 : $2 }'
  } | grep -v -- '-security' | grep -m1 -i debian || true)
[ -n "$mirror" ] || { echo "fresh-check: no Debian mirror in this machine's apt sources" >&2; exit 1; }

cleanup() {
  # Anything still running inside (a display, a wineserver) holds the mounts.
  for p in /proc/[0-9]*; do
    [ "$(readlink "$p/root" 2>/dev/null)" = "$target" ] && kill -9 "${p#/proc/}" 2>/dev/null || true
  done
  for m in dev proc; do
    mountpoint -q "$target/$m" 2>/dev/null && umount -R -l "$target/$m" || true
  done
  [ "${OMBRIX_FRESH_KEEP:-0}" = 1 ] || rm -rf --one-file-system "$target"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

start=$(date +%s)
rm -rf --one-file-system "$target"
mkdir -p "$target"
echo "fresh-check: Debian 12 from $mirror into $target"
debootstrap --variant=minbase bookworm "$target" "$mirror" >"$target.debootstrap.log" 2>&1 || {
  tail -20 "$target.debootstrap.log" >&2
  exit 1
}
rm -f "$target.debootstrap.log"

# apt inside as on this machine: its sources and settings, and name look-ups.
rm -f "$target"/etc/apt/sources.list "$target"/etc/apt/sources.list.d/*
cp /etc/apt/sources.list.d/*.sources "$target/etc/apt/sources.list.d/" 2>/dev/null || true
[ -f /etc/apt/sources.list ] && cp /etc/apt/sources.list "$target/etc/apt/"
cp /etc/apt/apt.conf.d/* "$target/etc/apt/apt.conf.d/" 2>/dev/null || true
cp -L /etc/resolv.conf "$target/etc/resolv.conf"
# The machine's network trust too: its own certificate authorities (the
# ca-certificates package adds them when setup installs it) and npm's global
# settings, which name the certificate file npm must use.
if [ -d /usr/local/share/ca-certificates ]; then
  mkdir -p "$target/usr/local/share/ca-certificates"
  cp -r /usr/local/share/ca-certificates/. "$target/usr/local/share/ca-certificates/"
fi
for f in /etc/npmrc /usr/etc/npmrc; do
  [ -f "$f" ] && { mkdir -p "$target$(dirname "$f")"; cp "$f" "$target$f"; }
done

mount -t proc proc "$target/proc"
# /dev with what is mounted below it (/dev/pts, /dev/shm), never propagated back.
mount --rbind /dev "$target/dev"
mount --make-rslave "$target/dev"

# A clean clone of what main holds, not the work tree.
git clone -q --no-local "$root" "$target/root/ombrix"
echo "fresh-check: running scripts/test.sh inside (commit $(git -C "$target/root/ombrix" rev-parse --short HEAD))"
status=0
env -i HOME=/root PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 \
  ${NODE_EXTRA_CA_CERTS:+NODE_EXTRA_CA_CERTS=$NODE_EXTRA_CA_CERTS} \
  chroot "$target" /bin/bash -c 'cd /root/ombrix && scripts/test.sh' || status=$?
elapsed=$(( $(date +%s) - start ))
if [ $status -eq 0 ]; then
  echo "fresh-check: passed in $((elapsed / 60)) min $((elapsed % 60)) s"
else
  echo "fresh-check: FAILED (exit $status) after $((elapsed / 60)) min $((elapsed % 60)) s" >&2
fi
exit $status
