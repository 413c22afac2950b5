# The three layouts byte for byte: name fields, the two name tables, cut
# names, escaping, which layout a rewrite keeps. Names of 15, 16 and 20
# characters; sizes odd, even, odd.

  $ mk fifteen_chars.o fifteen 1600000000; mk sixteen_chars_.o 'sixteen!' 1600000001; mk twenty_character_n.o 'twenty!!!' 1600000002
  $ zolt rq2 posix fifteen_chars.o sixteen_chars_.o twenty_character_n.o; show posix.lib; zolt t posix | tail -n +4
  !<arch>
  //              0           0     0     0       40        `
  sixteen_chars_.o/
  twenty_character_n.o/
  fifteen_chars.o/1600000000  0     0     0       7         `
  fifteen
  /0              1600000001  0     0     0       8         `
  sixteen!/18             1600000002  0     0     0       9         `
  twenty!!!
           7   Sun Sep 13 12:26:40 2020    fifteen_chars.o
           8   Sun Sep 13 12:26:41 2020    sixteen_chars_.o
           9   Sun Sep 13 12:26:42 2020    twenty_character_n.o
  $ mk seventeen_chars.o '' 1600000003; zolt aq posix seventeen_chars.o; head -c 128 posix.lib; tail -c 61 posix.lib
  !<arch>
  //              0           0     0     0       60        `
  sixteen_chars_.o/
  twenty_character_n.o/
  seventeen_chars.o/
  
  
  /40             1600000003  0     0     0       0         `
  $ zolt rq1 qv fifteen_chars.o sixteen_chars_.o twenty_character_n.o; show qv.lib; zolt t qv | tail -2
  !<arch>
  <filenames>/    0           1     0     0       42        `
  
  sixteen_chars_.o/
  twenty_character_n.o/
  
  fifteen_chars.o/1600000000  0     0     0       7         `
  fifteen
  sixteen_chars_./1600000001  1     0     0       8         `
  sixteen!twenty_characte/1600000002  19    0     0       9         `
  twenty!!!
           8   Sun Sep 13 12:26:41 2020    sixteen_chars_.o
           9   Sun Sep 13 12:26:42 2020    twenty_character_n.o
  $ cp qv.lib before; zolt rq qv; cmp before qv.lib && echo kept
  kept
  $ zolt rq0 orig fifteen_chars.o sixteen_chars_.o twenty_character_n.o; show orig.lib; zolt t orig | tail -2
  !<arch>
  fifteen_chars.o/1600000000  0     0     0       7         `
  fifteen
  sixteen_chars_./1600000001  0     0     0       8         `
  sixteen!twenty_characte/1600000002  0     0     0       9         `
  twenty!!!
           8   Sun Sep 13 12:26:41 2020    sixteen_chars_.
           9   Sun Sep 13 12:26:42 2020    twenty_characte

# An archive without a name table has no layout: a rewrite writes Posix.
  $ zolt rv orig sixteen_chars_.o; show orig.lib
    ==>  add 'sixteen_chars_.o'
    ==>  building archive 'orig.lib'
  !<arch>
  //              0           0     0     0       18        `
  sixteen_chars_.o/
  fifteen_chars.o/1600000000  0     0     0       7         `
  fifteen
  sixteen_chars_./1600000001  0     0     0       8         `
  sixteen!twenty_characte/1600000002  0     0     0       9         `
  twenty!!!
  /0              1600000001  0     0     0       8         `
  sixteen! (no-eol)

# The later digit wins; a digit switches the layout, which is then kept.
  $ zolt r20q cut sixteen_chars_.o; show cut.lib; zolt 0r1q lib sixteen_chars_.o; zolt aq lib fifteen_chars.o; show lib.lib
  !<arch>
  sixteen_chars_./1600000001  0     0     0       8         `
  sixteen!!<arch>
  <filenames>/    0           1     0     0       20        `
  
  sixteen_chars_.o/
  
  sixteen_chars_./1600000001  1     0     0       8         `
  sixteen!fifteen_chars.o/1600000000  0     0     0       7         `
  fifteen
  $ zolt a2q lib twenty_character_n.o; zolt rq lib; show lib.lib
  !<arch>
  //              0           0     0     0       40        `
  sixteen_chars_.o/
  twenty_character_n.o/
  /0              1600000001  0     0     0       8         `
  sixteen!fifteen_chars.o/1600000000  0     0     0       7         `
  fifteen
  /18             1600000002  0     0     0       9         `
  twenty!!!

# Short names only: Posix writes no table, QvLongName two newlines.
  $ zolt rq short fifteen_chars.o; zolt r1q short; zolt rq short; show short.lib
  !<arch>
  <filenames>/    0           1     0     0       2         `
  
  
  fifteen_chars.o/1600000000  0     0     0       7         `
  fifteen

# Deleting every member leaves the magic alone (and the QvLongName table).
  $ for d in 2 0 1; do zolt q${d}r all$d fifteen_chars.o sixteen_chars_.o; zolt d all$d fifteen_chars.o sixteen_chars_.$([ $d = 0 ] || echo o); done; show all2.lib all0.lib all1.lib; zolt t all1
    ==>  building archive 'all2.lib'
    ==>  building archive 'all0.lib'
    ==>  building archive 'all1.lib'
  !<arch>
  !<arch>
  !<arch>
  <filenames>/    0           1     0     0       2         `
  
  
  
        SIZE   DATE                        FILE NAME
    --------   ------------------------    -----------------
  $ zolt a all2 fifteen_chars.o
    ==>  new archive 'all2.lib'
    ==>  building archive 'all2.lib'

# A header whose uid is 0 keeps its field name in QvLongName, even beside a
# long name of the same stem; a rewrite reproduces the archive.
  $ { echo '!<arch>'; hdr '<filenames>/' 0 1 24; printf '\nlong_member_name_1.o/\n\n'; hdr long_member_nam/ 1 1 3; echo one; hdr long_member_nam/ 2 0 4; printf two!; } >mixed.a
  $ zolt t mixed.a | tail -n +4; cp mixed.a before; zolt rq mixed.a; cmp before mixed.a && echo same
           3   Thu Jan  1 00:00:01 1970    long_member_name_1.o
           4   Thu Jan  1 00:00:02 1970    long_member_nam
  same

# Escaped names as another tool may write them: "|" is a separator, "||" a
# "|", a backslash stays. A rewrite escapes names that hold a separator.
  $ { echo '!<arch>'; hdr // 0 0 84; printf 'dir|sub|long_name_x.o/\npipe||name_is_long.o/\na||b|c_long_name.o/\nx|\\y_long_name.o/\n\n'; hdr /0 1 0 1; echo 1; hdr /23 2 0 2; printf 22; hdr /45 3 0 3; echo 333; hdr /65 4 0 4; printf 4444; } >esc.lib
  $ zolt t esc | tail -4; zolt rq esc; show esc.lib
           1   Thu Jan  1 00:00:01 1970    dir/sub/long_name_x.o
           2   Thu Jan  1 00:00:02 1970    pipe|name_is_long.o
           3   Thu Jan  1 00:00:03 1970    a|b/c_long_name.o
           4   Thu Jan  1 00:00:04 1970    x/\y_long_name.o
  !<arch>
  //              0           0     0     0       82        `
  dir|sub|long_name_x.o/
  pipe|name_is_long.o/
  a||b|c_long_name.o/
  x||y_long_name.o/
  /0              1           0     0     0       1         `
  1
  /23             2           0     0     0       2         `
  22/44             3           0     0     0       3         `
  333
  /64             4           0     0     0       4         `
  4444 (no-eol)
  $ zolt rq1 esc; show esc.lib; zolt t esc | tail -4
  !<arch>
  <filenames>/    0           1     0     0       66        `
  
  dir|sub|long_name_x.o/
  pipe|name_is_long.o/
  a||b|c_long_name.o/
  
  dir/sub/long_na/1           1     0     0       1         `
  1
  pipe/name_is_lo/2           24    0     0       2         `
  22a|b/c_long_name/3           45    0     0       3         `
  333
  x|y_long_name.o/4           0     0     0       4         `
  4444         1   Thu Jan  1 00:00:01 1970    dir/sub/long_name_x.o
           2   Thu Jan  1 00:00:02 1970    pipe/name_is_long.o
           3   Thu Jan  1 00:00:03 1970    a|b/c_long_name.o
           4   Thu Jan  1 00:00:04 1970    x|y_long_name.o
  $ { echo '!<arch>'; hdr // 0 0 22; printf 'a\\\\\\b_long_name_x.o/\n\n'; hdr /0 1 0 1; echo 1; } >runs.lib; zolt rq runs; show runs.lib; zolt t runs | tail -1
  !<arch>
  //              0           0     0     0       20        `
  a|b_long_name_x.o/
  
  /0              1           0     0     0       1         `
  1
           1   Thu Jan  1 00:00:01 1970    a/b_long_name_x.o

# "/" and "//" are special only at the front; there they may leave date and
# uid blank.
  $ { echo '!<arch>'; hdr / '' '' 4 '' ''; printf '\0\0\0\0'; hdr // '' '' 18 '' ''; echo long_name_abcd.o/; hdr /0 1 0 1; echo x; hdr // 2 0 2; printf ab; hdr / 3 0 1; echo c; } >special.lib; zolt t special | tail -3
           1   Thu Jan  1 00:00:01 1970    long_name_abcd.o
           2   Thu Jan  1 00:00:02 1970    //
           1   Thu Jan  1 00:00:03 1970    /
  $ { echo '!<arch>'; hdr / 0 0 4; printf '\0\0\0\0'; } >sym.lib; zolt t sym
  
        SIZE   DATE                        FILE NAME
    --------   ------------------------    -----------------
