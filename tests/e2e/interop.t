# Archives shared with the system's archivers, symbol listers and linkers,
# both ways.

# A library whose members a program reaches only through the index: beta
# only through alpha, and two members that must never be loaded, since they
# refer to symbols that exist nowhere.
  $ obj never_loaded_member.o 'extern int nowhere_at_all(void); int never_used(void) { return nowhere_at_all(); }'
  > obj b.o 'int beta(int x) { return x * 10; }'; mk notes.txt 'not an object\n'; obj common.o 'int shared_common;' gcc -fcommon
  > obj alpha_member_with_long_name.o 'extern int beta(int); int alpha(int x) { return beta(x) + 1; }'
  > obj counter.o 'int counter = 41; __attribute__((weak)) const char *greeting(void) { return "hello"; }'
  > asm abs.o '.globl magic_value; .set magic_value, 0x1234; .section .note.GNU-stack,"",@progbits'; obj poison.o 'extern int also_nowhere(void); int beta2(void) { return also_nowhere(); }'
  > obj main.o '#include <stdio.h>
  > extern int alpha(int), counter, shared_common; extern const char *greeting(void); extern char magic_value[];
  > int main(void) { shared_common += 2; printf("%d %d %s %#lx %d\n", alpha(4), counter, greeting(), (unsigned long)magic_value, shared_common); return 0; }' gcc -fno-pie
  > set -- never_loaded_member.o b.o notes.txt alpha_member_with_long_name.o counter.o abs.o common.o poison.o; zolt rqs lib.a "$@" | syms | tr '\n' ' '; echo; printf '%s\n' "$@" >names
  never_used beta alpha counter greeting magic_value shared_common beta2 
  $ for t in ar llvm-ar; do $t t lib.a | cmp - names; done; defs never_*.o b.o alpha*.o counter.o abs.o common.o poison.o >map
  > nm -s lib.a 2>/dev/null | sed -n '/ in /p' | cmp - map; llvm-nm --print-armap lib.a 2>/dev/null | sed -n '/ in /p' | cmp - map
  $ for l in bfd gold lld; do gcc -fuse-ld=$l -no-pie -o prog-$l main.o lib.a && ./prog-$l; done
  41 41 hello 0x1234 2
  41 41 hello 0x1234 2
  41 41 hello 0x1234 2

# The index is what the GNU linkers go by: without it they do not link.
  $ for f in $(ar t lib.a); do ar p lib.a $f >$f; done; ar qcS nomap.a "$@"; for l in bfd gold; do gcc -fuse-ld=$l -no-pie -o p main.o nomap.a 2>/dev/null || echo "$l: refused"; done
  bfd: refused
  gold: refused

# Archives that GNU ar and llvm-ar write, with and without an index: zolt
# lists and extracts them; after zolt replaces and adds members, the peers
# list and extract what zolt wrote.
  $ mk x.o tiny; mk odd odd; mk another_rather_long_name.txt 'text member\n'
  > for a in 'ar rc' 'ar rcs' 'llvm-ar rc' 'llvm-ar rcs'; do rm -rf f.a out; $a f.a alpha_member_with_long_name.o x.o another_rather_long_name.txt odd
  >   zolt t f.a | tail -n +4 | awk '{print $1, $NF}' | tr '\n' ' '; echo; mkdir out; (cd out && zolt x ../f.a) && for f in $(ls out); do cmp $f out/$f; done
  >   mk x.o 'tiny, but longer now'; mk added_with_a_long_name.o added; zolt rq f.a x.o added_with_a_long_name.o; rm -r out; mkdir out
  >   ${a% *} t f.a | tr '\n' ' '; echo; (cd out && ${a% *} x ../f.a) && for f in $(ls out); do cmp $f out/$f; done; mk x.o tiny; done
  1248 alpha_member_with_long_name.o 4 x.o 12 another_rather_long_name.txt 3 odd 
  alpha_member_with_long_name.o x.o another_rather_long_name.txt odd added_with_a_long_name.o 
  1248 alpha_member_with_long_name.o 4 x.o 12 another_rather_long_name.txt 3 odd 
  alpha_member_with_long_name.o x.o another_rather_long_name.txt odd added_with_a_long_name.o 
  1248 alpha_member_with_long_name.o 4 x.o 12 another_rather_long_name.txt 3 odd 
  alpha_member_with_long_name.o x.o another_rather_long_name.txt odd added_with_a_long_name.o 
  1248 alpha_member_with_long_name.o 4 x.o 12 another_rather_long_name.txt 3 odd 
  alpha_member_with_long_name.o x.o another_rather_long_name.txt odd added_with_a_long_name.o 

# The system's libc rewritten by zolt from GNU ar's archive: the same members
# and bytes, the same index as GNU ar's, and a program links statically
# against it and runs as with the original.
  $ libc=$(gcc -print-file-name=libc.a); cp "$libc" libc.a; zolt dq libc.a no-such-member; ar t "$libc" | cmp - <(ar t libc.a); ar p "$libc" | cmp - <(ar p libc.a)
  > diff <(index "$libc") <(index libc.a) && echo same-index
  > obj prog.o '#include <stdio.h>
  > #include <stdlib.h>
  > static int cmp(const void *a, const void *b) { return *(const int *)a - *(const int *)b; }
  > int main(void) { int v[] = {5, 3, 9, 1}; qsort(v, 4, sizeof v[0], cmp); printf("%d-%d-%d-%d %ld\n", v[0], v[1], v[2], v[3], strtol("42", 0, 10)); return 0; }'
  > gcc -static -o p1 prog.o && gcc -static -nodefaultlibs -o p2 prog.o -Wl,--start-group libc.a -lgcc -lgcc_eh -Wl,--end-group && ./p1 && ./p2
  same-index
  1-3-5-9 42
  1-3-5-9 42
  !   -->  error: 'no-such-member' not found
