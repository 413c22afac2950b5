#!/usr/bin/env bash
# Builds zolt, compiles the sample sources, archives them with zolt, lists
# the archive with its symbols, and links a program against it.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build}
"$root/tools/setup-deps.sh"
cmake -S "$root" -B "$build" -G Ninja -DZOLT_TESTS=OFF >/dev/null
cmake --build "$build" --target zolt
zolt="$build/zolt"

work="$build/demo"
rm -rf "$work"
mkdir -p "$work"
cd "$work"
for src in crc fir_filter_coefficients main; do
  gcc -c -O2 -o "$src.o" "$root/samples/$src.c"
done
cp "$root/samples/notes.txt" .

echo "\$ zolt rvs libdsp crc.o fir_filter_coefficients.o notes.txt"
"$zolt" rvs libdsp crc.o fir_filter_coefficients.o notes.txt
echo "\$ zolt t libdsp"
TZ=UTC "$zolt" t libdsp
echo "\$ gcc -o demo main.o libdsp.lib && ./demo"
gcc -o demo main.o libdsp.lib
./demo
