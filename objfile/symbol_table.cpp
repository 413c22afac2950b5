#include "objfile/symbol_table.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "objfile/elf_file.h"
#include "objfile/section_table.h"
#include "objfile/string_table.h"

namespace OFE {

namespace {

constexpr uint32_t kVersionSectionType = 0x6fffffff;

}  // namespace

OF_SYMBOL* OF_SYMBOL_TABLE::find_symbol(const char* name, uint32_t first_index) {
  const char* wanted = name ? name : "";
  const uint32_t count = get_num_symbols();
  for (uint32_t i = first_index; i < count; i = get_next_index(i)) {
    OF_SYMBOL* symbol = get_symbol(i);
    if (symbol && std::strcmp(symbol->get_name(), wanted) == 0) return symbol;
  }
  return nullptr;
}

ELF_SYMBOL_TABLE::ELF_SYMBOL_TABLE(ELF_SECTION* section, uint32_t default_entry_size)
    : OF_SYMBOL_TABLE(section->get_owner_file()), section_(section) {
  uint64_t entsize = section->get_sh_entsize();
  entry_size_ = entsize == 0 ? default_entry_size
                             : static_cast<uint32_t>(std::min<uint64_t>(entsize, UINT32_MAX));
  count_ = static_cast<uint32_t>(section->get_sh_size() / entry_size_);
  data_.assign(section->get_contents());
}

ELF_SYMBOL_TABLE::~ELF_SYMBOL_TABLE() = default;

ELF_FILE* ELF_SYMBOL_TABLE::get_file() const { return section_->get_file(); }

ELF_SECTION_TABLE* ELF_SYMBOL_TABLE::sections() const {
  return get_file()->get_elf_section_table();
}

const char* ELF_SYMBOL_TABLE::get_name() const { return section_->get_name(); }

// The claimed count may be far beyond the data; entries that start past
// the bytes present all read as zeros, so the table ends where they begin.
void ELF_SYMBOL_TABLE::settle_count() {
  if (count_settled_) return;
  count_settled_ = true;
  if (count_ != 0) {
    data_.load();
    uint64_t present = (data_.held() + entry_size_ - 1) / entry_size_;
    count_ = static_cast<uint32_t>(std::min<uint64_t>(count_, present));
  }
  index_map_.resize(count_);
  for (uint32_t i = 0; i < count_; ++i) index_map_[i] = i;
}

uint32_t ELF_SYMBOL_TABLE::get_num_symbols() {
  settle_count();
  return count_;
}

ELF_SYMBOL* ELF_SYMBOL_TABLE::get_symbol(uint32_t index) {
  if (index >= get_num_symbols()) return nullptr;
  if (symbols_.size() < count_) symbols_.resize(count_);
  if (!symbols_[index]) read_symbol(index);
  return symbols_[index].get();
}

void ELF_SYMBOL_TABLE::read_symbol(uint32_t index) {
  if (symbols_[index]) return;
  std::unique_ptr<ELF_SYMBOL> symbol = make_symbol(index);

  data_.set_cursor(uint64_t{entry_size_} * index);
  symbol->read_entry(data_, get_file()->is_big_endian());

  if (symbol->get_st_shndx() == SHN_XINDEX) {
    if (ELF_SECTION* xindex = extended_index_section()) {
      DATA_MAP& words = xindex->get_contents();
      words.set_cursor(uint64_t{4} * index);
      symbol->set_extended_index(words.read_u32());
    }
  }
  if (section_->get_sh_type() == SHT_DYNSYM) {
    if (ELF_SECTION* versions = version_section()) {
      DATA_MAP& halves = versions->get_contents();
      halves.set_cursor(uint64_t{2} * index);
      symbol->set_version_index(halves.read_u16());
    }
  }
  if (ELF_STRING_TABLE* strings = get_string_table())
    symbol->set_name(strings->get_string(symbol->get_st_name()));

  if (!metadata_read_) read_metadata();
  auto record = metadata_.find(index);
  if (record != metadata_.end()) {
    symbol->take_metadata(std::move(record->second));
    metadata_.erase(record);
  }
  symbols_[index] = std::move(symbol);
}

ELF_STRING_TABLE* ELF_SYMBOL_TABLE::get_string_table() {
  ELF_SECTION_TABLE* table = sections();
  if (uint32_t link = section_->get_sh_link()) {
    ELF_SECTION* strings = table->get_section(link);
    return strings ? strings->get_string_table() : nullptr;
  }
  const uint32_t type = section_->get_sh_type();
  const char* name = type == SHT_SYMTAB ? ".strtab" : type == SHT_DYNSYM ? ".dynstr" : nullptr;
  if (!name) {
    get_owner()->record_status(OF_STATUS_FAILED, "string table for symbol table \"%s\" not found",
                               get_name());
    return nullptr;
  }
  ELF_SECTION* strings = table->find_section(name, 0);
  if (!strings) strings = table->add_section(name);
  if (!strings) return nullptr;
  section_->set_sh_link(strings->get_index());
  return strings->get_string_table();
}

ELF_SECTION* ELF_SYMBOL_TABLE::extended_index_section() {
  ELF_SECTION_TABLE* table = sections();
  if (shndx_section_ != 0) return table->get_section(shndx_section_);
  if (table->get_num_sections() < SHN_LORESERVE) return nullptr;

  const uint32_t self = section_->get_index();
  ELF_SECTION* xindex = table->find_section_if(
      [self](ELF_SECTION& s) { return s.get_sh_type() == SHT_SYMTAB_SHNDX && s.get_sh_link() == self; },
      0);
  if (!xindex) {
    xindex = table->add_section((std::string(get_name()) + "_shndx").c_str());
    if (!xindex) return nullptr;
    xindex->set_sh_link(self);
  }
  shndx_section_ = xindex->get_index();
  return xindex;
}

ELF_SECTION* ELF_SYMBOL_TABLE::version_section() {
  ELF_SECTION_TABLE* table = sections();
  if (!version_looked_up_) {
    version_looked_up_ = true;
    ELF_SECTION* found = table->find_section_if(
        [](ELF_SECTION& s) { return s.get_sh_type() == kVersionSectionType; }, 0);
    version_section_ = found ? found->get_index() : 0;
  }
  return version_section_ ? table->get_section(version_section_) : nullptr;
}

void ELF_SYMBOL_TABLE::read_metadata() {
  metadata_read_ = true;
  ELF_SECTION* meta = sections()->find_section(".symtab_meta", 0);
  if (!meta || meta->get_contents().size() == 0) return;
  DATA_MAP& contents = meta->get_contents();
  contents.set_cursor(0);
  if (contents.read_u8() != SYMBOL_METADATA_VERSION) {
    get_owner()->record_status(OF_STATUS_BAD_DATA, "%s",
                               "Invalid format specified for symbol metadata section (.symtab_meta)");
    return;
  }
  if (!read_symbol_metadata(contents, metadata_))
    get_owner()->record_status(
        OF_STATUS_BAD_DATA, "%s",
        "Invalid meta-info kind encountered in symbol metadata section (.symtab_meta)");
}

void ELF_SYMBOL_TABLE::read_all() {
  const uint32_t count = get_num_symbols();
  for (uint32_t i = 0; i < count; ++i) get_symbol(i);
  if (ELF_STRING_TABLE* strings = get_string_table()) strings->load();
}

void ELF_SYMBOL_TABLE::mark_changed(uint32_t index) {
  if (index >= changed_.size()) changed_.resize(std::max<size_t>(index + 1, get_num_symbols()));
  changed_[index] = true;
}

int ELF_SYMBOL_TABLE::progress_step(int32_t state) {
  if (state != OF_STATE_LOCKED || get_state() > OF_STATE_OPEN) return 0;
  get_file()->get_machine_db().adjust_symbol_table(*this);
  if (ELF_SYMBOL* null = get_symbol(0)) {
    bool is_null = null->get_name()[0] == '\0' && null->get_st_value() == 0 &&
                   null->get_st_size() == 0 && null->get_st_info() == 0 &&
                   null->get_st_other() == 0 && null->get_st_shndx() == 0;
    if (!is_null) get_owner()->record_status(OF_STATUS_FAILED, "%s", "symbol 0 is not a NULL symbol");
  }
  return 0;
}

template <int Bits>
std::unique_ptr<ELF_SYMBOL> ELF_SYMBOL_TABLE_IMPL<Bits>::make_symbol(uint32_t index) {
  return std::make_unique<ELF_SYMBOL_IMPL<Bits>>(this, index);
}

template class ELF_SYMBOL_TABLE_IMPL<32>;
template class ELF_SYMBOL_TABLE_IMPL<64>;

}  // namespace OFE
