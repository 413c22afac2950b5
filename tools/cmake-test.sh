#!/usr/bin/env bash
# Makes zolt the archiver of a small CMake project that knows nothing of it,
# through the installed ZoltArchiver.cmake, with the Makefile and the Ninja
# generators; its library holds two sources named util.c from two
# directories. Then runs the module's append rule on the built library:
# tools/cmake-test.sh [build-dir]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build/gcc}" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "cmake-test: $*" >&2; exit 1; }

cmake --install "$build" --prefix "$work/prefix" >/dev/null
module=$work/prefix/share/zolt/ZoltArchiver.cmake
zolt=$work/prefix/bin/zolt

src=$work/src
mkdir -p "$src/a" "$src/b"
cat >"$src/CMakeLists.txt" <<'EOF'
cmake_minimum_required(VERSION 3.13)
project(untouched C)
add_library(parts STATIC a/util.c b/util.c)
add_executable(app main.c)
target_link_libraries(app parts)
EOF
echo 'int util_a(void) { return 40; }' >"$src/a/util.c"
echo 'int util_b(void) { return 2; }' >"$src/b/util.c"
cat >"$src/main.c" <<'EOF'
#include <stdio.h>
int util_a(void);
int util_b(void);
int main(void) { printf("%d\n", util_a() + util_b()); return 0; }
EOF

for generator in "Unix Makefiles" Ninja; do
  out=$work/${generator// /-}
  cmake -S "$src" -B "$out" -G "$generator" -DCMAKE_PROJECT_INCLUDE="$module" >/dev/null
  cmake --build "$out" --verbose >"$out.log" 2>&1 || { cat "$out.log"; fail "$generator: build failed"; }
  grep -q "\"\?$zolt\"\? rq .*libparts.a" "$out.log" || { cat "$out.log"; fail "$generator: zolt rq not run"; }
  ! grep -q ranlib "$out.log" || fail "$generator: ranlib run"
  [ "$("$out/app")" = 42 ] || fail "$generator: app does not print 42"
  [ "$("$zolt" t "$out/libparts.a" | grep -c ' util\.c\.o$')" = 2 ] || fail "$generator: not two util.c.o"
done

# The append rule, as CMake would run it for a later chunk of objects:
# another util.c.o is a third member, not a replacement.
printf 'include("%s")\nmessage("${CMAKE_C_ARCHIVE_APPEND}")\n' "$module" >"$work/rule.cmake"
rule=$(cmake -P "$work/rule.cmake" 2>&1) || fail "module: $rule"
rule=${rule//<TARGET>/$out/libparts.a}
rule=${rule//<LINK_FLAGS>/}
rule=${rule//<OBJECTS>/$out/CMakeFiles/parts.dir/a/util.c.o}
eval "$rule" || fail "append rule failed: $rule"
[ "$("$zolt" t "$out/libparts.a" | grep -c ' util\.c\.o$')" = 3 ] || fail "append did not add a member"
echo "cmake: the untouched project builds with zolt (Makefiles, Ninja); append adds"
