#!/usr/bin/env bash
# Installs what building and testing zolt needs, when it is missing.
# Debian packages: compilers, CMake, Ninja, GoogleTest, the peer tools
# (binutils, LLVM, lld) that the interoperability tests compare against, and
# the tools of the package and build-system checks.
set -euo pipefail

need=()
check() { # command package
  command -v "$1" >/dev/null 2>&1 || need+=("$2")
}
check g++ g++
check gcc gcc
check clang clang
check clang++ clang
check cmake cmake
check ninja ninja-build
check ar binutils
check ld.gold binutils
check llvm-ar llvm
check llvm-nm llvm
check ld.lld lld
check readelf binutils
check python3 python3
check strace strace
# The package (dpkg-shlibdeps, file, lintian) and the build-system recipes
# (make, automake, libtool).
check dpkg-shlibdeps dpkg-dev
check file file
check lintian lintian
check make make
check autoreconf autoconf
check automake automake
check libtoolize libtool
[ -f /usr/include/gtest/gtest.h ] || need+=(libgtest-dev)
[ -n "$(find /usr/lib -name 'libclang_rt.asan*' -print -quit 2>/dev/null)" ] || need+=(libclang-rt-14-dev)
[ -n "$(find /usr/lib -name 'libclang_rt.fuzzer*' -print -quit 2>/dev/null)" ] || need+=(libclang-rt-14-dev)
[ -f "$(gcc -print-file-name=libz.a 2>/dev/null)" ] || need+=(zlib1g-dev)

if [ ${#need[@]} -eq 0 ]; then
  exit 0
fi
mapfile -t need < <(printf '%s\n' "${need[@]}" | sort -u)
echo "setup: installing ${need[*]}" >&2
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO=sudo
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${need[@]}" >/dev/null
