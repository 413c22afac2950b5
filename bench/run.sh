#!/bin/sh
# Builds zolt in release mode, then runs the benchmark with it. Every
# argument goes to bench.py; given --zolt PATH, nothing is built.
#   bench/run.sh              full run (under 10 minutes on two cores)
#   bench/run.sh --quick      small sizes, 3 rounds
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)

for arg in "$@"; do
  case $arg in
    --zolt|--zolt=*) exec python3 "$root/bench/bench.py" "$@" ;;
    -h|--help) exec python3 "$root/bench/bench.py" --help ;;
  esac
done

build=$root/build/bench
# The static build, as build farms install it, where start-up time counts.
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DZOLT_TESTS=OFF \
  -DZOLT_STATIC=ON >/dev/null
cmake --build "$build" --target zolt -j2
exec python3 "$root/bench/bench.py" --zolt "$build/zolt" "$@"
