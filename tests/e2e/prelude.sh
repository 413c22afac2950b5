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
  printf '%s\n' "$src" | "$cc" "$@" -x c -c -o "$out" - && touch -d "@$D" "$out"
}

# show FILE...: the bytes, printable ASCII and newlines as they are, every
# other byte as \xNN.
show() { python3 -c '
import sys
for p in sys.argv[1:]:
    b = open(p, "rb").read()
    sys.stdout.write("".join(chr(c) if 32 <= c < 127 or c == 10 else "\\x%02x" % c for c in b))
' "$@"; }

# elfpatch FILE FIELD=VALUE...: patches an ELF file in its own class and byte order.
elfpatch() { python3 "$SRCDIR/tests/e2e/elfpatch.py" "$@"; }

# files: what the scratch directory holds, one name a line.
files() { ls -A "${1:-.}"; }

# rows 'ARGS' ...: runs zolt once for each word list; shows "zolt ARGS => [STATUS]",
# then its standard output, then its standard error marked "! ".
rows() {
  local a
  for a in "$@"; do
    eval "zolt $a" >"$HOME/o" 2>"$HOME/e"
    echo "zolt $a => [$?]"
    cat "$HOME/o"
    sed 's/^/! /' "$HOME/e"
  done
}
