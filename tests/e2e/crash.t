# SIGKILL at any moment of a rewrite never loses the archive: without a
# set-aside {GUID} file, the archive's name holds the old or the new archive
# whole; with one, that file is the old archive, the name holds the start of
# the new one (or nothing, when the kill fell between the two), and renaming
# it back restores it. 240 members, 19 MB, some of them objects.

  $ python3 -c 'import random; [open("member_%d.dat" % i, "wb").write(random.Random(i).randbytes(80000 + i)) for i in range(240)]'; for i in 0 1 2 3; do obj object_$i.o "int global_$i = 1;"; done
  $ zolt rq lib.a member_*.dat object_*.o; cp lib.a old; mk member_7.dat replaced; zolt rq lib.a member_7.dat; cp lib.a new
  $ cp old lib.a; s=$(date +%s%N); zolt rq lib.a member_7.dat; ms=$(( ($(date +%s%N) - s) / 1000000 + 1 )); middle=0
  > for round in $(seq 100); do cp old lib.a; timeout --foreground -s KILL 0.$(printf %03d $((RANDOM % ms))) zolt rq lib.a member_7.dat
  >   set -- {*}; if [ "$1" = '{*}' ]; then cmp -s lib.a old || cmp -s lib.a new || echo "round $round: not whole"
  >   else middle=$((middle + 1)); [ $# = 1 ] && cmp -s "$1" old && { [ ! -e lib.a ] || cmp -s lib.a new -n $(wc -c <lib.a); } && mv "$1" lib.a && cmp -s lib.a old || echo "round $round: lost"; fi; done
  > [ $middle -gt 10 ] && echo "most kills hit a write in progress"
  most kills hit a write in progress
