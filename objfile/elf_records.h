// The ELF records of both classes, held in host byte order, and their
// readers. The two classes differ only in field widths and, for symbols, in
// field order; everything class-specific lives in ELF_TRAITS.
#pragma once

#include <cstdint>
#include <cstring>

namespace OFE {

enum : uint32_t {
  SHT_NULL = 0,
  SHT_SYMTAB = 2,
  SHT_STRTAB = 3,
  SHT_NOBITS = 8,
  SHT_DYNSYM = 11,
  SHT_SYMTAB_SHNDX = 18,
};

enum : uint16_t {
  SHN_UNDEF = 0,
  SHN_LORESERVE = 0xFF00,
  SHN_ABS = 0xFFF1,
  SHN_COMMON = 0xFFF2,
  SHN_XINDEX = 0xFFFF,
};

enum : unsigned { EI_CLASS = 4, EI_DATA = 5, EI_NIDENT = 16 };

template <int Bits> struct ELF_TRAITS;

template <> struct ELF_TRAITS<32> {
  using Addr = uint32_t;  // addresses and offsets
  using Xword = uint32_t; // section flags, sizes, alignments
  static constexpr int elf_class = 1;
  static constexpr unsigned ehdr_size = 52;
  static constexpr unsigned shdr_size = 40;
  static constexpr unsigned sym_size = 16;
};

template <> struct ELF_TRAITS<64> {
  using Addr = uint64_t;
  using Xword = uint64_t;
  static constexpr int elf_class = 2;
  static constexpr unsigned ehdr_size = 64;
  static constexpr unsigned shdr_size = 64;
  static constexpr unsigned sym_size = 24;
};

template <int Bits> struct ELF_EHDR {
  using Addr = typename ELF_TRAITS<Bits>::Addr;
  uint8_t e_ident[EI_NIDENT] = {};
  uint16_t e_type = 0;
  uint16_t e_machine = 0;
  uint32_t e_version = 0;
  Addr e_entry = 0;
  Addr e_phoff = 0;
  Addr e_shoff = 0;
  uint32_t e_flags = 0;
  uint16_t e_ehsize = 0;
  uint16_t e_phentsize = 0;
  uint16_t e_phnum = 0;
  uint16_t e_shentsize = 0;
  uint16_t e_shnum = 0;
  uint16_t e_shstrndx = 0;
};

template <int Bits> struct ELF_SHDR {
  using Addr = typename ELF_TRAITS<Bits>::Addr;
  using Xword = typename ELF_TRAITS<Bits>::Xword;
  uint32_t sh_name = 0;
  uint32_t sh_type = 0;
  Xword sh_flags = 0;
  Addr sh_addr = 0;
  Addr sh_offset = 0;
  Xword sh_size = 0;
  uint32_t sh_link = 0;
  uint32_t sh_info = 0;
  Xword sh_addralign = 0;
  Xword sh_entsize = 0;
};

template <int Bits> struct ELF_SYM {
  using Addr = typename ELF_TRAITS<Bits>::Addr;
  using Xword = typename ELF_TRAITS<Bits>::Xword;
  uint32_t st_name = 0;
  Addr st_value = 0;
  Xword st_size = 0;
  uint8_t st_info = 0;
  uint8_t st_other = 0;
  uint16_t st_shndx = 0;
};

// Walks a byte image of a record field by field, each field copied and
// combined in the file's byte order. Records may sit at any alignment.
class RECORD_READER {
public:
  RECORD_READER(const uint8_t* bytes, bool big_endian) : p_(bytes), big_(big_endian) {}

  template <typename T> void take(T& field) {
    uint8_t raw[sizeof(T)];
    std::memcpy(raw, p_, sizeof(T));
    p_ += sizeof(T);
    uint64_t value = 0;
    for (unsigned i = 0; i < sizeof(T); ++i) {
      unsigned shift = big_ ? 8 * (sizeof(T) - 1 - i) : 8 * i;
      value |= static_cast<uint64_t>(raw[i]) << shift;
    }
    field = static_cast<T>(value);
  }
  void take_bytes(uint8_t* dest, unsigned n) {
    std::memcpy(dest, p_, n);
    p_ += n;
  }

private:
  const uint8_t* p_;
  bool big_;
};

template <int Bits> ELF_EHDR<Bits> decode_ehdr(const uint8_t* bytes, bool big_endian) {
  ELF_EHDR<Bits> h;
  RECORD_READER r(bytes, big_endian);
  r.take_bytes(h.e_ident, EI_NIDENT);  // bytes, never swapped
  r.take(h.e_type);
  r.take(h.e_machine);
  r.take(h.e_version);
  r.take(h.e_entry);
  r.take(h.e_phoff);
  r.take(h.e_shoff);
  r.take(h.e_flags);
  r.take(h.e_ehsize);
  r.take(h.e_phentsize);
  r.take(h.e_phnum);
  r.take(h.e_shentsize);
  r.take(h.e_shnum);
  r.take(h.e_shstrndx);
  return h;
}

template <int Bits> ELF_SHDR<Bits> decode_shdr(const uint8_t* bytes, bool big_endian) {
  ELF_SHDR<Bits> s;
  RECORD_READER r(bytes, big_endian);
  r.take(s.sh_name);
  r.take(s.sh_type);
  r.take(s.sh_flags);
  r.take(s.sh_addr);
  r.take(s.sh_offset);
  r.take(s.sh_size);
  r.take(s.sh_link);
  r.take(s.sh_info);
  r.take(s.sh_addralign);
  r.take(s.sh_entsize);
  return s;
}

// Symbols are the one record whose field order differs between classes.
template <int Bits> ELF_SYM<Bits> decode_sym(const uint8_t* bytes, bool big_endian);

template <> inline ELF_SYM<32> decode_sym<32>(const uint8_t* bytes, bool big_endian) {
  ELF_SYM<32> s;
  RECORD_READER r(bytes, big_endian);
  r.take(s.st_name);
  r.take(s.st_value);
  r.take(s.st_size);
  r.take(s.st_info);
  r.take(s.st_other);
  r.take(s.st_shndx);
  return s;
}

template <> inline ELF_SYM<64> decode_sym<64>(const uint8_t* bytes, bool big_endian) {
  ELF_SYM<64> s;
  RECORD_READER r(bytes, big_endian);
  r.take(s.st_name);
  r.take(s.st_info);
  r.take(s.st_other);
  r.take(s.st_shndx);
  r.take(s.st_value);
  r.take(s.st_size);
  return s;
}

}  // namespace OFE
