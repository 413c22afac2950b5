#include "objfile/standard_sections.h"

namespace OFE {

namespace {

struct ROW {
  const char* name;
  STANDARD_SECTION section;
};

constexpr unsigned kDefault = 0;

constexpr ROW kRows[] = {
    {".bss", {8, 0, 0, 0x3, kDefault}},
    {".comment", {1, 0, 0, 0, 8}},
    {".data", {1, 0, 0, 0x3, kDefault}},
    {".data1", {1, 0, 0, 0x3, kDefault}},
    {".debug", {1, 0, 0, 0, 8}},
    {".dynamic", {6, 8, 16, 0x2, 8}},
    {".dynstr", {3, 1, 1, 0x22, 8}},
    {".dynsym", {11, 16, 24, 0x2, 8}},
    {".fini", {1, 0, 0, 0x6, kDefault}},
    {".fini_array", {15, 0, 0, 0x3, kDefault}},
    {".got", {1, 4, 4, 0x3, kDefault}},
    {".hash", {5, 0, 0, 0x2, 8}},
    {".init", {1, 0, 0, 0x6, kDefault}},
    {".init_array", {14, 0, 0, 0x3, kDefault}},
    {".interp", {1, 0, 0, 0, 8}},
    {".line", {1, 0, 0, 0, 8}},
    {".note", {7, 0, 0, 0, 8}},
    {".plt", {1, 0, 0, 0, 8}},
    {".preinit_array", {16, 0, 0, 0x3, kDefault}},
    {".rel", {9, 8, 16, 0, 8}},
    {".rela", {4, 12, 24, 0, 8}},
    {".rodata", {1, 0, 0, 0x2, kDefault}},
    {".rodata1", {1, 0, 0, 0x2, kDefault}},
    {".shstrtab", {3, 1, 1, 0x20, 8}},
    {".strtab", {3, 1, 1, 0x20, 8}},
    {".symtab", {2, 16, 24, 0, 8}},
    {".symtab_shndx", {18, 4, 4, 0, 8}},
    {".tbss", {8, 0, 0, 0x403, kDefault}},
    {".tdata", {1, 0, 0, 0x403, kDefault}},
    {".tdata1", {1, 0, 0, 0x403, kDefault}},
    {".text", {1, 0, 0, 0x6, kDefault}},
    {"__QV_build_attributes", {0x70000003, 0, 0, 0, 8}},
    {".QV.section.flags", {0x7f000005, 0, 0, 0, 8}},
    {".QV.symbol.alias", {0x7f000006, 0, 0, 0, 8}},
    {".QV.section.page", {0x7f000007, 0, 0, 0, 8}},
};

constexpr ROW kVersionRows[] = {
    {".gnu.version", {0x6fffffff, 2, 2, 0x2, kDefault}},
    {".gnu.version_d", {0x6ffffffd, 0, 0, 0x2, kDefault}},
    {".gnu.version_r", {0x6ffffffe, 0, 0, 0x2, kDefault}},
};

const char kShndxSuffix[] = "_shndx";

}  // namespace

STANDARD_SECTION_TABLE::STANDARD_SECTION_TABLE(bool with_versions) {
  for (const ROW& row : kRows) rows_.emplace(row.name, row.section);
  if (with_versions)
    for (const ROW& row : kVersionRows) rows_.emplace(row.name, row.section);
}

const STANDARD_SECTION* STANDARD_SECTION_TABLE::lookup(const std::string& name) const {
  auto exact = rows_.find(name);
  if (exact != rows_.end()) return &exact->second;

  const STANDARD_SECTION* best = nullptr;
  size_t best_length = 0;
  for (const auto& [row_name, section] : rows_) {
    if (row_name.size() > best_length && name.starts_with(row_name)) {
      best = &section;
      best_length = row_name.size();
    }
  }
  if (best) return best;

  if (name.ends_with(kShndxSuffix)) return &rows_.at(".symtab_shndx");
  return nullptr;
}

}  // namespace OFE
