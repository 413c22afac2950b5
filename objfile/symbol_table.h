// Symbol tables. Building a table reads only its section header; each
// symbol is read from its entry the first time its index is asked for, and
// kept for the table's life.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "objfile/state_machine.h"
#include "objfile/symbol.h"
#include "objfile/symbol_metadata.h"
#include "support/data_map.h"

namespace OFE {

class ELF_FILE;
class ELF_SECTION;
class ELF_SECTION_TABLE;
class ELF_STRING_TABLE;

class OF_SYMBOL_TABLE : public OF_STATE_MACHINE {
public:
  using OF_STATE_MACHINE::OF_STATE_MACHINE;

  virtual const char* get_name() const = 0;
  // Null when `index` is not below the count.
  virtual OF_SYMBOL* get_symbol(uint32_t index) = 0;
  // The first symbol at or after `first_index` named `name`, or null.
  virtual OF_SYMBOL* find_symbol(const char* name, uint32_t first_index);
  // Every index is visited: the null symbol, locals and section symbols too.
  virtual uint32_t get_next_index(uint32_t index) const { return index + 1; }
  virtual uint32_t get_num_symbols() = 0;
  virtual uint32_t get_entry_size() const = 0;
  // Builds every symbol, then reads the names' string table.
  virtual void read_all() = 0;
  // Notes that the symbol at `index` was edited.
  virtual void mark_changed(uint32_t index) = 0;
};

class ELF_SYMBOL_TABLE : public OF_SYMBOL_TABLE {
public:
  ELF_SYMBOL_TABLE(ELF_SECTION* section, uint32_t default_entry_size);
  ~ELF_SYMBOL_TABLE() override;

  // Entering "locked" prepares the table for output.
  int progress_step(int32_t state) override;
  const char* get_name() const override;
  ELF_SYMBOL* get_symbol(uint32_t index) override;
  // The entries whose bytes are present: entries past the end of the data
  // would read as null symbols, so they are not counted.
  uint32_t get_num_symbols() override;
  uint32_t get_entry_size() const override { return entry_size_; }
  void read_all() override;
  void mark_changed(uint32_t index) override;
  bool is_changed(uint32_t index) const { return index < changed_.size() && changed_[index]; }

  ELF_SECTION* get_section() const { return section_; }
  ELF_FILE* get_file() const;
  // The string table of the symbols' names, found by sh_link or by name
  // (and added when missing); null when there can be none.
  ELF_STRING_TABLE* get_string_table();

protected:
  virtual std::unique_ptr<ELF_SYMBOL> make_symbol(uint32_t index) = 0;
  void read_symbol(uint32_t index);

private:
  void settle_count();
  ELF_SECTION_TABLE* sections() const;
  ELF_SECTION* extended_index_section();
  ELF_SECTION* version_section();
  void read_metadata();

  ELF_SECTION* section_;
  DATA_MAP data_;
  std::vector<uint32_t> index_map_;  // output order; the identity when read
  std::vector<std::unique_ptr<ELF_SYMBOL>> symbols_;
  uint32_t count_ = 0;
  uint32_t entry_size_ = 0;
  bool count_settled_ = false;
  bool metadata_read_ = false;
  uint32_t shndx_section_ = 0;  // 0 until looked up
  bool version_looked_up_ = false;
  uint32_t version_section_ = 0;
  SYMBOL_METADATA_MAP metadata_;  // records not yet taken by their symbol
  std::vector<bool> changed_;
};

template <int Bits> class ELF_SYMBOL_TABLE_IMPL final : public ELF_SYMBOL_TABLE {
public:
  explicit ELF_SYMBOL_TABLE_IMPL(ELF_SECTION* section)
      : ELF_SYMBOL_TABLE(section, ELF_TRAITS<Bits>::sym_size) {}

protected:
  std::unique_ptr<ELF_SYMBOL> make_symbol(uint32_t index) override;
};

extern template class ELF_SYMBOL_TABLE_IMPL<32>;
extern template class ELF_SYMBOL_TABLE_IMPL<64>;

}  // namespace OFE
