#include "objfile/section.h"

#include "objfile/elf_file.h"
#include "objfile/string_table.h"
#include "objfile/symbol_table.h"

namespace OFE {

ELF_SECTION::ELF_SECTION(ELF_FILE* file, uint32_t index) : OF_SECTION(file, index), file_(file) {}

ELF_SECTION::~ELF_SECTION() = default;

ELF_STRING_TABLE* ELF_SECTION::get_string_table() {
  if (!string_table_) string_table_ = std::make_unique<ELF_STRING_TABLE>(this);
  return string_table_.get();
}

ELF_SYMBOL_TABLE* ELF_SECTION::get_symbol_table() {
  uint32_t type = get_sh_type();
  if (type != SHT_SYMTAB && type != SHT_DYNSYM) return nullptr;
  if (!symbol_table_) symbol_table_ = make_symbol_table();
  return symbol_table_.get();
}

template <int Bits>
std::unique_ptr<ELF_SYMBOL_TABLE> ELF_SECTION_IMPL<Bits>::make_symbol_table() {
  return std::make_unique<ELF_SYMBOL_TABLE_IMPL<Bits>>(this);
}

template class ELF_SECTION_IMPL<32>;
template class ELF_SECTION_IMPL<64>;

}  // namespace OFE
