// Per-symbol metadata carried in a ".symtab_meta" section: a version byte (1)
// followed by records, each an unsigned LEB128 kind (1 to 15), an unsigned
// LEB128 symbol index and a payload: a LEB128 value, or for kinds 4 and 5 a
// NUL-terminated text.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "support/data_map.h"

namespace OFE {

enum : uint8_t { SYMBOL_METADATA_VERSION = 1 };

struct ELF_SYMBOL_METADATA {
  uint32_t flags = 0;       // kind 1
  uint32_t word_a = 0;      // kind 2
  uint32_t word_b = 0;      // kind 3
  std::string text_a;       // kind 4
  std::string text_b;       // kind 5
  uint32_t high_water = 0;  // kind 6; only ever raised
};

using SYMBOL_METADATA_MAP = std::map<uint32_t, std::unique_ptr<ELF_SYMBOL_METADATA>>;

// Reads the records that follow the version byte into `records`; false at
// the first record of an unknown kind (the records before it are kept).
// Stops at the end of the bytes present.
bool read_symbol_metadata(DATA_MAP& contents, SYMBOL_METADATA_MAP& records);

}  // namespace OFE
