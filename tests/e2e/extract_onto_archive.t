# An archive holding a member named like itself (added from another
# directory) is never extracted over itself, however the target names it:
# the member's own name, a file argument, another spelling, a link to the
# archive, or the archive named through a link. The other members are
# extracted, the archive stays as it was, and the status is 1.

  $ mkdir d sub && mk a.txt 'a\n' && mk d/lib.a 'inner\n' && mk b.txt 'b\n'
  > zolt rq lib.a a.txt d/lib.a b.txt && cp lib.a saved && rm a.txt b.txt
  > ln -s lib.a link.a && ln -s ../lib.a sub/lib.a
  $ for args in 'lib.a' 'lib.a lib.a' 'lib.a ./LIB.A' 'lib.a sub/lib.a' 'link.a'; do
  >   cp saved lib.a; rows "xv $args"; cmp -s lib.a saved && echo "archive unchanged;" $(ls *.txt 2>/dev/null); rm -f *.txt
  > done
  zolt xv lib.a => [1]
    ==>  extract 'a.txt'
    ==>  extract 'b.txt'
  !   -->  error: member 'lib.a' not extracted: it would overwrite the archive
  archive unchanged; a.txt b.txt
  zolt xv lib.a lib.a => [1] !   -->  error: member 'lib.a' not extracted: it would overwrite the archive
  archive unchanged;
  zolt xv lib.a ./LIB.A => [1] !   -->  error: member 'lib.a' not extracted: it would overwrite the archive
  archive unchanged;
  zolt xv lib.a sub/lib.a => [1] !   -->  error: member 'lib.a' not extracted: it would overwrite the archive
  archive unchanged;
  zolt xv link.a => [1]
    ==>  extract 'a.txt'
    ==>  extract 'b.txt'
  !   -->  error: member 'lib.a' not extracted: it would overwrite the archive
  archive unchanged; a.txt b.txt
