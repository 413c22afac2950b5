Runs on one archive started at the same time wait for each other, as make -j
starts them: none loses a member or sees a half-written archive. The
members' files are in m/, the archive alone in a/.

  $ mkdir m a
  > for i in $(seq -w 100); do mk m/old$i.o "old $i\n"; done
  > for i in $(seq -w 16); do mk m/new$i.o "new $i\n"; done
  > (cd a && zolt rq lib.a ../m/old*.o) && cp a/lib.a base.a

trial ADDS DELETES LISTINGS, three times: from the 100-member archive, runs
adding new01.o... and deleting old001.o..., with listings among them, all
started at once; then what each run and the archive show.

  $ cat >trial <<'EOF'
  > for t in 1 2 3; do
  >   cp base.a a/lib.a; pids=
  >   for j in $(seq 16); do
  >     [ $j -le $1 ] && { (cd a && zolt rq lib.a ../m/new$(printf %02d $j).o) & pids+=" $!"; }
  >     [ $j -le $2 ] && { (cd a && zolt dq lib.a old$(printf %03d $j).o) & pids+=" $!"; }
  >     [ $j -le $3 ] && { zolt t a/lib.a >l$j 2>&1 & pids+=" $!"; }
  >   done
  >   failed=0; for p in $pids; do wait $p || failed=$((failed + 1)); done
  >   zolt t a/lib.a | awk 'NR > 3 { print $NF }' >names
  >   kept=$(seq -f 'old%03g.o' $(($2 + 1)) 100)
  >   [ "$(grep old names)" = "$kept" ] && old="old kept in order" || old="OLD LOST"
  >   new=$(grep -c new names); rm -rf x; mkdir x
  >   (cd x && zolt x ../a/lib.a && for f in *; do cmp -s $f ../m/$f || echo -n " $f DIFFERS"; done)
  >   whole=0
  >   for l in $(seq $3); do
  >     awk 'NR > 3 { print $NF }' l$l | grep old | sort -c 2>/dev/null &&
  >       [ -z "$(comm -13 <(awk 'NR > 3 { print $NF }' l$l | grep old) <(echo "$kept"))" ] &&
  >       whole=$((whole + 1))
  >   done
  >   echo " $failed failed, $old, $new of $1 added, $whole of $3 listings whole, a/:" $(ls -A a)
  > done
  > EOF

  $ bash trial 16 0 0
   0 failed, old kept in order, 16 of 16 added, 0 of 0 listings whole, a/: lib.a
   0 failed, old kept in order, 16 of 16 added, 0 of 0 listings whole, a/: lib.a
   0 failed, old kept in order, 16 of 16 added, 0 of 0 listings whole, a/: lib.a
  $ bash trial 0 16 0
   0 failed, old kept in order, 0 of 0 added, 0 of 0 listings whole, a/: lib.a
   0 failed, old kept in order, 0 of 0 added, 0 of 0 listings whole, a/: lib.a
   0 failed, old kept in order, 0 of 0 added, 0 of 0 listings whole, a/: lib.a
  $ bash trial 8 8 8
   0 failed, old kept in order, 8 of 8 added, 8 of 8 listings whole, a/: lib.a
   0 failed, old kept in order, 8 of 8 added, 8 of 8 listings whole, a/: lib.a
   0 failed, old kept in order, 8 of 8 added, 8 of 8 listings whole, a/: lib.a
