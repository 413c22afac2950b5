# Damaged archives, failed extractions and failed writes: the message, the
# stream, the status, and what is left on disk afterwards.

# Damaged archives: each is refused by t, x and r with its message, and is
# left as it was with nothing beside it.
  $ ok() { hdr ok.o/ $'\t1' 0 2; printf ok; }; sz() { hdr a.o/ 1 0 "$1"; printf ab; }
  > tb() { hdr // 0 0 20; echo long_name_abcdef.o/; hdr "$1" 1 0 2; printf ab; }
  > qv() { hdr '<filenames>/' 0 1 22; printf '\nlong_name_abcdef.o/\n\n'; hdr "$1" 1 "$2" 2; printf ab; }
  > n=0; d() { { echo '!<arch>'; "$@"; } >d$((n += 1)).lib; }
  > d ok; printf '%59s' '' >>d1.lib; d printf x; d eval "hdr a.o/ 1 0 2 | tr '\`' x; printf ab"; d eval "ok; hdr a.o/ 1 0 2 | tr '\`' '\n'; printf '\`'"
  > d eval "hdr a.o/ 1 '' 2; printf ab"; d eval "hdr a.o/ '' 0 2; printf ab"; d sz ''; d sz x2; d eval 'ok; sz -60'; d sz 2147483648; d sz 9999999999
  > d tb /20; d tb /99999999999999; d qv long_name_abcdX/ 1; d qv LONG_name_abcde/ 1; d qv long_name_abcde/ 22; d qv long_name_abcde/ -1
  > d eval 'hdr // 0 0 100; echo long_name_abcdef.o/'; mk a.o new
  $ for i in $(seq 18); do cp d$i.lib before; echo "$(for c in t x r; do zolt $c d$i a.o 2>&1 >>$HOME/so; echo "[$?]"; done | sort -u | tr '\n' ' ')"; cmp -s before d$i.lib || echo changed; done; cat $HOME/so; aside
    -->  error: Cannot read member header: 'd1.lib' [1] 
    -->  error: Cannot read member header: 'd2.lib' [1] 
    -->  error: Corrupt member header: 'd3.lib' [1] 
    -->  error: Corrupt member header: 'd4.lib' [1] 
    -->  error: Corrupt member header: 'd5.lib' [1] 
    -->  error: Corrupt member header: 'd6.lib' [1] 
    -->  error: Corrupt member header: 'd7.lib' [1] 
    -->  error: Corrupt member header: 'd8.lib' [1] 
    -->  error: Corrupt member header: 'd9.lib' [1] 
    -->  error: Corrupt member header: 'd10.lib' [1] 
    -->  error: Corrupt member header: 'd11.lib' [1] 
    -->  error: Corrupt member name: 'd12.lib' [1] 
    -->  error: Corrupt member name: 'd13.lib' [1] 
    -->  error: Corrupt member name: 'd14.lib' [1] 
    -->  error: Corrupt member name: 'd15.lib' [1] 
    -->  error: Corrupt member name: 'd16.lib' [1] 
    -->  error: Corrupt member name: 'd17.lib' [1] 
    -->  error: Cannot read name table: 'd18.lib' [1] 
  none

# A size past the end of the file is not noticed by a listing; extracting
# fails while reading, after the target was made; rewriting is refused.
  $ { echo '!<arch>'; hdr huge.o/ 0 0 2147483647; printf ab; } >huge.lib; cp huge.lib before
  $ rows 't huge' 'x huge' 'd huge none.o'; ls huge*; cmp before huge.lib && echo kept
  zolt t huge => [0]
  
        SIZE   DATE                        FILE NAME
    --------   ------------------------    -----------------
    2147483647   Thu Jan  1 00:00:00 1970    huge.o
  zolt x huge => [1] !   -->  error: read error
  zolt d huge none.o => [1]
    ==>  building archive 'huge.lib'
  !   -->  error: Member file too large: 'huge.o'
  huge.lib
  huge.o
  kept
  $ { echo '!<arch>'; hdr cut.o/ 0 0 1000; printf ab; } >cut.lib; cp cut.lib before; zolt dq cut none.o; cmp before cut.lib && echo kept
  kept
  !   -->  error: Error writing archive

# Replacing and adding read any existing file as an archive: 8 bytes or
# fewer have no members; longer text fails at its first header.
  $ mk a.o a; mk tiny.lib tiny; zolt r tiny a.o; show tiny.lib; mk text.lib 'this is plain text, not an archive\n'; zolt a text a.o; cat text.lib
    ==>  new archive 'tiny.lib'
    ==>  building archive 'tiny.lib'
  !<arch>
  a.o/            1700000000  0     0     0       1         `
  a
  this is plain text, not an archive
  !   -->  error: Cannot read member header: 'text.lib'

# Extraction: the run stops at the first target that cannot be made; what
# came before stays.
  $ mk a.o aaa; mk b.o bb; mk full 'to the full device'; zolt rq ex a.o b.o full; mkdir out; zolt xv ex out/a.o nodir/b.o; cat out/a.o; echo
    ==>  extract 'out/a.o'
  aaa
  !   -->  error: cannot create 'nodir/b.o'
  $ mkdir out/b.o; rows 'x ex /dev/full' 'x ex out/../out/' 'x ex out/b.o'
  zolt x ex /dev/full => [1] !   -->  error: write error
  zolt x ex out/../out/ => [1] !   -->  error: 'out/../out/' not found
  zolt x ex out/b.o => [1] !   -->  error: cannot create 'out/b.o'

# A member too large, or a file that cannot be read: a new archive leaves
# nothing behind, an old one is back under its name.
  $ mkdir d.o; truncate -s 100000000 big.o; rm -f lib.lib; zolt r lib a.o big.o; test -e lib.lib || echo no lib.lib
    ==>  new archive 'lib.lib'
    ==>  building archive 'lib.lib'
  no lib.lib
  !   -->  error: Member file too large: 'big.o'
  $ zolt rq lib a.o; cp lib.lib before; rows 'rq lib big.o' 'aq lib d.o'; cmp before lib.lib && aside
  zolt rq lib big.o => [1] !   -->  error: Member file too large: 'big.o'
  zolt aq lib d.o => [1] !   -->  error: Cannot open file: 'd.o'
  none

# A file-size limit (1 MiB) makes the write fail and be undone: while old
# members are copied, and while a new one is.
  $ blob large.o 3145728; mk small.o s; zolt rq big large.o; cp big.lib before
  $ (ulimit -f 2048; zolt r big small.o; zolt a other large.o); cmp before big.lib && test ! -e other.lib && aside
    ==>  building archive 'big.lib'
    ==>  new archive 'other.lib'
    ==>  building archive 'other.lib'
  none
  !   -->  error: Error writing archive
  !   -->  error: Error writing archive

# The new file cannot be made (no descriptor left): the old archive was
# already set aside, the message names the set-aside file, with "\".
  $ mkdir sub; zolt rq sub/lib a.o; cp sub/lib.lib before; (exec 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&-; ulimit -n 4; zolt r sub/lib a.o; zolt r "$PWD/sub/lib" a.o); cmp before sub/lib.lib && files sub
    ==>  building archive 'sub/lib.lib'
    ==>  building archive '/.*/sub/lib.lib' (re)
  lib.lib
  !   -->  error: Cannot create archive: 'sub\\\{[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\}' (re)
  !   -->  error: Cannot create archive: '\\.*\\sub\\\{[-0-9A-F]{36}\}' (re)

# A read-only directory (zolt run as nobody, since root writes anywhere).
  $ chmod 755 . ..; mkdir ro; chmod 777 ro; nobody() { setpriv --reuid=65534 --regid=65534 --clear-groups zolt "$@"; }
  > nobody rq ro/lib a.o && chmod 555 ro && cp ro/lib.lib before && nobody r ro/lib a.o; nobody r ro/new a.o; cmp before ro/lib.lib && files ro
    ==>  building archive 'ro/lib.lib'
    ==>  new archive 'ro/new.lib'
    ==>  building archive 'ro/new.lib'
  lib.lib
  !   -->  error: Cannot create new archive
  !   -->  error: Cannot create archive: 'ro/new.lib'

# Signals while a command file is read: the name shown is argv[0].
  $ for s in TERM INT QUIT; do mkfifo cmds; (exec -a my-zolt-$s zolt @cmds) & exec 3>cmds; kill -$s $!; wait $!; echo "[$?]"; exec 3>&-; rm cmds; done
  [2]
  [2]
  [2]
  ! [my-zolt-TERM received a terminate signal]
  ! [my-zolt-INT forced exit]
  ! [my-zolt-QUIT forced exit]
