# The command line: usage and help, the version banner, the option word and
# the front end's errors.

  $ zolt >usage; echo "[$?]"; cat usage
  [1]
  Zq4 Archiver                            v1.0.0.LTS
  Copyright (c) 2025-2026 The zolt developers. All rights reserved.
  
   Syntax : zolt [arxdt][quvsh][012] archive files ...
            zolt @command_file
  $ zolt h >help; echo "[$?]"; cat help
  [1]
  Zq4 Archiver                            v1.0.0.LTS
  Copyright (c) 2025-2026 The zolt developers. All rights reserved.
  
   Syntax : zolt [arxdt][quvsh][012] archive files ...
            zolt @command_file
  
   Commands : (only one may be selected)
      a - Add file                   r - Replace file
      x - Extract file               d - Delete file
      t - Print table of contents
  
   Options :
      q - Quiet mode - Normal status messages suppressed
      u - Update with newer files (use with 'r' command)
      s - Print symbol table contents
      v - Verbose
      h - This help
  
   Output format options:
      0 - Original AR format
      1 - QV long-name format (obsolescent)
      2 - POSIX format (default for newly created files)
  
  $ mk a.o abc; mkdir dir.lib; mk text.a 'just some text, long enough to hold a header or two\n'; mk short.lib '!<arch>'
  $ for a in 'v lib' '- lib a.o' '2qs lib'; do zolt $a | cmp - usage; done
  $ for a in '-?' 'H lib' 'rh lib a.o'; do zolt $a | cmp - help; done
  $ rows 'zh lib' r -tv 'rz lib' 'r3 lib' 'r/ lib' '-t--toolversion lib' '--TOOLVERSION lib' 'ax lib' 'tD lib' 'ua lib' 'xu lib' ad
  zolt zh lib => [1] !   -->  error: bad option 'z'
  zolt r => [1] !   -->  error: must specify an archive
  zolt -tv => [1] !   -->  error: must specify an archive
  zolt rz lib => [1] !   -->  error: bad option 'z'
  zolt r3 lib => [1] !   -->  error: bad option '3'
  zolt r/ lib => [1] !   -->  error: bad option '/'
  zolt -t--toolversion lib => [1] !   -->  error: bad option 'o'
  zolt --TOOLVERSION lib => [1] !   -->  error: bad option 'O'
  zolt ax lib => [1] !   -->  error: only one of [arxdt] allowed
  zolt tD lib => [1] !   -->  error: only one of [arxdt] allowed
  zolt ua lib => [1] !   -->  error: only one of [arxdt] allowed
  zolt xu lib => [1] !   -->  error: only one of [arxdt] allowed
  zolt ad => [1] !   -->  error: only one of [arxdt] allowed
  $ rows 't lib a.o' 'x lib a.o' 'd lib a.o' 't dir' 'r dir a.o' 'a dir a.o' 't text.a a.o' 'x text.a a.o' 'd text.a a.o' 't short'
  zolt t lib a.o => [1] !   -->  error: cannot open archive: 'lib.lib'
  zolt x lib a.o => [1] !   -->  error: cannot open archive: 'lib.lib'
  zolt d lib a.o => [1] !   -->  error: cannot open archive: 'lib.lib'
  zolt t dir => [1] !   -->  error: cannot open archive: 'dir.lib'
  zolt r dir a.o => [1] !   -->  error: cannot open archive: 'dir.lib'
  zolt a dir a.o => [1] !   -->  error: cannot open archive: 'dir.lib'
  zolt t text.a a.o => [1] !   -->  error: 'text.a' is not an archive
  zolt x text.a a.o => [1] !   -->  error: 'text.a' is not an archive
  zolt d text.a a.o => [1] !   -->  error: 'text.a' is not an archive
  zolt t short => [1] !   -->  error: 'short.lib' is not an archive
  $ files
  a.o dir.lib help short.lib text.a usage

# "--toolversion" prints two lines, status 0, whatever follows, also from a command file.
  $ zolt --toolversion lib x.o
  Zq4 Archiver                            v1.0.0.LTS
  Build Number [0-9A-Za-z-]+ (re)
  $ mk cmds '--toolversion lib\n'; zolt @cmds | cmp - <(zolt --toolversion) && echo same; rm cmds
  same

# "u" alone is a replace with update; letters may repeat, in either case,
# with dashes; a digit with a command that does not write is harmless.
  $ zolt u lib a.o; show lib.lib; cp lib.lib before; zolt -R-U-r lib a.o; zolt 2x lib; zolt 0T lib; cmp before lib.lib && echo same
    ==>  new archive 'lib.lib'
    ==>  building archive 'lib.lib'
  !<arch>
  a.o/            1700000000  0     0     0       3         `
  abc
    ==>  building archive 'lib.lib'
  
        SIZE   DATE                        FILE NAME
    --------   ------------------------    -----------------
           3   Tue Nov 14 22:13:20 2023    a.o
  same

# An archive name without an extension gets ".lib", even after a "\";
# status lines name the archive as given.
  $ mkdir dir.d; for n in mylib my.lib.a dir.d/lib 'dir.d\other' plain.; do zolt rq "$n" a.o; done; zolt r 'dir.d\other' a.o; files; files dir.d
    ==>  building archive 'dir.d\other.lib'
  a.o before dir.d dir.lib help lib.lib my.lib.a mylib.lib plain. short.lib text.a usage
  lib.lib other.lib

# Files that no command used are reported at the end, after the write.
  $ mk a.o abc; rows 'r new nosuch.o a.o missing.o' 'a new -v' 'd new zz.o' 'x new zz.o a.o'; show new.lib
  zolt r new nosuch.o a.o missing.o => [1]
    ==>  new archive 'new.lib'
    ==>  building archive 'new.lib'
  !   -->  error: 'nosuch.o' not found
  !   -->  error: 'missing.o' not found
  zolt a new -v => [1]
    ==>  building archive 'new.lib'
  !   -->  error: '-v' not found
  zolt d new zz.o => [1]
    ==>  building archive 'new.lib'
  !   -->  error: 'zz.o' not found
  zolt x new zz.o a.o => [1] !   -->  error: 'zz.o' not found
  !<arch>
  a.o/            1700000000  0     0     0       3         `
  abc
