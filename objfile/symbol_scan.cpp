#include "objfile/symbol_scan.h"

#include <cstring>
#include <string_view>

#include "objfile/elf_records.h"
#include "objfile/symbol.h"

namespace OFE {

namespace {

// Field offsets of the records the scan reads, per class.
template <int Bits> struct LAYOUT;
template <> struct LAYOUT<32> {
  static constexpr size_t e_shoff = 32, e_shentsize = 46, e_shnum = 48, e_shstrndx = 50;
  static constexpr size_t sh_offset = 16, sh_size = 20, sh_link = 24, sh_entsize = 36;
  static constexpr size_t st_info = 12, st_shndx = 14;
};
template <> struct LAYOUT<64> {
  static constexpr size_t e_shoff = 40, e_shentsize = 58, e_shnum = 60, e_shstrndx = 62;
  static constexpr size_t sh_offset = 24, sh_size = 32, sh_link = 40, sh_entsize = 56;
  static constexpr size_t st_info = 4, st_shndx = 6;
};

class BYTES {
public:
  BYTES(const uint8_t* base, bool big) : base_(base), big_(big) {}
  uint64_t word(size_t at, unsigned width) const {
    uint64_t value = 0;
    for (unsigned i = 0; i < width; ++i)
      value |= uint64_t{base_[at + i]} << (big_ ? 8 * (width - 1 - i) : 8 * i);
    return value;
  }
  uint16_t u16(size_t at) const { return static_cast<uint16_t>(word(at, 2)); }
  uint32_t u32(size_t at) const { return static_cast<uint32_t>(word(at, 4)); }

private:
  const uint8_t* base_;
  bool big_;
};

struct SECTION {
  uint32_t name, type, link;
  uint64_t offset, size, entsize;
};

template <int Bits> bool scan(const uint8_t* bytes, size_t size, bool big, std::vector<SCANNED_SYMBOL>& out) {
  using L = LAYOUT<Bits>;
  using T = ELF_TRAITS<Bits>;
  constexpr unsigned kAddr = Bits / 8;
  if (size < T::ehdr_size) return false;
  const BYTES b(bytes, big);
  const uint64_t shoff = b.word(L::e_shoff, kAddr);
  const uint32_t shnum = b.u16(L::e_shnum);
  const uint32_t shstrndx = b.u16(L::e_shstrndx);
  // Extended numbering keeps the count or the name table elsewhere.
  if (shnum == 0 || shstrndx == 0 || shstrndx >= shnum || shstrndx == SHN_XINDEX) return false;
  if (b.u16(L::e_shentsize) != T::shdr_size) return false;
  if (shoff > size || uint64_t{shnum} * T::shdr_size > size - shoff) return false;

  auto header = [&](uint32_t index) {
    size_t at = static_cast<size_t>(shoff) + size_t{index} * T::shdr_size;
    return SECTION{b.u32(at), b.u32(at + 4), b.u32(at + L::sh_link), b.word(at + L::sh_offset, kAddr),
                   b.word(at + L::sh_size, kAddr), b.word(at + L::sh_entsize, kAddr)};
  };
  // A section whose contents the full reader maps, all of them present.
  auto present = [size](const SECTION& s) {
    return s.type != SHT_NULL && s.type != SHT_NOBITS && s.offset <= size && s.size <= size - s.offset;
  };

  const SECTION names = header(shstrndx);
  if (!present(names)) return false;
  // A name runs to its terminator or to the end of the table, as the full
  // reader's zero past the end makes it.
  auto name_of = [&](uint32_t offset) {
    if (offset >= names.size) return std::string_view();
    const char* text = reinterpret_cast<const char*>(bytes + names.offset + offset);
    return std::string_view(text, strnlen(text, static_cast<size_t>(names.size - offset)));
  };
  uint32_t symtab = 0;
  bool found = false;
  for (uint32_t i = 0; i < shnum; ++i) {
    std::string_view name = name_of(b.u32(static_cast<size_t>(shoff) + size_t{i} * T::shdr_size));
    // Symbol metadata can change what a symbol's kind is.
    if (name == ".symtab_meta") return false;
    if (!found && name == ".symtab") {
      symtab = i;
      found = true;
    }
  }
  // The reader adds an empty ".symtab" to an object that has none.
  if (!found) return true;

  const SECTION table = header(symtab);
  if (table.type != SHT_SYMTAB || table.entsize != T::sym_size || !present(table)) return false;
  if (table.link == 0 || table.link >= shnum) return false;
  const SECTION strings = header(table.link);
  if (!present(strings)) return false;

  const uint64_t count = table.size / T::sym_size;
  out.clear();
  out.reserve(static_cast<size_t>(count));
  for (uint64_t i = 0; i < count; ++i) {
    const size_t at = static_cast<size_t>(table.offset + i * T::sym_size);
    const uint16_t shndx = b.u16(at + L::st_shndx);
    if (shndx == SHN_XINDEX) return false;
    const uint8_t info = bytes[at + L::st_info];
    const int binding = info < 0x30 ? (info >> 4) + 1 : OF_SYMBOL_BINDING_UNKNOWN;
    int kind = OF_SYMBOL_KIND_UNKNOWN;
    if (shndx != SHN_UNDEF && shndx < SHN_LORESERVE) kind = OF_SYMBOL_KIND_DEFINED;
    else if (shndx == SHN_UNDEF) kind = OF_SYMBOL_KIND_UNDEFINED;
    else if (shndx == SHN_ABS) kind = OF_SYMBOL_KIND_ABSOLUTE;
    else if (shndx == SHN_COMMON) kind = OF_SYMBOL_KIND_COMMON;

    const uint32_t name = b.u32(at);
    const char* text = "";
    if (name < strings.size) {
      text = reinterpret_cast<const char*>(bytes + strings.offset + name);
      if (!std::memchr(text, 0, static_cast<size_t>(strings.size - name))) return false;
    }
    out.push_back(SCANNED_SYMBOL{text, binding, kind});
  }
  return true;
}

}  // namespace

bool scan_symbols(const uint8_t* bytes, size_t size, std::vector<SCANNED_SYMBOL>& symbols) {
  symbols.clear();
  // The factory makes an object only of what starts with the ELF magic.
  if (size < 4 || std::memcmp(bytes, "\x7f" "ELF", 4) != 0) return true;
  if (size < 6) return false;
  const bool big = bytes[EI_DATA] != 1;
  return bytes[EI_CLASS] == 1 ? scan<32>(bytes, size, big, symbols) : scan<64>(bytes, size, big, symbols);
}

}  // namespace OFE
