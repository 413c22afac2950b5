#!/usr/bin/env bash
# Runs clang-tidy with the checks of .clang-tidy over every source; any
# warning fails.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TIDY_BUILD_DIR:-$root/build/tidy}
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DZOLT_TESTS=OFF \
  -DZOLT_WERROR=ON >/dev/null
cd "$root"
ls archiver/*.cpp objfile/*.cpp support/*.cpp DIAG/*.cpp |
  xargs -P "${JOBS:-2}" -n 4 clang-tidy -p "$build" --quiet 2> >(grep -v "warnings generated" >&2)
echo "clang-tidy: no warnings"
