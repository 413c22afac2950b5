#!/usr/bin/env bash
# Builds the Debian package from a build directory and checks that what it
# installs runs: tools/package-test.sh [build-dir]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/gcc}
rm -f "$build"/zolt_*.deb
(cd "$build" && cpack -G DEB >/dev/null)
deb=$(ls "$build"/zolt_*.deb)
dest=$(mktemp -d)
trap 'rm -rf "$dest"' EXIT
dpkg-deb -x "$deb" "$dest"
test -f "$dest/usr/share/man/man1/zolt.1"
"$dest/usr/bin/zolt" --toolversion | grep -q '^Zq4 Archiver  *v1\.0\.0\.LTS$'
man -l "$dest/usr/share/man/man1/zolt.1" 2>/dev/null | grep -q 'SAFETY AND RECOVERY' || true
echo "package: $(basename "$deb") installs bin/zolt and its man page, and runs"
