// Symbols. A symbol is built from its table entry the first time its index
// is asked for; kind, binding and type are worked out from the raw entry on
// every call.
#pragma once

#include <cstdint>
#include <memory>

#include "objfile/elf_records.h"
#include "objfile/symbol_metadata.h"
#include "support/data_map.h"

namespace OFE {

class OF_SYMBOL_TABLE;
class ELF_SYMBOL_TABLE;

enum OF_SYMBOL_KIND : int {
  OF_SYMBOL_KIND_UNKNOWN = 0,
  OF_SYMBOL_KIND_UNDEFINED = 1,
  OF_SYMBOL_KIND_DEFINED = 2,
  OF_SYMBOL_KIND_ABSOLUTE = 3,
  OF_SYMBOL_KIND_COMMON = 4,
  OF_SYMBOL_KIND_DEBUG = 5,
};

enum OF_SYMBOL_BINDING : int {
  OF_SYMBOL_BINDING_UNKNOWN = 0,
  OF_SYMBOL_BINDING_LOCAL = 1,
  OF_SYMBOL_BINDING_GLOBAL = 2,
  OF_SYMBOL_BINDING_WEAK = 3,
};

enum OF_SYMBOL_TYPE : int {
  OF_SYMBOL_TYPE_NONE = 0,
  OF_SYMBOL_TYPE_OBJECT = 1,
  OF_SYMBOL_TYPE_FUNCTION = 2,
  OF_SYMBOL_TYPE_SECTION = 3,
  OF_SYMBOL_TYPE_FILE = 4,
  OF_SYMBOL_TYPE_COMMON = 5,
  OF_SYMBOL_TYPE_TLS = 6,
};

// The words a symbol listing prints: "unknown", "undefined", ...
const char* symbol_kind_name(int kind);
const char* symbol_binding_name(int binding);
const char* symbol_type_name(int type);

class OF_SYMBOL {
public:
  OF_SYMBOL(OF_SYMBOL_TABLE* table, uint32_t index) : table_(table), index_(index) {}
  virtual ~OF_SYMBOL() = default;
  OF_SYMBOL(const OF_SYMBOL&) = delete;
  OF_SYMBOL& operator=(const OF_SYMBOL&) = delete;

  // The empty text when the symbol has no name.
  const char* get_name() const { return name_ ? name_.get() : ""; }
  void set_name(const char* name);
  OF_SYMBOL_TABLE* get_table() const { return table_; }
  uint32_t get_index() const { return index_; }

  virtual bool is_section_relative_index() const = 0;
  virtual uint32_t get_section_id() const = 0;
  virtual int get_kind() const = 0;
  virtual int set_kind(int kind) = 0;
  virtual int get_binding() const = 0;
  virtual int set_binding(int binding) = 0;
  virtual int get_type() const = 0;

  // Output-side marks: kept through output, and already written.
  bool get_keep() const { return flags_ & KEEP; }
  void set_keep(bool on) { set_flag(KEEP, on); }
  bool get_written() const { return flags_ & WRITTEN; }
  void set_written(bool on) { set_flag(WRITTEN, on); }
  // When set, the symbol is defined whatever its section index says.
  bool get_section_relative() const { return flags_ & SECTION_RELATIVE; }
  void set_section_relative(bool on) { set_flag(SECTION_RELATIVE, on); }

  // Aliases form a circular chain; a symbol without aliases links to nothing.
  OF_SYMBOL* get_alias() const { return alias_; }
  OF_SYMBOL* get_last_alias() const;
  void set_alias(OF_SYMBOL* symbol);

private:
  enum : uint8_t { KEEP = 1, WRITTEN = 2, SECTION_RELATIVE = 4 };
  void set_flag(uint8_t bit, bool on) { flags_ = on ? (flags_ | bit) : (flags_ & ~bit); }

  std::unique_ptr<char[]> name_;  // null: no name
  OF_SYMBOL_TABLE* table_;
  uint32_t index_;
  OF_SYMBOL* alias_ = nullptr;
  uint8_t flags_ = 0;
};

class ELF_SYMBOL : public OF_SYMBOL {
public:
  ELF_SYMBOL(ELF_SYMBOL_TABLE* table, uint32_t index);
  ~ELF_SYMBOL() override;

  bool is_section_relative_index() const override;
  uint32_t get_section_id() const override;
  int get_kind() const override;
  int set_kind(int kind) override;
  int get_binding() const override;
  int set_binding(int binding) override;
  int get_type() const override;
  int set_type(int type);

  virtual uint32_t get_st_name() const = 0;
  virtual uint64_t get_st_value() const = 0;
  virtual uint64_t get_st_size() const = 0;
  virtual uint8_t get_st_info() const = 0;
  virtual uint8_t get_st_other() const = 0;
  virtual uint16_t get_st_shndx() const = 0;
  virtual void set_st_name(uint32_t value) = 0;
  virtual void set_st_value(uint64_t value) = 0;
  virtual void set_st_size(uint64_t value) = 0;
  virtual void set_st_info(uint8_t value) = 0;
  virtual void set_st_other(uint8_t value) = 0;
  virtual void set_st_shndx(uint16_t value) = 0;
  // Reads one entry at the map's cursor, in the given byte order.
  virtual void read_entry(DATA_MAP& map, bool big_endian) = 0;

  uint32_t get_extended_index() const { return extended_index_; }
  void set_extended_index(uint32_t index) { extended_index_ = index; }
  uint32_t get_version_index() const { return version_index_; }
  void set_version_index(uint16_t index) { version_index_ = index; }

  // Metadata: getters answer 0 or "" and setters do nothing while the
  // symbol has no record.
  const ELF_SYMBOL_METADATA* get_metadata() const { return metadata_.get(); }
  void take_metadata(std::unique_ptr<ELF_SYMBOL_METADATA> record) { metadata_ = std::move(record); }
  void new_metadata() { metadata_ = std::make_unique<ELF_SYMBOL_METADATA>(); }
  uint32_t get_meta_flags() const { return metadata_ ? metadata_->flags : 0; }
  void set_meta_flags(uint32_t v) { if (metadata_) metadata_->flags = v; }
  uint32_t get_meta_word_a() const { return metadata_ ? metadata_->word_a : 0; }
  void set_meta_word_a(uint32_t v) { if (metadata_) metadata_->word_a = v; }
  uint32_t get_meta_word_b() const { return metadata_ ? metadata_->word_b : 0; }
  void set_meta_word_b(uint32_t v) { if (metadata_) metadata_->word_b = v; }
  const char* get_meta_text_a() const { return metadata_ ? metadata_->text_a.c_str() : ""; }
  void set_meta_text_a(const char* v) { if (metadata_) metadata_->text_a = v ? v : ""; }
  const char* get_meta_text_b() const { return metadata_ ? metadata_->text_b.c_str() : ""; }
  void set_meta_text_b(const char* v) { if (metadata_) metadata_->text_b = v ? v : ""; }
  uint32_t get_meta_high_water() const { return metadata_ ? metadata_->high_water : 0; }
  void set_meta_high_water(uint32_t v) {
    if (metadata_ && v > metadata_->high_water) metadata_->high_water = v;
  }

  ELF_SYMBOL_TABLE* get_elf_table() const { return elf_table_; }

private:
  // Records a refusal on the owning object; always -1.
  int refuse(const char* format, int value) const;
  void changed();

  ELF_SYMBOL_TABLE* elf_table_;
  uint32_t extended_index_ = 0;
  uint32_t version_index_ = 0;
  std::unique_ptr<ELF_SYMBOL_METADATA> metadata_;
};

template <int Bits> class ELF_SYMBOL_IMPL final : public ELF_SYMBOL {
public:
  using ELF_SYMBOL::ELF_SYMBOL;

  uint32_t get_st_name() const override { return entry_.st_name; }
  uint64_t get_st_value() const override { return entry_.st_value; }
  uint64_t get_st_size() const override { return entry_.st_size; }
  uint8_t get_st_info() const override { return entry_.st_info; }
  uint8_t get_st_other() const override { return entry_.st_other; }
  uint16_t get_st_shndx() const override { return entry_.st_shndx; }
  void set_st_name(uint32_t value) override { entry_.st_name = value; }
  void set_st_value(uint64_t value) override { entry_.st_value = static_cast<Addr>(value); }
  void set_st_size(uint64_t value) override { entry_.st_size = static_cast<Xword>(value); }
  void set_st_info(uint8_t value) override { entry_.st_info = value; }
  void set_st_other(uint8_t value) override { entry_.st_other = value; }
  void set_st_shndx(uint16_t value) override { entry_.st_shndx = value; }
  void read_entry(DATA_MAP& map, bool big_endian) override;

private:
  using Addr = typename ELF_TRAITS<Bits>::Addr;
  using Xword = typename ELF_TRAITS<Bits>::Xword;
  ELF_SYM<Bits> entry_;
};

extern template class ELF_SYMBOL_IMPL<32>;
extern template class ELF_SYMBOL_IMPL<64>;

}  // namespace OFE
