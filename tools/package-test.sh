#!/usr/bin/env bash
# Builds the Debian package from a build directory, has lintian check it
# (any error fails), and checks that what it installs runs:
# tools/package-test.sh [build-dir]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/gcc}
rm -f "$build"/zolt_*.deb
(cd "$build" && cpack -G DEB >/dev/null)
deb=$(ls "$build"/zolt_*.deb)
lintian --fail-on error "$deb" 2>/dev/null || { echo "package: lintian reports errors" >&2; exit 1; }
dest=$(mktemp -d)
trap 'rm -rf "$dest"' EXIT
dpkg-deb -x "$deb" "$dest"
test -f "$dest/usr/share/man/man1/zolt.1.gz"
test -f "$dest/usr/share/zolt/ZoltArchiver.cmake"
"$dest/usr/bin/zolt" --toolversion | grep -q '^Zq4 Archiver  *v1\.0\.0\.LTS$'
echo "package: $(basename "$deb") passes lintian, installs zolt, its man page and the CMake module, and runs"
