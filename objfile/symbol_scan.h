// A quick look at the symbols of an object held whole in memory, for callers
// that need no more than each symbol's name, binding and kind in table order:
// the archive's symbol table is rebuilt from every member on every write, and
// making a full OBJECT_FILE for each (section objects, symbol objects, mapped
// reads) costs many times what reading the few records involved does.
//
// The scan takes only plain objects, whose answers it can give exactly as the
// full reader gives them. Anything else it declines, and the caller then asks
// create_object_file as before.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace OFE {

struct SCANNED_SYMBOL {
  const char* name;  // points into the scanned bytes, or at ""
  int binding;       // OF_SYMBOL_BINDING_*
  int kind;          // OF_SYMBOL_KIND_*
};

// Fills `symbols` with every entry of the object's ".symtab", as
// OBJECT_FILE::get_symbol_table() would present them, and returns true; a
// file that is not ELF, or has no ".symtab", has none. Returns false, with `symbols` unspecified,
// for anything not plain: a header, section header, name table, symbol table
// or string table that is not all there; extended section numbering or
// indices; entry sizes other than the class's own; a ".symtab" that is not
// SHT_SYMTAB or has no linked string table; a ".symtab_meta" section; a
// symbol name not ended inside its table.
bool scan_symbols(const uint8_t* bytes, size_t size, std::vector<SCANNED_SYMBOL>& symbols);

}  // namespace OFE
