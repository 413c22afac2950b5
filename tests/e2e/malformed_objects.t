# Malformed objects are read exactly as the object reader's rules say, and
# never end the run: each row archives a damaged other.o beside good.o, and
# "s" shows what the index receives.

# A count at the 32-bit limit (extended numbering: e_shnum 0, section 0's
# sh_size 0xFFFFFFFF) with no ".symtab": the ".symtab" the reader adds takes
# index 0xFFFFFFFF, and the member has no symbols. A 64-bit section-name table
# of 4 GiB maps its length's low 32 bits, none: no section has a name. A
# name table at 2 GiB cannot be seeked to: that is reported, and the names
# are read where the stream stands, the member's first bytes, where
# ".symtab" has been written at offset 8. Extended numbering with the true
# count in section 0 reads as the plain count does.

  $ obj good.o 'int good(void) { return 1; }'
  $ obj other.o 'int other(void) { return 2; }'
  $ cp other.o ext.o && elfpatch ext.o 0.sh_size=$(elfpatch ext.o e_shnum) e_shnum=0
  $ cp other.o count.o && elfpatch count.o .symtab.sh_name=0 e_shnum=0 0.sh_size=0xffffffff
  $ cp other.o names.o && elfpatch names.o .shstrtab.sh_size=0x100000000
  $ cp other.o stands.o && elfpatch stands.o .symtab.sh_name=8 .shstrtab.sh_offset=0x80000000
  $ printf '.symtab\0' | dd of=stands.o bs=1 seek=8 conv=notrunc status=none
  $ rows 'rqs ext.a ext.o' 'rqs count.a count.o good.o' 'rqs names.a names.o good.o' 'rqs stands.a stands.o good.o'
  zolt rqs ext.a ext.o => [0]   ==>  symbol defined: 'other'
  zolt rqs count.a count.o good.o => [0]   ==>  symbol defined: 'good'
  zolt rqs names.a names.o good.o => [0]   ==>  symbol defined: 'good'
  zolt rqs stands.a stands.o good.o => [0]
    ==>  symbol defined: 'other'
    ==>  symbol defined: 'good'
  ! DIAG/user_msg_api:175:internal error #99924: (pfseeko called with SEEK_SET, but
  !    offset is negative)
