# Command files: comments, quotes, escapes, growing tokens, the two fatal
# errors. Most rows list an empty archive with the tokens as file arguments,
# so each token comes back exactly in a "not found" line.

  $ mk lib.lib '!<arch>\n'; mk a.o abc; mk b.o b $((D+1)); mk ./-v minus
  $ mk cmds '/* a block\n   comment */ t lib  # a line comment\n; a semicolon comment\n   # an indented comment line\nab/*x*/cd "p q"r "" s ""t a\\"b c\\\\d e\\f\n"a;b #c /*d*/" "x -y"#z "\\"q\\\\\\w"\n'; zolt @cmds
  
        SIZE   DATE                        FILE NAME
    --------   ------------------------    -----------------
  !   -->  error: 'abcd' not found
  !   -->  error: 'p qr' not found
  !   -->  error: 's' not found
  !   -->  error: 't' not found
  !   -->  error: 'a"b' not found
  !   -->  error: 'c\d' not found
  !   -->  error: 'e\f' not found
  !   -->  error: 'a;b #c /*d*/' not found
  !   -->  error: 'x -y#z' not found
  !   -->  error: '"q\\w' not found
  [1]

# A glued comment does not end its token; a "#" after a "-" is kept.
  $ mk cmds 't lib x#1\ny -D#1 a.o;x\nb.o\n"-y x"#comment\nw k\nm # spaced comments are harmless\nn\n'; zolt @cmds
    -->  warning: option -D#1 ignored in file list
    -->  warning: option -y xw ignored in file list
  
        SIZE   DATE                        FILE NAME
    --------   ------------------------    -----------------
  !   -->  error: 'xy' not found
  !   -->  error: 'a.ob.o' not found
  !   -->  error: 'k' not found
  !   -->  error: 'm' not found
  !   -->  error: 'n' not found
  [1]

# Tokens grow past every buffer size (78 to 1000 characters), many of them.
  $ python3 -c 'print("t lib", *[chr(97+i)*n for i, n in enumerate([78,79,80,81,159,160,161,200,1000])], *["f%d.o" % i for i in range(250)], sep="\n")' >cmds
  $ zolt @cmds 2>&1 >/dev/null | sed "s/^  -->  error: '\(.*\)' not found$/\1/" | cmp - <(tail -n +2 cmds) && echo same
  same

# Options in the file list are ignored; arguments after the command file too.
  $ mk cmds 'r lib2 -v a.o -q\n'; zolt @cmds b.o nosuch.o; show lib2.lib
    -->  warning: option -v ignored in file list
    -->  warning: option -q ignored in file list
    ==>  new archive 'lib2.lib'
    ==>  building archive 'lib2.lib'
  !<arch>
  a.o/            1700000000  0     0     0       3         `
  abc
  $ mk cmds2 'aq lib2 b.o\n'; zolt -@cmds2 a.o; mk crlf 't\r\nlib2\r\nb.o\r\nnosuch.o\r\n'; zolt @crlf
  
        SIZE   DATE                        FILE NAME
    --------   ------------------------    -----------------
           1   Tue Nov 14 22:13:21 2023    b.o
  !   -->  error: 'nosuch.o' not found
  [1]
  $ mkdir subdir; rows @nosuch -@nosuch @subdir @subdir/ -@cmds/
  zolt @nosuch => [1] !   -->  error: cannot open 'nosuch'
  zolt -@nosuch => [1] !   -->  error: cannot open 'nosuch'
  zolt @subdir => [1] !   -->  error: cannot open 'subdir'
  zolt @subdir/ => [1] !   -->  error: cannot open 'subdir/'
  zolt -@cmds/ => [1] !   -->  error: cannot open 'cmds/'

# Missing words print the usage; a bad option word is still refused.
  $ zolt >usage; for t in '' '  \n\t\n' '/* only */ ; comments\n# here\n' 'r\n' '--toolversion\n' '""\n' 'v lib a.o\n'; do mk cmds "$t"; zolt @cmds | cmp - usage; echo $?; done
  0
  0
  0
  0
  0
  0
  0
  $ mk cmds 'zz lib\n'; zolt @cmds
  !   -->  error: bad option 'z'
  [1]

# Unterminated comments and quotes end the run with status 255.
  $ for t in 't lib /* never closed *\n' 't lib a/*' 't lib "abc def' 't lib x"abc\n\n\n' 't lib "a\tb\nc;d' 't lib "0123456789012345678901234567\n\nmore text' 't lib "012345678901234567890123456789 and more' 't lib "\n' 't lib "\\"q'; do mk cmds "$t"; zolt @cmds >>out; echo "[$?]"; done 2>&1; cat out
  >> Unterminated comment in command file; aborting!
  [255]
  >> Unterminated comment in command file; aborting!
  [255]
  >> Unterminated quote in command file; aborting
     Quote starts at "abc def
  [255]
  >> Unterminated quote in command file; aborting
     Quote starts at "abc
  [255]
  >> Unterminated quote in command file; aborting
     Quote starts at "a\tb\nc;d
  [255]
  >> Unterminated quote in command file; aborting
     Quote starts at "0123456789012345678901234567
  [255]
  >> Unterminated quote in command file; aborting
     Quote starts at "012345678901234567890123456789
  [255]
  >> Unterminated quote in command file; aborting
  [255]
  >> Unterminated quote in command file; aborting
     Quote starts at "q
  [255]
