#!/usr/bin/env bash
# Unpacks the SQLite amalgamation into DIR (sqlite3.c and sqlite3.h) for the
# Windows build. It comes from the sqlite3 package of the npm registry, which
# carries the official amalgamation tarball under deps/.
set -euo pipefail
dir=${1:?usage: fetch-sqlite.sh DIR}
version=6.0.1
[ -f "$dir/sqlite3.c" ] && [ -f "$dir/sqlite3.h" ] && exit 0

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if ! ( cd "$work" && npm pack "sqlite3@$version" ) >"$work/npm.log" 2>&1; then
  cat "$work/npm.log" >&2
  echo "fetch-sqlite: npm could not fetch sqlite3@$version" >&2
  exit 1
fi
tar -xzf "$work"/sqlite3-$version.tgz -C "$work" package/deps
tar -xzf "$work"/package/deps/sqlite-autoconf-*.tar.gz -C "$work"
mkdir -p "$dir"
cp "$work"/sqlite-autoconf-*/sqlite3.c "$work"/sqlite-autoconf-*/sqlite3.h "$dir"/
echo "fetch-sqlite: amalgamation in $dir"
