#include "objfile/symbol_scan.h"

#include <cstdint>
#include <cstring>
#include <string_view>

#include "objfile/elf_records.h"
#include "objfile/symbol.h"
#include "support/stream_io.h"

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

// The bytes of one piece of the object; nothing to read for an empty one.
const uint8_t* piece(SCAN_SOURCE& source, uint64_t offset, uint64_t length) {
  static const uint8_t nothing = 0;
  if (length == 0) return &nothing;
  if (length > SIZE_MAX) return nullptr;
  return source.fetch(offset, static_cast<size_t>(length));
}

template <int Bits>
bool scan(SCAN_SOURCE& source, uint64_t size, bool big, std::vector<SCANNED_SYMBOL>& out) {
  using L = LAYOUT<Bits>;
  using T = ELF_TRAITS<Bits>;
  constexpr unsigned kAddr = Bits / 8;
  if (size < T::ehdr_size) return false;
  const uint8_t* ehdr = piece(source, 0, T::ehdr_size);
  if (!ehdr) return false;
  const BYTES e(ehdr, big);
  const uint64_t shoff = e.word(L::e_shoff, kAddr);
  const uint32_t shnum = e.u16(L::e_shnum);
  const uint32_t shstrndx = e.u16(L::e_shstrndx);
  // Extended numbering keeps the count or the name table elsewhere.
  if (shnum == 0 || shstrndx == 0 || shstrndx >= shnum || shstrndx == SHN_XINDEX) return false;
  if (e.u16(L::e_shentsize) != T::shdr_size) return false;
  if (shoff > size || uint64_t{shnum} * T::shdr_size > size - shoff) return false;
  const uint8_t* headers = piece(source, shoff, uint64_t{shnum} * T::shdr_size);
  if (!headers) return false;
  const BYTES h(headers, big);

  auto header = [&](uint32_t index) {
    size_t at = size_t{index} * T::shdr_size;
    return SECTION{h.u32(at), h.u32(at + 4), h.u32(at + L::sh_link), h.word(at + L::sh_offset, kAddr),
                   h.word(at + L::sh_size, kAddr), h.word(at + L::sh_entsize, kAddr)};
  };
  // A section whose contents the full reader maps, all of them present.
  auto present = [size](const SECTION& s) {
    return s.type != SHT_NULL && s.type != SHT_NOBITS && s.offset <= size && s.size <= size - s.offset;
  };

  const SECTION names = header(shstrndx);
  if (!present(names)) return false;
  const uint8_t* nameBytes = piece(source, names.offset, names.size);
  if (!nameBytes) return false;
  // A name runs to its terminator or to the end of the table, as the full
  // reader's zero past the end makes it.
  auto name_of = [&](uint32_t offset) {
    if (offset >= names.size) return std::string_view();
    const char* text = reinterpret_cast<const char*>(nameBytes + offset);
    return std::string_view(text, strnlen(text, static_cast<size_t>(names.size - offset)));
  };
  uint32_t symtab = 0;
  bool found = false;
  for (uint32_t i = 0; i < shnum; ++i) {
    std::string_view name = name_of(h.u32(size_t{i} * T::shdr_size));
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
  const uint8_t* entries = piece(source, table.offset, count * T::sym_size);
  const uint8_t* stringBytes = entries ? piece(source, strings.offset, strings.size) : nullptr;
  if (!stringBytes) return false;
  const BYTES sym(entries, big);
  out.clear();
  out.reserve(static_cast<size_t>(count));
  for (uint64_t i = 0; i < count; ++i) {
    const size_t at = static_cast<size_t>(i * T::sym_size);
    const uint16_t shndx = sym.u16(at + L::st_shndx);
    if (shndx == SHN_XINDEX) return false;
    const uint8_t info = entries[at + L::st_info];
    const int binding = info < 0x30 ? (info >> 4) + 1 : OF_SYMBOL_BINDING_UNKNOWN;
    int kind = OF_SYMBOL_KIND_UNKNOWN;
    if (shndx != SHN_UNDEF && shndx < SHN_LORESERVE) kind = OF_SYMBOL_KIND_DEFINED;
    else if (shndx == SHN_UNDEF) kind = OF_SYMBOL_KIND_UNDEFINED;
    else if (shndx == SHN_ABS) kind = OF_SYMBOL_KIND_ABSOLUTE;
    else if (shndx == SHN_COMMON) kind = OF_SYMBOL_KIND_COMMON;

    const uint32_t name = sym.u32(at);
    const char* text = "";
    if (name < strings.size) {
      text = reinterpret_cast<const char*>(stringBytes + name);
      if (!std::memchr(text, 0, static_cast<size_t>(strings.size - name))) return false;
    }
    out.push_back(SCANNED_SYMBOL{text, binding, kind});
  }
  return true;
}

// An object held whole in memory: every piece is already there.
class MEMORY_SOURCE : public SCAN_SOURCE {
public:
  explicit MEMORY_SOURCE(const uint8_t* bytes) : bytes_(bytes) {}
  const uint8_t* fetch(uint64_t offset, size_t) override { return bytes_ + offset; }

private:
  const uint8_t* bytes_;
};

// The first bytes of a file are read once: the identification and the
// file header come from them.
constexpr size_t kHeadSize = 256;
// A file whose tables come to more than this is left to the full reader,
// which maps what it reads instead of holding it.
constexpr uint64_t kMaxFetched = uint64_t{64} << 20;

}  // namespace

const uint8_t* FILE_SCAN_SOURCE::fetch(uint64_t offset, size_t length) {
  if (offset > kMaxFetched || length > kMaxFetched - offset) return nullptr;
  if (offset + length <= kHeadSize) {
    if (pieces_.empty()) {
      pieces_.push_back(std::make_unique<uint8_t[]>(kHeadSize));
      head_ = pread_full(fd_, pieces_[0].get(), kHeadSize, base_);
    }
    return static_cast<int64_t>(offset + length) <= head_ ? pieces_[0].get() + offset : nullptr;
  }
  fetched_ += length;
  if (fetched_ > kMaxFetched) return nullptr;
  auto bytes = std::make_unique<uint8_t[]>(length);
  if (pread_full(fd_, bytes.get(), length, base_ + static_cast<int64_t>(offset)) != static_cast<int64_t>(length))
    return nullptr;
  pieces_.push_back(std::move(bytes));
  return pieces_.back().get();
}

bool scan_symbols(SCAN_SOURCE& source, uint64_t size, std::vector<SCANNED_SYMBOL>& symbols) {
  symbols.clear();
  // The factory makes an object only of what starts with the ELF magic.
  if (size < 4) return true;
  const uint8_t* ident = piece(source, 0, size < 6 ? 4 : 6);
  if (!ident) return false;
  if (std::memcmp(ident, "\x7f" "ELF", 4) != 0) return true;
  if (size < 6) return false;
  const bool big = ident[EI_DATA] != 1;
  return ident[EI_CLASS] == 1 ? scan<32>(source, size, big, symbols) : scan<64>(source, size, big, symbols);
}

bool scan_symbols(const uint8_t* bytes, size_t size, std::vector<SCANNED_SYMBOL>& symbols) {
  MEMORY_SOURCE source(bytes);
  return scan_symbols(source, size, symbols);
}

}  // namespace OFE
