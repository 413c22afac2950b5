# Sourced before every transcript command: small helpers for making inputs
# and showing outputs. Dates: D is Tue Nov 14 22:13:20 2023 UTC.
D=1700000000

# mk NAME TEXT [MTIME]: a file holding TEXT (printf %b escapes), dated MTIME (default D).
mk() { mkdir -p "$(dirname "$1")"; printf '%b' "$2" >"$1" && touch -d "@${3:-$D}" "$1"; }

# obj NAME 'C source' [COMPILER [FLAGS...]]: an object compiled at test time
# (gcc by default; for example: obj be.o 'int f;' clang --target=mips-linux-gnu).
obj() {
  local out=$1 src=$2
  shift 2
  local cc=${1:-gcc}
  [ $# -gt 0 ] && shift
  printf '%s\n' "$src" | "$cc" "$@" -x "${LANGUAGE:-c}" -c -o "$out" - && touch -d "@$D" "$out"
}
# asm NAME 'assembler source' [COMPILER [FLAGS...]]: the same from assembler source.
asm() { LANGUAGE=assembler obj "$@"; }

# index LIB: the archive's index as GNU nm reads it, "symbol in member" a line.
index() { nm -s "$1" 2>/dev/null | sed -n '/^Archive index:/,/^$/{/^Archive index:/d;/^$/d;p}'; }
# defs OBJ...: what an index of these objects holds: their global and weak
# definitions in symbol-table order, as GNU nm sees them.
defs() { local o; for o; do nm -p -g --defined-only "$o" | awk -v m="${o##*/}" 'NF == 3 {print $3 " in " m}'; done; }
# syms: the names in zolt's "symbol defined" lines on standard input.
syms() { sed -n "s/^  ==>  symbol defined: '\(.*\)'$/\1/p"; }

# show [FILE...]: the bytes (of standard input without files), printable ASCII and newlines as they are, every
# other byte (and the backslash) as \xNN, a run of 32 or more equal bytes as <C*COUNT>.
show() { python3 -c '
import re, sys
for p in sys.argv[1:] or ["/dev/stdin"]:
    b = open(p, "rb").read()
    t = "".join(chr(c) if 32 <= c < 127 and c != 92 or c == 10 else "\\x%02x" % c for c in b)
    sys.stdout.write(re.sub(r"(\\x..|[^\\])\1{31,}", lambda m: "<%s*%d>" % (m.group(1), len(m.group(0)) // len(m.group(1))), t))
' "$@"; }

# elfpatch FILE FIELD=VALUE...: patches an ELF file in its own class and byte order.
elfpatch() { python3 "$SRCDIR/tools/elfpatch.py" "$@"; }

# files [DIR]: what the directory holds, on one line.
files() { echo $(ls -A "${1:-.}"); }

# rows 'ARGS' ...: runs zolt once for each word list; shows "zolt ARGS => [STATUS]",
# then its standard output and its standard error marked "! ", on the same
# line when that is all there is.
rows() {
  local a
  for a in "$@"; do
    eval "zolt $a" >"$HOME/o" 2>"$HOME/e"
    printf 'zolt %s => [%d]' "$a" $?
    { cat "$HOME/o"; sed 's/^/! /' "$HOME/e"; } >"$HOME/oe"
    [ $(wc -l <"$HOME/oe") = 1 ] && printf ' ' || echo
    cat "$HOME/oe"
  done
}

# hdr NAME DATE UID SIZE [GID MODE]: one 60-byte member header, fields as given.
hdr() { printf '%-16s%-12s%-6s%-6s%-8s%-10s`\n' "$1" "$2" "$3" "${5-0}" "${6-0}" "$4"; }

# blob NAME SIZE [SEED]: SIZE pseudo-random bytes, the same for the same seed.
blob() { python3 -c 'import random, sys; sys.stdout.buffer.write(random.Random(sys.argv[2]).randbytes(int(sys.argv[1])))' "$2" "${3:-$1}" >"$1" && touch -d "@$D" "$1"; }

# aside [DIR]: the set-aside {GUID} files a write left behind, or "none".
aside() { ls -A "${1:-.}" | grep '^{' || echo none; }
