#!/usr/bin/env bash
# Builds zolt and runs every test: with g++, then with clang under
# AddressSanitizer and UndefinedBehaviorSanitizer.
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
  ctest --test-dir "$dir" -j "$jobs" --output-on-failure --timeout 900
}

echo "== g++ build and tests"
CC=gcc CXX=g++ run_suite "$build/gcc" -DCMAKE_BUILD_TYPE=RelWithDebInfo
echo "== clang build with AddressSanitizer and UndefinedBehaviorSanitizer, tests"
ASAN_OPTIONS=detect_leaks=0:abort_on_error=0 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
  CC=clang CXX=clang++ run_suite "$build/clang-asan" -DCMAKE_BUILD_TYPE=Debug -DZOLT_SANITIZE=ON
