#!/usr/bin/env bash
# Builds a small automake/libtool project with zolt as its archiver, by the
# README's recipe, and runs the program linked against the library:
# tools/autotools-test.sh [build-dir]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build/gcc}" && pwd)
zolt=$build/zolt
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "autotools-test: $*" >&2; exit 1; }

cd "$work"
mkdir a b
cat >configure.ac <<'EOF'
AC_INIT([untouched], [1.0])
AM_INIT_AUTOMAKE([foreign subdir-objects])
AC_PROG_CC
AM_PROG_AR
LT_INIT
AC_CONFIG_FILES([Makefile])
AC_OUTPUT
EOF
cat >Makefile.am <<'EOF'
noinst_LTLIBRARIES = libparts.la
libparts_la_SOURCES = a/util.c b/util.c
bin_PROGRAMS = app
app_SOURCES = main.c
app_LDADD = libparts.la
EOF
echo 'int util_a(void) { return 40; }' >a/util.c
echo 'int util_b(void) { return 2; }' >b/util.c
cat >main.c <<'EOF'
#include <stdio.h>
int util_a(void);
int util_b(void);
int main(void) { printf("%d\n", util_a() + util_b()); return 0; }
EOF

autoreconf -fi >log 2>&1 || { cat log; fail "autoreconf failed"; }
./configure AR="$zolt" AR_FLAGS=rq RANLIB=true am_cv_ar_interface=ar --disable-shared \
  >log 2>&1 || { cat log; fail "configure failed"; }
make V=1 >log 2>&1 || { cat log; fail "make failed"; }
grep -q "link: $zolt rq .libs/libparts.a" log || { cat log; fail "zolt rq not run"; }
[ "$(./app)" = 42 ] || fail "app does not print 42"
"$zolt" t .libs/libparts.a | grep -q 'util\.o$' || fail "libparts.a does not hold util.o"
echo "autotools: the automake/libtool project builds with zolt and runs"
