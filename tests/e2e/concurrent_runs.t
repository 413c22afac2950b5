# Runs on one archive started at the same time wait for each other, as make -j
# starts them: none loses a member or sees a half-written archive. The
# members' files are in m/, the archive alone in a/.

  $ mkdir m a
  > for i in $(seq -w 100); do mk m/old$i.o "old $i\n"; done
  > for i in $(seq -w 16); do mk m/new$i.o "new $i\n"; done
  > (cd a && zolt rq lib.a ../m/old*.o) && cp a/lib.a base.a

# trial ADDS DELETES LISTINGS, three times: from the 100-member archive, runs
# adding new01.o... and deleting old001.o..., with listings among them, all
# started at once; then what the runs and the archive show: failed runs, the
# old members left (all but the deleted, in order), the new ones, the members
# equal to their files, the listings that show every old member not deleted,
# in order, and what is left beside the archive.

  $ cat >trial <<'EOF'
  > names() { awk 'NR > 3 { print $NF }' "$@"; }
  > for t in 1 2 3; do
  >   cp base.a a/lib.a; pids=
  >   for j in $(seq 16); do
  >     [ $j -le $1 ] && { (cd a && zolt rq lib.a ../m/new$(printf %02d $j).o) & pids+=" $!"; }
  >     [ $j -le $2 ] && { (cd a && zolt dq lib.a old$(printf %03d $j).o) & pids+=" $!"; }
  >     [ $j -le $3 ] && { zolt t a/lib.a >l$j 2>&1 & pids+=" $!"; }
  >   done
  >   failed=0; for p in $pids; do wait $p || failed=$((failed + 1)); done
  >   kept=$(seq -f 'old%03g.o' $(($2 + 1)) 100)
  >   [ "$(zolt t a/lib.a | names | grep old)" = "$kept" ] && old="old kept in order" || old="OLD LOST"
  >   rm -rf x; mkdir x
  >   same=$(cd x && zolt x ../a/lib.a && for f in *; do cmp -s $f ../m/$f && echo; done | wc -l)
  >   whole=0
  >   for l in $(seq $3); do
  >     names l$l | grep old | sort -c 2>/dev/null &&
  >       [ -z "$(comm -13 <(names l$l | grep old) <(echo "$kept"))" ] && whole=$((whole + 1))
  >   done
  >   echo "$failed failed; $old; $(zolt t a/lib.a | grep -c new) of $1 added;" \
  >     "$same members as their files; $whole of $3 listings whole; a/:" $(ls -A a)
  > done
  > EOF

  $ bash trial 16 0 0
  0 failed; old kept in order; 16 of 16 added; 116 members as their files; 0 of 0 listings whole; a/: lib.a
  0 failed; old kept in order; 16 of 16 added; 116 members as their files; 0 of 0 listings whole; a/: lib.a
  0 failed; old kept in order; 16 of 16 added; 116 members as their files; 0 of 0 listings whole; a/: lib.a
  $ bash trial 0 16 0
  0 failed; old kept in order; 0 of 0 added; 84 members as their files; 0 of 0 listings whole; a/: lib.a
  0 failed; old kept in order; 0 of 0 added; 84 members as their files; 0 of 0 listings whole; a/: lib.a
  0 failed; old kept in order; 0 of 0 added; 84 members as their files; 0 of 0 listings whole; a/: lib.a
  $ bash trial 8 8 8
  0 failed; old kept in order; 8 of 8 added; 100 members as their files; 8 of 8 listings whole; a/: lib.a
  0 failed; old kept in order; 8 of 8 added; 100 members as their files; 8 of 8 listings whole; a/: lib.a
  0 failed; old kept in order; 8 of 8 added; 100 members as their files; 8 of 8 listings whole; a/: lib.a

# While another holds the archive (here the shell, through descriptor 9), a
# listing waits only for a writer, a writer for anyone (a run still going
# after a second waits); an interrupt while it waits ends it as any interrupt
# does, with nothing written. A waiting run goes on as soon as the holder
# lets go.

  $ for held in -s -x; do for args in 't a/lib.a' 'rq a/lib.a m/new01.o' 'dq a/lib.a old001.o'; do
  >   cp base.a a/lib.a; exec 9<a/lib.a; flock $held 9; zolt $args >out 2>&1 9<&- &
  >   for i in $(seq 20); do kill -0 $! 2>/dev/null && sleep 0.05; done
  >   echo -n "flock $held, $args:"; kill -0 $! 2>/dev/null && echo -n " waits, interrupted" && kill -INT $!
  >   wait $!; echo " [$?]" $(grep '^\[' out) $(cmp a/lib.a base.a) $(ls -A a); exec 9<&-
  > done; done
  flock -s, t a/lib.a: [0] lib.a
  flock -s, rq a/lib.a m/new01.o: waits, interrupted [2] [zolt forced exit] lib.a
  flock -s, dq a/lib.a old001.o: waits, interrupted [2] [zolt forced exit] lib.a
  flock -x, t a/lib.a: waits, interrupted [2] [zolt forced exit] lib.a
  flock -x, rq a/lib.a m/new01.o: waits, interrupted [2] [zolt forced exit] lib.a
  flock -x, dq a/lib.a old001.o: waits, interrupted [2] [zolt forced exit] lib.a
  $ exec 9<a/lib.a; flock 9; zolt rq a/lib.a m/new01.o 9<&- & sleep 0.5
  > kill -0 $! && echo waits; flock -u 9; wait $!; echo "[$?]"; zolt t a/lib.a | grep -c '\.o'
  waits
  [0]
  101

# Where the file system refuses locks (flock fails here with ENOLCK, as on
# some network file systems), zolt goes on without them, as it always did.

  $ cat >refuse.c <<'EOF'
  > #include <errno.h>
  > #include <linux/filter.h>
  > #include <linux/seccomp.h>
  > #include <stddef.h>
  > #include <sys/prctl.h>
  > #include <sys/syscall.h>
  > #include <unistd.h>
  > int main(int argc, char** argv) {
  >   struct sock_filter f[] = {
  >       BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
  >       BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_flock, 0, 1),
  >       BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOLCK),
  >       BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  >   struct sock_fprog p = {4, f};
  >   prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  >   prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &p);
  >   return execvp(argv[1], argv + 1);
  > }
  > EOF
  > gcc -o refuse refuse.c && cp base.a a/lib.a
  $ exec 9<a/lib.a; flock 9; timeout 9 ./refuse zolt rv a/lib.a m/new01.o 9<&-; echo "[$?]"
  > ./refuse zolt t a/lib.a | tail -2; ./refuse zolt rq new.a m/new02.o; ls -A a; zolt t new.a | tail -1
    ==>  add 'm/new01.o'
    ==>  building archive 'a/lib.a'
  [0]
           8   Tue Nov 14 22:13:20 2023    old100.o
           7   Tue Nov 14 22:13:20 2023    new01.o
  lib.a
           7   Tue Nov 14 22:13:20 2023    new02.o
