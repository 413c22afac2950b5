#!/usr/bin/env python3
# Patches or prints fields of an ELF file, in the file's own class and byte order.
#
# usage: elfpatch.py FILE FIELD[=VALUE] ...   (a FIELD without a value is printed)
#   e_shoff=0x80000000        a file header field (ei_class and ei_data: e_ident bytes 4, 5)
#   3.sh_size=0xffffffff      a field of section header 3
#   .symtab.sh_type=3         a field of the section of that name
#   sym:f.st_info=0x12        a field of the .symtab entry named f
#   @24:4=1                   raw bytes: offset, width
import sys

EHDR = {  # name: (offset 32, offset 64, width 32, width 64)
    'ei_class': (4, 4, 1, 1), 'ei_data': (5, 5, 1, 1), 'e_type': (16, 16, 2, 2),
    'e_machine': (18, 18, 2, 2), 'e_version': (20, 20, 4, 4), 'e_phoff': (28, 32, 4, 8),
    'e_shoff': (32, 40, 4, 8), 'e_phentsize': (42, 54, 2, 2), 'e_phnum': (44, 56, 2, 2),
    'e_shentsize': (46, 58, 2, 2), 'e_shnum': (48, 60, 2, 2), 'e_shstrndx': (50, 62, 2, 2)}
SHDR = {'sh_name': (0, 0, 4, 4), 'sh_type': (4, 4, 4, 4), 'sh_flags': (8, 8, 4, 8),
        'sh_offset': (16, 24, 4, 8), 'sh_size': (20, 32, 4, 8), 'sh_link': (24, 40, 4, 4),
        'sh_info': (28, 44, 4, 4), 'sh_entsize': (36, 56, 4, 8)}
SYM = {'st_name': (0, 0, 4, 4), 'st_info': (12, 4, 1, 1), 'st_other': (13, 5, 1, 1),
       'st_shndx': (14, 6, 2, 2), 'st_value': (4, 8, 4, 8), 'st_size': (8, 16, 4, 8)}


class Elf:
    def __init__(self, data):
        self.b, self.is64, self.big = data, data[4] == 2, data[5] == 2

    def get(self, off, width):
        return int.from_bytes(self.b[off:off + width], 'big' if self.big else 'little')

    def put(self, off, width, value):
        self.b[off:off + width] = (value & ((1 << 8 * width) - 1)).to_bytes(
            width, 'big' if self.big else 'little')

    def field(self, table, name):
        o32, o64, w32, w64 = table[name]
        return (o64, w64) if self.is64 else (o32, w32)

    def hdr(self, name):
        return self.get(*self.field(EHDR, name))

    def shdr(self, index):
        return self.hdr('e_shoff') + index * self.hdr('e_shentsize')

    def sec(self, index, name):
        off, width = self.field(SHDR, name)
        return self.get(self.shdr(index) + off, width)

    def name_of(self, index):
        names = self.sec(self.hdr('e_shstrndx'), 'sh_offset') + self.sec(index, 'sh_name')
        return bytes(self.b[names:self.b.index(0, names)]).decode()

    def section(self, key):
        if key.isdigit():
            return int(key)
        return next(i for i in range(self.hdr('e_shnum')) if self.name_of(i) == key)

    def symbol(self, name):
        tab = self.section('.symtab')
        strs = self.sec(self.sec(tab, 'sh_link'), 'sh_offset')
        size = 24 if self.is64 else 16
        for i in range(self.sec(tab, 'sh_size') // size):
            at = self.sec(tab, 'sh_offset') + i * size
            n = strs + self.get(at, 4)
            if bytes(self.b[n:self.b.index(0, n)]).decode() == name:
                return at
        raise KeyError(name)


def main():
    path = sys.argv[1]
    elf = Elf(bytearray(open(path, 'rb').read()))
    for arg in sys.argv[2:]:
        key, _, value = arg.partition('=')
        if key.startswith('@'):
            off, width = key[1:].split(':')
            off, width = int(off, 0), int(width)
        elif key.startswith('sym:'):
            name, fld = key[4:].rsplit('.', 1)
            off, width = elf.field(SYM, fld)
            off += elf.symbol(name)
        elif key in EHDR:
            off, width = elf.field(EHDR, key)
        else:
            sec, fld = key.rsplit('.', 1)
            off, width = elf.field(SHDR, fld)
            off += elf.shdr(elf.section(sec))
        if value:
            elf.put(off, width, int(value, 0))
        else:
            print(elf.get(off, width))
    open(path, 'wb').write(elf.b)


if __name__ == '__main__':
    main()
