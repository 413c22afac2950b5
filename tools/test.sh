#!/usr/bin/env bash
# Builds zolt and runs every test: with g++ (preset dev), then the Debian
# package, the CMake module and the autotools recipe; then with clang under
# AddressSanitizer and UndefinedBehaviorSanitizer (preset asan); then
# clang-tidy, and each fuzz target for a bounded time (FUZZ_SECONDS,
# default 60). Warnings are errors in every build.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
jobs=${JOBS:-2}
"$root/tools/setup-deps.sh"

run_suite() { # preset (CMakePresets.json), its build directory
  local preset=$1 dir=$root/build/$2
  mkdir -p "$root/build"
  (cd "$root" && cmake --preset "$preset" >/dev/null &&
    cmake --build --preset "$preset" -j "$jobs" &&
    ctest --preset "$preset" -j "$jobs") | tee "$dir.ctest.log"
  local total
  total=$(sed -n 's/.*tests passed, 0 tests failed out of \([0-9]*\).*/\1/p' "$dir.ctest.log")
  passed=$((passed + ${total:-0}))
}
passed=0

echo "== g++ build and tests"
run_suite dev gcc
echo "== Debian package"
"$root/tools/package-test.sh" "$root/build/gcc"
echo "== CMake module on an untouched project"
"$root/tools/cmake-test.sh" "$root/build/gcc"
echo "== automake and libtool project"
"$root/tools/autotools-test.sh" "$root/build/gcc"
echo "== clang build with AddressSanitizer and UndefinedBehaviorSanitizer, tests"
run_suite asan asan
echo "== clang-tidy"
"$root/tools/tidy.sh"
echo "== fuzz targets, ${FUZZ_SECONDS:-60}s each"
"$root/tools/fuzz.sh" "${FUZZ_SECONDS:-60}"
echo "tests: $passed passed, 0 failed"
