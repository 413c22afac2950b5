# The archive index "/": which symbols go in, in what order, where their
# offsets point (checked by GNU nm, which names the member each offset
# leads to), its bytes, the "s" listing, objects of every class and byte
# order, and objects that are broken.

# Global and weak definitions, commons and absolutes go in; locals,
# undefined symbols and local absolutes do not.
  $ obj a.o 'static int __attribute__((noinline, used)) g(int x) { return x * 3; }
  > extern int h(int); int f(int x) { return g(x) + h(x); }
  > __attribute__((weak)) int w(void) { return 7; } int c;' gcc -fcommon
  $ asm abs.o '.globl abs_sym; .set abs_sym, 0x1234; .global equ_sym; .equ equ_sym, 42; local_abs = 5'
  $ nm a.o abs.o | awk 'NF > 1 {print $(NF-1), $NF}' | tr '\n' ' '; echo
  C c T f t g U h W w A abs_sym A equ_sym a local_abs 
  $ zolt rs lib a.o abs.o | tail -2; zolt rsq lib a.o abs.o | syms | tr '\n' ' '; echo; diff <(index lib.lib) <(defs a.o abs.o) && echo index-ok
    ==>  symbol defined: 'abs_sym'
    ==>  symbol defined: 'equ_sym'
  f w c abs_sym equ_sym 
  index-ok

# Its bytes: "f" makes 4 + 4 + 2 = 10 bytes; "ab" 11, padded with a zero
# byte counted in the size; both 17, padded to 18.
  $ asm one.o '.globl f; .data; f: .byte 1'; asm two.o '.globl ab; .data; ab: .byte 2'
  $ zolt rq even one.o; zolt rq odd two.o; zolt rq both one.o two.o; for l in even:78 odd:80 both:86; do head -c ${l#*:} ${l%:*}.lib | show; echo; done
  !<arch>
  /               0           0     0     0       10        `
  \x00\x00\x00\x01\x00\x00\x00Nf\x00
  !<arch>
  /               0           0     0     0       12        `
  \x00\x00\x00\x01\x00\x00\x00Pab\x00\x00
  !<arch>
  /               0           0     0     0       18        `
  \x00\x00\x00\x02\x00\x00\x00V\x00\x00\x02\xfaf\x00ab\x00\x00

# Every class and byte order: 32- and 64-bit, little- and big-endian.
  $ src='int f(int x) { return x; } __attribute__((weak)) int w(void) { return 7; } int c; __thread int tv = 1; const char ro[] = "ro";'
  > for t in mips-linux-gnu powerpc64-linux-gnu armv7-linux-gnueabihf i386-linux-gnu; do obj $t.o "$src" clang --target=$t -fcommon; asm abs-$t.o '.globl abs_sym; .set abs_sym, 0x1234; local_abs = 5' clang --target=$t; done; obj host.o "$src" gcc -fcommon
  $ readelf -h *-*.o | grep -E 'Class|Data' | sort | uniq -c | awk '{print $1, $3, $4, $5}'
  6 ELF32  
  2 ELF64  
  4 2's complement, big
  4 2's complement, little
  $ zolt rsq mixed *.o | syms | wc -l; diff <(index mixed.lib) <(defs *.o) && echo index-ok
  36
  index-ok

# Same names in two members give two entries; member order, then table order.
  $ obj first.o 'int f(void) { return 1; }'; obj second.o 'int f(void) { return 2; } __attribute__((weak)) int g(void) { return 3; }'; obj third.o 'int g(void) { return 4; }'
  $ zolt rsq dup first.o second.o third.o | syms | sort | uniq -c; diff <(index dup.lib) <(defs first.o second.o third.o) && echo index-ok
        2 f
        2 g
  index-ok
  $ obj second.o 'int only(void) { return 9; }'; zolt rsq dup second.o | syms | tr '\n' ' '; echo; zolt dsq dup first.o | syms | tr '\n' ' '; echo; diff <(index dup.lib) <(defs second.o third.o) && echo index-ok
  f only g 
  only g 
  index-ok

# Offsets point at the headers in every layout, past the name tables (the
# QvLongName one also for short names only, where it is two newlines).
  $ obj a_rather_long_object_name.o 'int la(void) { return 1; } int lb;' gcc -fcommon; obj b.o 'int bb = 5;'; mk notes_with_a_long_name.txt 'odd-sized notes'; obj exactly15char.o 'long x15 = 15;'
  $ cut15() { sed 's/ in \(.\{15\}\).*/ in \1/'; }; for d in '' 2 1 0; do rm -f l.a; zolt rqs$d l.a a_rather_long_object_name.o b.o notes_with_a_long_name.txt exactly15char.o | syms | tr '\n' ' '; diff <(index l.a | cut15) <(defs a_*.o b.o exactly15char.o | cut15) && echo index-ok; done
  la lb bb x15 index-ok
  la lb bb x15 index-ok
  la lb bb x15 index-ok
  la lb bb x15 index-ok
  $ rm l.a; zolt rq1 l.a b.o exactly15char.o; diff <(index l.a) <(defs b.o exactly15char.o) && echo index-ok
  index-ok

# The listing follows the write and ignores quiet; no symbols, no "/"; a file
# that only starts like ELF is not one; empty members are never opened.
  $ obj f.o 'int f(void) { return 1; }'; mk t.txt '\x7fEL'; mk empty.o ''
  $ zolt rsq s f.o; zolt rq s f.o; zolt as s t.txt empty.o; zolt rvs s f.o; zolt dsq s f.o; show s.lib; zolt ts s | tail -2
    ==>  symbol defined: 'f'
    ==>  building archive 's.lib'
    ==>  symbol defined: 'f'
    ==>  replace 'f.o'
    ==>  building archive 's.lib'
    ==>  symbol defined: 'f'
  !<arch>
  t.txt/          1700000000  0     0     0       3         `
  \x7fEL
  empty.o/        1700000000  0     0     0       0         `
           3   Tue Nov 14 22:13:20 2023    t.txt
           0   Tue Nov 14 22:13:20 2023    empty.o

# Definitions without a name (st_name 0, or past the string table) are
# listed with empty names: 4 + 9 + 5 + 5 = 23 bytes, padded to 24.
  $ obj n.o 'int keep = 1, none = 2, far = 3;'; elfpatch n.o sym:none.st_name=0 sym:far.st_name=0x7ffffff0; zolt rs n n.o | tail -3; head -c 92 n.lib | tail -c 84 | show; echo
    ==>  symbol defined: 'keep'
    ==>  symbol defined: ''
    ==>  symbol defined: ''
  /               0           0     0     0       24        `
  \x00\x00\x00\x03\x00\x00\x00\x5c\x00\x00\x00\x5c\x00\x00\x00\x5ckeep\x00\x00\x00\x00

# Other bindings and reserved section indexes are left out: GNU unique,
# binding 11, st_shndx 0xff00 and 0xfff3 (GNU ar takes the first, third and fourth).
  $ asm u.o '.data; .globl u; .type u, @gnu_unique_object; u: .byte 1; .globl plain; plain: .byte 2'
  $ obj o.o 'int keep1 = 1, lo_proc = 2, reserved = 3, os_binding = 4, keep2 = 5;'; elfpatch o.o sym:lo_proc.st_shndx=0xff00 sym:reserved.st_shndx=0xfff3 sym:os_binding.st_info=0xb1
  $ zolt rsq other u.o o.o | syms | tr '\n' ' '; echo; ar rcs gnu.a u.o o.o; index gnu.a | cut -d' ' -f1 | tr '\n' ' '; echo
  plain keep1 keep2 
  u plain keep1 lo_proc reserved keep2 

# Broken objects do not spoil the archive: the members around them keep
# their symbols, offsets and bytes; counts beyond the bytes present cost
# nothing (a symbol table claiming billions of entries gives a.o's own).
  $ obj a.o 'int f(void) { return 1; } int c2 = 2;'; obj z.o 'int zf(void) { return 3; }'
  > head -c 40 a.o >short.o; head -c 200 a.o >truncated.o; head -c $(( $(elfpatch a.o e_shoff) + 192 )) a.o >cut_in_symtab.o
  > blob noise.o 4000; printf '\177ELF' | dd of=noise.o conv=notrunc status=none; { printf '\177ELF\1\2\1'; head -c 600 /dev/zero | tr '\0' '\377'; } >noise32be.o
  > cp a.o many.o; elfpatch many.o e_shoff=$(( $(wc -c <a.o) - 10 )) e_shnum=0xffff; cp a.o far.o; elfpatch far.o e_shoff=0x7ffffffffffffff0
  > cp a.o huge_entries.o; elfpatch huge_entries.o e_shentsize=0xffff; cp a.o huge_symtab.o; elfpatch huge_symtab.o .symtab.sh_size=0xfffffffffff0
  $ for m in short truncated cut_in_symtab noise noise32be many far huge_entries huge_symtab; do rm -f m.a
  >   out=$(timeout 10 zolt rsq m.a a.o $m.o z.o 2>err); echo "$m [$?] $(echo "$out" | syms | tr '\n' ' ')$(ar t m.a | tr '\n' ' ')"; sed 's/^/err: /' err
  >   ar p m.a $m.o | cmp - $m.o; index m.a | grep -v "in $m.o" | diff - <(defs a.o z.o); done
  short [0] f c2 zf a.o short.o z.o 
  truncated [0] f c2 zf a.o truncated.o z.o 
  cut_in_symtab [0] f c2 zf a.o cut_in_symtab.o z.o 
  noise [0] f c2 zf a.o noise.o z.o 
  err: DIAG/user_msg_api:175:internal error #99924: (pfseeko called with SEEK_SET, but
  err:    offset is negative)
  noise32be [0] f c2 zf a.o noise32be.o z.o 
  err: DIAG/user_msg_api:175:internal error #99924: (pfseeko called with SEEK_SET, but
  err:    offset is negative)
  many [0] f c2 zf a.o many.o z.o 
  far [0] f c2 zf a.o far.o z.o 
  err: DIAG/user_msg_api:175:internal error #99924: (pfseeko called with SEEK_SET, but
  err:    offset is negative)
  huge_entries [0] f c2 zf a.o huge_entries.o z.o 
  huge_symtab [0] f c2 f c2 zf a.o huge_symtab.o z.o 
