# Every way a run can end while it writes undoes the write: afterwards the
# archive is byte for byte what it was (or absent when there was none), a
# symbolic link is still a link, and nothing else is left.

# The ends: the error limit, the fatal diagnostic that malformed objects can
# raise (each far.o costs one counted error); an archive error (a member too
# large); an interrupt and a terminate request once zolt waits for a member
# (a FIFO that nobody opens for writing); and the deliberate stop for a
# ".symtab" of the wrong type.

  $ obj good.o 'int good(void) { return 1; }'
  $ cp good.o wrong.o && elfpatch wrong.o .symtab.sh_type=3
  $ cp good.o far.o && elfpatch far.o .shstrtab.sh_offset=0x80000000
  $ for i in $(seq 101); do cp far.o far$i.o; done; truncate -s 100000000 huge.bin; mkfifo fifo
  $ for archive in new old link; do
  >   for end in limit callback INT TERM stop; do
  >     rm -rf d && mkdir d && cd d
  >     case $archive in
  >       old) zolt rq lib.a ../good.o ;;
  >       link) mkdir store && zolt rq store/lib.a ../good.o && ln -s store/lib.a lib.a ;;
  >     esac
  >     rm -f ../before; [ -e lib.a ] && cp lib.a ../before
  >     case $end in
  >       limit) zolt rs lib.a ../good.o ../far[0-9]*.o ;;
  >       callback) zolt rs lib.a ../good.o ../huge.bin ;;
  >       stop) zolt rs lib.a ../good.o ../wrong.o ;;
  >       *) zolt rs lib.a ../good.o ../fifo & for t in $(seq 500); do
  >            grep -qsx wait_for_partner /proc/$!/wchan && break; sleep 0.01; done
  >          kill -$end $!; wait $! ;;
  >     esac >/dev/null 2>../e
  >     status=$?
  >     if [ -e ../before ]; then cmp -s lib.a ../before && kept=kept || kept=CHANGED
  >     else [ -e lib.a ] && kept=CREATED || kept=absent; fi
  >     left=$(find . -mindepth 1 -printf '%P(%y)\n' | sort | paste -sd' ')
  >     echo "$archive $end [$status] $kept; left: ${left:-nothing}"
  >     echo "  $(grep -E '^(fatal|\[|INTERNAL|  -->)' ../e | tail -1)"
  >     cd ..
  >   done
  > done
  new limit [1] absent; left: nothing
    fatal error: error limit reached; 100 errors detected
  new callback [1] absent; left: nothing
      -->  error: Member file too large: 'huge.bin'
  new INT [2] absent; left: nothing
    [zolt forced exit]
  new TERM [2] absent; left: nothing
    [zolt received a terminate signal]
  new stop [2] absent; left: nothing
    INTERNAL ERROR: zolt experienced a segmentation fault
  old limit [1] kept; left: lib.a(f)
    fatal error: error limit reached; 100 errors detected
  old callback [1] kept; left: lib.a(f)
      -->  error: Member file too large: 'huge.bin'
  old INT [2] kept; left: lib.a(f)
    [zolt forced exit]
  old TERM [2] kept; left: lib.a(f)
    [zolt received a terminate signal]
  old stop [2] kept; left: lib.a(f)
    INTERNAL ERROR: zolt experienced a segmentation fault
  link limit [1] kept; left: lib.a(l) store(d) store/lib.a(f)
    fatal error: error limit reached; 100 errors detected
  link callback [1] kept; left: lib.a(l) store(d) store/lib.a(f)
      -->  error: Member file too large: 'huge.bin'
  link INT [2] kept; left: lib.a(l) store(d) store/lib.a(f)
    [zolt forced exit]
  link TERM [2] kept; left: lib.a(l) store(d) store/lib.a(f)
    [zolt received a terminate signal]
  link stop [2] kept; left: lib.a(l) store(d) store/lib.a(f)
    INTERNAL ERROR: zolt experienced a segmentation fault
