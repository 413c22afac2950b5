// The standard sections: defaults for a new section by name, and the address
// unit size of every section read from a file.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace OFE {

struct STANDARD_SECTION {
  uint32_t type;
  uint32_t entsize32;  // entry size in 32-bit files
  uint32_t entsize64;  // entry size in 64-bit files
  uint64_t flags;
  unsigned unit_bits;  // 0: the target's default
};

class STANDARD_SECTION_TABLE {
public:
  // The three symbol-versioning rows are added when `with_versions` is set.
  explicit STANDARD_SECTION_TABLE(bool with_versions);

  // Exact name first, then the longest row name that prefixes `name`, then
  // the ".symtab_shndx" row for a name ending in "_shndx"; null when none
  // applies. The tables are built once and shared by every object.
  const STANDARD_SECTION* lookup(const std::string& name) const;

private:
  std::map<std::string, STANDARD_SECTION> rows_;
};

}  // namespace OFE
