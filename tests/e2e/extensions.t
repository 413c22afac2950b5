# SOURCE_DATE_EPOCH: a member takes at most that date from its file, so the
# same inputs touched at different times give the same bytes. c.o is older
# than the epoch and keeps its own date.

  $ for t in 1700000000 1800000000; do
  >   mk a.o 'alpha\n' $t; mk b.o 'beta\n' $((t + 60)); mk c.o 'c\n' 1500000000
  >   SOURCE_DATE_EPOCH=1600000000 zolt rq lib$t.a a.o b.o c.o
  > done
  $ cmp lib1700000000.a lib1800000000.a && zolt t lib1800000000.a
  
        SIZE   DATE                        FILE NAME
    --------   ------------------------    -----------------
           6   Sun Sep 13 12:26:40 2020    a.o
           5   Sun Sep 13 12:26:40 2020    b.o
           2   Fri Jul 14 02:40:00 2017    c.o

# The update test compares the file's own date: a file changed after the
# epoch is always taken (and stored with the epoch again); c.o, no newer than
# its member, is not.

  $ mk a.o 'ALPHA\n' 1800000100
  $ SOURCE_DATE_EPOCH=1600000000 zolt ruv lib1800000000.a a.o b.o c.o; zolt t lib1800000000.a
    ==>  replace 'a.o'
    ==>  replace 'b.o'
    ==>  building archive 'lib1800000000.a'
  
        SIZE   DATE                        FILE NAME
    --------   ------------------------    -----------------
           6   Sun Sep 13 12:26:40 2020    a.o
           5   Sun Sep 13 12:26:40 2020    b.o
           2   Fri Jul 14 02:40:00 2017    c.o
  $ zolt x lib1800000000.a a.o && cat a.o
  ALPHA

# Unset, or anything but a plain decimal number, changes nothing; 0 is a
# number, and a file dated exactly at the epoch keeps its date.

  $ mk n.o 'n\n' 1700000000
  $ for v in unset '' abc -0 +5 ' 5' 5x 99999999999999999999 1700000000 0; do
  >   if [ "$v" = unset ]; then unset SOURCE_DATE_EPOCH; else export SOURCE_DATE_EPOCH="$v"; fi
  >   zolt rq n.a n.o; echo "'$v' =>$(zolt t n.a | tail -1)"; rm n.a
  > done
  'unset' =>         2   Tue Nov 14 22:13:20 2023    n.o
  '' =>         2   Tue Nov 14 22:13:20 2023    n.o
  'abc' =>         2   Tue Nov 14 22:13:20 2023    n.o
  '-0' =>         2   Tue Nov 14 22:13:20 2023    n.o
  '+5' =>         2   Tue Nov 14 22:13:20 2023    n.o
  ' 5' =>         2   Tue Nov 14 22:13:20 2023    n.o
  '5x' =>         2   Tue Nov 14 22:13:20 2023    n.o
  '99999999999999999999' =>         2   Tue Nov 14 22:13:20 2023    n.o
  '1700000000' =>         2   Tue Nov 14 22:13:20 2023    n.o
  '0' =>         2   Thu Jan  1 00:00:00 1970    n.o

# --version is --toolversion; a longer word is still an option word.

  $ rows --version --toolversion '--versions lib'
  zolt --version => [0]
  Zq4 Archiver                            v1.0.0.LTS
  Build Number [0-9A-Z-]+ (re)
  zolt --toolversion => [0]
  Zq4 Archiver                            v1.0.0.LTS
  Build Number [0-9A-Z-]+ (re)
  zolt --versions lib => [1] !   -->  error: bad option 'e'
