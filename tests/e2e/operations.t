# Add, replace, update, delete, extract and list: pairing of arguments with
# members, status lines, member data and padding, spellings of file arguments.

  $ mk a.o aaa; mk b.o bb
  $ zolt rv lib a.o; zolt rv lib b.o a.o; zolt rq lib a.o; zolt rqv lib a.o; zolt aqv new a.o
    ==>  new archive 'lib.lib'
    ==>  add 'a.o'
    ==>  building archive 'lib.lib'
    ==>  replace 'a.o'
    ==>  add 'b.o'
    ==>  building archive 'lib.lib'
    ==>  replace 'a.o'
    ==>  add 'a.o'
  $ zolt xv lib out/B.O; mkdir out; zolt xv lib out/B.O a.o; cat out/B.O; echo
    ==>  extract 'a.o'
    ==>  extract 'out/B.O'
  bb
  !   -->  error: cannot create 'out/B.O'
  $ zolt dv lib A.O; zolt dqv lib b.o; show lib.lib; zolt tqv new
    ==>  delete 'a.o'
    ==>  building archive 'lib.lib'
    ==>  delete 'b.o'
  !<arch>
  
        SIZE   DATE                        FILE NAME
    --------   ------------------------    -----------------
           3   Tue Nov 14 22:13:20 2023    a.o

# Data and padding: odd, even, empty, 4096 and 4097 bytes, zero bytes.
  $ mk odd.o odd; mk even.o even $((D+1)); mk empty.o '' $((D+2)); head -c 4096 /dev/zero | tr '\0' x >block.o; { tr x y <block.o; echo; } >big.o; touch -d @$D block.o big.o; mk nul.o '\0\n\0' $((D+5))
  $ zolt aq lib odd.o even.o empty.o block.o big.o nul.o; show lib.lib
  !<arch>
  odd.o/          1700000000  0     0     0       3         `
  odd
  even.o/         1700000001  0     0     0       4         `
  evenempty.o/        1700000002  0     0     0       0         `
  block.o/        1700000000  0     0     0       4096      `
  <x*4096>big.o/          1700000000  0     0     0       4097      `
  <y*4096>
  
  nul.o/          1700000005  0     0     0       3         `
  \x00
  \x00
  $ mk even.o EVEN $((D+9)); cp lib.lib old; zolt rq lib even.o; cmp -l old lib.lib | awk '{print $1}' | tr '\n' ' '; echo
  98 133 134 135 136 
  $ zolt x lib out/odd.o out/empty.o out/block.o out/big.o out/nul.o; for f in odd empty block big nul; do cmp $f.o out/$f.o; done; zolt t lib | tail -n +4
           3   Tue Nov 14 22:13:20 2023    odd.o
           4   Tue Nov 14 22:13:29 2023    even.o
           0   Tue Nov 14 22:13:22 2023    empty.o
        4096   Tue Nov 14 22:13:20 2023    block.o
        4097   Tue Nov 14 22:13:20 2023    big.o
           3   Tue Nov 14 22:13:25 2023    nul.o

# Pairing: case and directories ignored, a name matches whole, the base name
# follows "/", "\" or ":".
  $ mk a.o first; mk b.o bee; zolt aq pair a.o b.o; mkdir dir; zolt x pair dir/A.O; files dir; cat dir/A.O; echo
  A.O
  first
  $ zolt t pair x/B.o a a.o.o | tail -n +4; zolt t pair 'q\A.o' c:B.O | tail -2; zolt dq pair some/where/B.O; show pair.lib
           3   Tue Nov 14 22:13:20 2023    b.o
           5   Tue Nov 14 22:13:20 2023    a.o
           3   Tue Nov 14 22:13:20 2023    b.o
  !<arch>
  a.o/            1700000000  0     0     0       5         `
  first
  !   -->  error: 'a' not found
  !   -->  error: 'a.o.o' not found

# Duplicates: each argument pairs with one member, the first not yet taken.
  $ mk a.o one; zolt aq dup a.o; mk a.o 'two!' $((D+1)); zolt aq dup a.o; show dup.lib
  !<arch>
  a.o/            1700000000  0     0     0       3         `
  one
  a.o/            1700000001  0     0     0       4         `
  two! (no-eol)
  $ mkdir x; cp dup.lib x/; (cd x && zolt xv dup && cat a.o); echo
    ==>  extract 'a.o'
    ==>  extract 'a.o'
  two!
  $ mk a.o three $((D+2)); zolt rv dup a.o; zolt rqv dup a.o ./a.o A.O; show dup.lib
    ==>  replace 'a.o'
    ==>  building archive 'dup.lib'
    ==>  replace 'a.o'
    ==>  replace 'a.o'
    ==>  add 'a.o'
  !<arch>
  a.o/            1700000002  0     0     0       5         `
  three
  a.o/            1700000002  0     0     0       5         `
  three
  a.o/            1700000002  0     0     0       5         `
  three
  $ mk b.o b $((D+3)); zolt rq dup2 a.o b.o; mk a.o newer $((D+4)); zolt aq dup2 a.o; mkdir -p y/second y/1.a.o; zolt x dup2 y/1.a.o/../a.o y/second/a.o; cat y/a.o y/second/a.o; echo
  threenewer
  $ zolt dq dup2 a.o; show dup2.lib
  !<arch>
  b.o/            1700000003  0     0     0       1         `
  b
  a.o/            1700000004  0     0     0       5         `
  newer

# Replace with no file arguments refreshes from the current directory; a
# missing file is left alone, unreported; update takes only newer files.
  $ mk a.o a1; mk b.o b1; mk c.o c1; zolt rq up a.o b.o c.o; mk a.o a22 $((D+5)); rm b.o; zolt rv up; zolt rv up b.o; cp up.lib refreshed
    ==>  replace 'a.o'
    ==>  replace 'c.o'
    ==>  building archive 'up.lib'
    ==>  building archive 'up.lib'
  $ mk c.o c333; mk a.o a4444 $((D+4)); zolt uv up a.o c.o; zolt ruv up; cmp refreshed up.lib && echo unchanged
    ==>  building archive 'up.lib'
    ==>  building archive 'up.lib'
  unchanged
  $ mk c.o c333 $((D+1)); mk d.o d $((D+7)); zolt ruv up c.o d.o a.o; show up.lib
    ==>  replace 'c.o'
    ==>  add 'd.o'
    ==>  building archive 'up.lib'
  !<arch>
  a.o/            1700000005  0     0     0       3         `
  a22
  b.o/            1700000000  0     0     0       2         `
  b1c.o/            1700000001  0     0     0       4         `
  c333d.o/            1700000007  0     0     0       1         `
  d

# Deleting nothing leaves the archive untouched, its date included; extracting
# everything writes into the current directory, dated now.
  $ touch -d @1000000000 up.lib; zolt dv up; stat -c %Y up.lib; mkdir z; mv up.lib z/; cd z && zolt x up && files && cat c.o && echo && [ $(stat -c %Y c.o) != $((D+1)) ] && echo dated-now
  1000000000
  a.o b.o c.o d.o up.lib
  c333
  dated-now

# Unsafe member names are not extracted without file arguments; a file
# argument names its target as given.
  $ mkdir -p w/a/b/sub && cd w/a/b && a=$(cd ../.. && pwd)/abs_long.o && b=$(cd ../.. && pwd | tr / '\\')\\root_long.o
  > printf '%s/\n' '..|..|escape_long_name.o' "${a//\//|}" "$b" >t; [ $(($(wc -c <t) % 2)) = 0 ] || echo >>t
  > { echo '!<arch>'; hdr // 0 0 $(wc -c <t); cat t; hdr /26 1 0 3; echo abs; hdr ok.o/ 2 0 2; printf ok; hdr ../up.o/ 3 0 2; printf up; hdr /0 4 0 3; echo esc; hdr '' 5 0 5; echo empty; hdr sub/in.o/ 6 0 2; printf in; hdr 'a\..\b.o/' 7 0 2; printf bs; hdr ..x.o/ 8 0 4; printf dots; hdr /$((28 + ${#a})) 9 0 4; printf root; } >lib.lib; rm t
  $ cd w/a/b && zolt xv lib; echo "[$?]"; files; files sub; files ..; files ../..
    ==>  extract 'ok.o'
    ==>  extract 'sub/in.o'
    ==>  extract '..x.o'
  [1]
  ..x.o lib.lib ok.o sub
  in.o
  b
  a
  !   -->  error: unsafe member name '/.*/w/abs_long\.o' not extracted (re)
  !   -->  error: unsafe member name '../up.o' not extracted
  !   -->  error: unsafe member name '../../escape_long_name.o' not extracted
  !   -->  error: unsafe member name '' not extracted
  !   -->  error: unsafe member name 'a\..\b.o' not extracted
  !   -->  error: unsafe member name '\\.*\\w\\root_long\.o' not extracted (re)
  $ mkdir -p w/a/b/deep/er; cd w/a/b && zolt x lib deep/er/../OK.O && cat deep/OK.O
  ok (no-eol)

# A "%" in a name is never a format.
  $ { echo '!<arch>'; hdr x.o/ 1 0 1; echo x; echo junk; } >'a%s%%b%d%%%c.lib'; mk '%n%s.o' p
  $ zolt t 'a%s%%b%d%%%c.lib'; zolt t '%s%%x'; zolt rv 'p%d' '%n%s.o' '%x%%.o'; show 'p%d.lib'
    ==>  new archive 'p%d.lib'
    ==>  add '%n%s.o'
    ==>  building archive 'p%d.lib'
  !<arch>
  %n%s.o/         1700000000  0     0     0       1         `
  p
  !   -->  error: Cannot read member header: 'a%s%b%d%%c.lib'
  !   -->  error: cannot open archive: '%s%%x.lib'
  !   -->  error: '%x%%.o' not found

# File arguments take their on-disk spelling: an exact spelling wins, then
# the first case-insensitive match in byte order; "\" separates too.
  $ mk sub/File.o file; zolt rv sp SUB/FILE.O; mk sub/File.o FILE $((D+1)); zolt rv sp 'Sub\file.O'
    ==>  new archive 'sp.lib'
    ==>  add 'sub/File.o'
    ==>  building archive 'sp.lib'
    ==>  replace 'File.o'
    ==>  building archive 'sp.lib'
  $ mk sub/file.O other $((D+2)); zolt av sp 'sub\FILE.O' sub/file.O sub/nosuch/X.O SUB/NoSuch.o; show sp.lib
    ==>  add 'sub\File.o'
    ==>  add 'sub/file.O'
    ==>  building archive 'sp.lib'
  !<arch>
  File.o/         1700000001  0     0     0       4         `
  FILEFile.o/         1700000001  0     0     0       4         `
  FILEfile.O/         1700000002  0     0     0       5         `
  other
  !   -->  error: 'sub/nosuch/X.O' not found
  !   -->  error: 'sub/NoSuch.o' not found

# Links are followed to the end and stay links; permissions are kept, special
# bits are not; a new archive follows the umask.
  $ mk a.o a; mk b.o b; mkdir real; ln -s real/target.a link.a; zolt rq link.a a.o; chmod 640 real/target.a; zolt rq link.a b.o
  $ ln -s link.a chain.a; zolt dq chain.a a.o; stat -c '%F %a' link.a chain.a real/target.a; show real/target.a; files real
  symbolic link 777
  symbolic link 777
  regular file 640
  !<arch>
  b.o/            1700000000  0     0     0       1         `
  b
  target.a
  $ chmod 4755 real/target.a; zolt rq chain.a a.o; (umask 027; zolt rq fresh a.o); stat -c %a real/target.a fresh.lib
  755
  640
  $ chmod 600 fresh.lib; (umask 0; zolt rq fresh b.o); stat -c %a fresh.lib
  600

# Megabytes of members on both sides of 1 MiB, written, half replaced from
# their files and half copied from the old archive, extracted: the same bytes.
  $ for i in $(seq 100 139); do blob m$i.o $((1048575 + i % 3)) $i; done; zolt rq mb m1*.o; for f in m1*.o; do ar p mb.lib $f | cmp - $f; done
  $ cp mb.lib full; zolt rq mb m1[0-3][02468].o; cmp full mb.lib && mkdir mo && zolt xq mb $(printf 'mo/%s ' m1*.o) && for f in m1*.o; do cmp $f mo/$f; done

# A large member between a RAM disk and the disk, both ways.
  $ t=$(mktemp -d /dev/shm/zolt-XXXXXX); blob $t/large.o 3145729; zolt rq big $t/large.o; (cd $t && zolt xq $OLDPWD/big.lib && cmp large.o $OLDPWD/big.lib -i 0:68 -n 3145729 && echo same); ar p big.lib large.o | cmp - $t/large.o; rm -r $t
  same

# Objects on both sides of 16 KiB and 64 KiB, odd and even, more than 8 MiB
# of them up to 64 KiB: created, half replaced from their files and half copied from the
# old archive, one deleted; each time the index names every definition at
# its member and the members come back byte for byte.
  $ obj a.o 'int alpha(void) { return 1; } int shared;' && obj b.o 'long beta[2] = {1}; static int hidden;'
  > n=0; for size in 16383 16384 16385 65535 65536 65537; do for i in $(seq 48); do
  >   n=$((n + 1)); f=k$(printf %03d $n).o; cp $([ $((n % 2)) = 0 ] && echo a.o || echo b.o) $f; truncate -s $size $f
  > done; done
  > check() { [ "$(index $1)" = "$(defs $(ar t $1))" ] && for f in $(ar t $1); do ar p $1 $f | cmp - $f; done && echo "$1 ok"; }
  > zolt rq k.a k*.o && check k.a && cp k.a full.a
  > zolt rq k.a k0[0-9][02468].o k1[0-9][13579].o && cmp k.a full.a && echo same
  > zolt dq k.a k120.o && check k.a
  k.a ok
  same
  k.a ok

# A run that replaces an old archive syncs the new one and its directory
# before removing the old; one that creates an archive does not.
  $ for word in rq rq dq; do strace -qq -e trace=fsync,fdatasync,sync_file_range -o t zolt $word s.a a.o; echo "$word:" $(cut -d"(" -f1 t); done
  rq:
  rq: fsync fsync
  dq: fsync fsync
