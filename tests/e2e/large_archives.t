# Archives of 2 GiB and more lose nothing. The members are sparse files of
# 99,999,990 bytes, a distinct head and tail around a hole, so they cost no
# disk; the archives are real bytes (at most 8.9 GB at once), written in
# /dev/shm when it and the memory behind it have room, else beside the
# scratch directory. Without 10 GB free in either the table is skipped.

  $ need=10000000000
  > free_in() { df -B1 --output=avail "$1" 2>/dev/null | tail -1; }
  > memory=$(( $(awk '/^MemAvailable:/ { print $2 }' /proc/meminfo) * 1024 ))
  > if [ "$(free_in /dev/shm)" -ge $need ] 2>/dev/null && [ "$memory" -ge $((need + 6000000000)) ]; then
  >   ln -s "$(mktemp -d /dev/shm/zolt-large.XXXXXX)" big
  > elif [ "$(free_in .)" -ge $need ]; then
  >   mkdir big
  > else
  >   echo "large archives: skipped, 10 GB free needed in /dev/shm or $(df --output=target . | tail -1)"
  >   exit 77
  > fi
  $ for i in $(seq -w 0 44); do
  >   truncate -s 99999990 m$i.bin
  >   printf 'head of m%s' $i | dd of=m$i.bin conv=notrunc status=none
  >   printf 'tail of m%s' $i | dd of=m$i.bin bs=1 seek=99999978 conv=notrunc status=none
  >   touch -d @$D m$i.bin
  > done

# 45 data members: 4.5 GB, the last headers past 4 GiB. List, extract the
# last member, delete the first.

  $ zolt rq big/data.a m*.bin; stat -c %s big/data.a
  4500002258
  $ zolt t big/data.a > list; grep -c bin list; sed -n '4p;$p' list
  45
    99999990   Tue Nov 14 22:13:20 2023    m00.bin
    99999990   Tue Nov 14 22:13:20 2023    m44.bin
  $ zolt x big/data.a big/m44.bin && cmp m44.bin big/m44.bin && echo same; rm -f big/m44.bin
  same
  $ zolt dq big/data.a m00.bin; zolt t big/data.a > list; grep -c bin list; sed -n '4p;$p' list
  44
    99999990   Tue Nov 14 22:13:20 2023    m01.bin
    99999990   Tue Nov 14 22:13:20 2023    m44.bin

# An object after them would need an index with a header past 4 GiB: the
# write fails and the old archive is kept (not even rewritten).

  $ obj small.o 'int small(void) { return 1; }'
  $ stat -c '%i %s %Y' big/data.a > before; zolt rq big/data.a small.o
  > echo "[$?] $(stat -c '%i %s %Y' big/data.a | cmp -s - before && echo kept) $(ls big)"
  [1] kept data.a
  !   -->  error: Cannot write symbol table
  $ rm big/data.a

# 22 data members (2.2 GB), then a small and a 2 MB object, both past 2 GiB.
# The index names their symbols when the archive is made, and again when
# a data member is replaced and the objects are read from the old archive;
# a program links against it.

  $ obj big.o 'char big_data[2000000] = {1}; int big(void) { return big_data[7]; }'
  $ obj main.o 'int small(void); int big(void); int main(void) { return small() + big() - 1; }'
  $ zolt rqs big/lib.a m0*.bin m1*.bin m20.bin m21.bin small.o big.o
    ==>  symbol defined: 'small'
    ==>  symbol defined: 'big_data'
    ==>  symbol defined: 'big'
  $ printf 'new m05' > m05.bin; zolt rqs big/lib.a m05.bin
    ==>  symbol defined: 'small'
    ==>  symbol defined: 'big_data'
    ==>  symbol defined: 'big'
  $ gcc main.o big/lib.a -o prog && ./prog && echo linked
  linked
  $ rm -rf "$(readlink -f big)" big
