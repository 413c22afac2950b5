// A quick look at the symbols of an object, for callers that need no more
// than each symbol's name, binding and kind in table order: the archive's
// symbol table is rebuilt from every member on every write, and making a
// full OBJECT_FILE for each (section objects, symbol objects, mapped reads)
// costs many times what reading the few records involved does.
//
// The scan reads only the parts it needs (the file header, the section
// headers, the section-name table, ".symtab" and its string table), so a
// large object on disk is scanned by a few positioned reads, and one held
// in memory without a copy.
//
// The scan takes only plain objects, whose answers it can give exactly as the
// full reader gives them. Anything else it declines, and the caller then asks
// create_object_file as before.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace OFE {

struct SCANNED_SYMBOL {
  const char* name;  // points into the scanned bytes, or at ""
  int binding;       // OF_SYMBOL_BINDING_*
  int kind;          // OF_SYMBOL_KIND_*
};

// Where the scan finds the object's bytes.
class SCAN_SOURCE {
public:
  virtual ~SCAN_SOURCE() = default;
  // The `length` bytes at `offset` of the object (the scan asks only for
  // bytes inside its size), valid until the source is destroyed; null when
  // they cannot all be had.
  virtual const uint8_t* fetch(uint64_t offset, size_t length) = 0;
};

// An object read by positioned reads of a file descriptor, the object
// starting at `base`: one read for the first bytes (the file header), one
// for each table. Each piece fetched has a buffer of its own.
class FILE_SCAN_SOURCE : public SCAN_SOURCE {
public:
  FILE_SCAN_SOURCE(int fd, int64_t base) : fd_(fd), base_(base) {}
  const uint8_t* fetch(uint64_t offset, size_t length) override;

private:
  int fd_;
  int64_t base_;
  int64_t head_ = -1;     // bytes in the first piece, once read
  uint64_t fetched_ = 0;  // bytes read for the other pieces
  std::vector<std::unique_ptr<uint8_t[]>> pieces_;
};

// Fills `symbols` with every entry of the object's ".symtab", as
// OBJECT_FILE::get_symbol_table() would present them, and returns true; a
// file that is not ELF, or has no ".symtab", has none. Returns false, with
// `symbols` unspecified, for anything not plain: a header, section header,
// name table, symbol table or string table that is not all there (or that
// the source cannot give); extended section numbering or indices; entry
// sizes other than the class's own; a ".symtab" that is not SHT_SYMTAB or
// has no linked string table; a ".symtab_meta" section; a symbol name not
// ended inside its table; tables too large to be worth reading here.
// The names point into what the source fetched.
bool scan_symbols(SCAN_SOURCE& source, uint64_t size, std::vector<SCANNED_SYMBOL>& symbols);

// The same for an object held whole in memory.
bool scan_symbols(const uint8_t* bytes, size_t size, std::vector<SCANNED_SYMBOL>& symbols);

}  // namespace OFE
