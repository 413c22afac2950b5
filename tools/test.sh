#!/usr/bin/env bash
# Builds zolt and runs every test: with g++, then with clang under
# AddressSanitizer and UndefinedBehaviorSanitizer; then clang-tidy, and each
# fuzz target for a bounded time (FUZZ_SECONDS, default 60).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build}
jobs=${JOBS:-2}
"$root/tools/setup-deps.sh"

run_suite() { # build-dir, then cmake arguments
  local dir=$1
  shift
  cmake -S "$root" -B "$dir" -G Ninja "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
  ctest --test-dir "$dir" -j "$jobs" --output-on-failure --timeout 900 | tee "$dir/ctest.log"
  local total
  total=$(sed -n 's/.*tests passed, 0 tests failed out of \([0-9]*\).*/\1/p' "$dir/ctest.log")
  passed=$((passed + ${total:-0}))
}
passed=0

echo "== g++ build and tests"
CC=gcc CXX=g++ run_suite "$build/gcc" -DCMAKE_BUILD_TYPE=RelWithDebInfo
echo "== Debian package"
"$root/tools/package-test.sh" "$build/gcc"
echo "== clang build with AddressSanitizer and UndefinedBehaviorSanitizer, tests"
ASAN_OPTIONS=detect_leaks=0:abort_on_error=0 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
  CC=clang CXX=clang++ run_suite "$build/clang-asan" -DCMAKE_BUILD_TYPE=Debug -DZOLT_SANITIZE=ON
echo "== clang-tidy"
"$root/tools/tidy.sh"
echo "== fuzz targets, ${FUZZ_SECONDS:-60}s each"
FUZZ_BUILD_DIR="$build/fuzz" "$root/tools/fuzz.sh" "${FUZZ_SECONDS:-60}"
echo "tests: $passed passed, 0 failed"
