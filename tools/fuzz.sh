#!/usr/bin/env bash
# Builds the libFuzzer targets with clang, makes seed corpora from real
# objects, archives and command files, and runs each target for a bounded
# time: tools/fuzz.sh [seconds per target, default 60] [target ...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${FUZZ_BUILD_DIR:-$root/build/fuzz}
seconds=${1:-60}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(archive_fuzz command_file_fuzz member_name_fuzz objfile_fuzz)

if [ -z "${FUZZ_SKIP_BUILD:-}" ]; then
  (cd "$root" && cmake --preset fuzz -B "$build" >/dev/null)
  cmake --build "$build" -j "${JOBS:-2}"
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
seeds=$work/seeds
mkdir -p "$seeds"/{objects,archives,commands,names}

# Objects of both classes and byte orders.
printf 'int g_data = 1; static int l; int f(void) { return l + g_data; }\nint c;\n' >"$work/s.c"
i=0
for target in "" --target=i386-linux-gnu --target=mips-linux-gnu \
              --target=powerpc64-linux-gnu --target=armv7-linux-gnueabihf; do
  clang $target -fcommon -c -o "$seeds/objects/o$i.o" "$work/s.c"
  i=$((i + 1))
done
# Archives in the three layouts, and as the system's archivers write them.
cp "$seeds"/objects/o0.o "$work/a_rather_long_member_name.o"
cp "$seeds"/objects/o1.o "$work/short.o"
( cd "$work"
  for layout in 0 1 2; do
    ASAN_OPTIONS=detect_leaks=0 "$build/zolt" rq$layout "seeds/archives/z$layout.a" a_rather_long_member_name.o short.o
  done
  ar rcs seeds/archives/gnu.a a_rather_long_member_name.o short.o
  llvm-ar rcs seeds/archives/llvm.a a_rather_long_member_name.o short.o )
# Command files with every construct.
printf 'rv lib.a /* c */ a.o "b c.o" -D#1 x#1\nd.o ; tail\ne\\"f.o\r\n' >"$seeds/commands/c1"
printf 'r "lib" a.o\\\\b.o "unterminated\n' >"$seeds/commands/c2"
# Name fields: layout byte, 16-byte field, uid, table.
printf '\003/0              0     long_member_name.o/\n' >"$seeds/names/n1"
printf '\002long_member_nam/1     \nlong_member_name.o/\n' >"$seeds/names/n2"

status=0
for t in "${targets[@]}"; do
  extra=()
  case $t in
    archive_fuzz) corpus=$seeds/archives ;;
    command_file_fuzz) corpus=$seeds/commands; extra=(-close_fd_mask=2) ;;
    member_name_fuzz) corpus=$seeds/names ;;
    objfile_fuzz) corpus=$seeds/objects ;;
    *) echo "unknown target $t" >&2; exit 2 ;;
  esac
  mkdir -p "$work/corpus-$t"
  echo "== $t for ${seconds}s"
  if ! ASAN_OPTIONS=detect_leaks=1 "$build/fuzz/$t" -max_total_time="$seconds" -timeout=10 \
      -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$work/" "${extra[@]}" \
      "$work/corpus-$t" "$corpus" 2>"$work/$t.log"; then
    status=1
    tail -40 "$work/$t.log"
    mkdir -p "$root/build/fuzz-artifacts"
    cp "$work"/crash-* "$work"/leak-* "$work"/timeout-* "$work"/oom-* "$root/build/fuzz-artifacts/" 2>/dev/null || true
  fi
  grep -E '^(stat::number_of_executed_units|stat::peak_rss_mb|#[0-9]+ +DONE)' "$work/$t.log" || true
  grep -E 'cov: ' "$work/$t.log" | tail -1 || true
done
exit $status
