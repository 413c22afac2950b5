// The section table: the section-header table is mapped at load and each
// section is built from its header the first time it is asked for.
//
// A header table may claim far more entries than the file holds. Entries
// that start past the bytes present all read as zero headers, so they are
// alike: they are built only one by one when asked for by index, and a
// search takes one of them to stand for all.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "objfile/section.h"
#include "objfile/standard_sections.h"
#include "objfile/state_machine.h"
#include "support/data_map.h"

namespace OFE {

class ELF_FILE;
class ELF_STRING_TABLE;

class OF_SECTION_TABLE : public OF_STATE_MACHINE {
public:
  using OF_STATE_MACHINE::OF_STATE_MACHINE;

  // Maps `count` headers of `entry_size` bytes at `offset`; reads nothing.
  virtual int take_header_table(uint64_t offset, uint32_t entry_size, uint32_t count) = 0;
  // Up to 2^32: a table that claims 2^32 - 1 sections can still take one more.
  virtual uint64_t get_num_sections() const = 0;
  // Null at or past the count.
  virtual OF_SECTION* get_section(uint32_t index) = 0;
  // The first section at or after `first_index` named `name`, or null.
  virtual OF_SECTION* find_section(const char* name, uint32_t first_index) = 0;
  // Appends a section with the standard defaults for its name.
  virtual OF_SECTION* add_section(const char* name) = 0;
};

class ELF_SECTION_TABLE : public OF_SECTION_TABLE {
public:
  explicit ELF_SECTION_TABLE(ELF_FILE* file);
  ~ELF_SECTION_TABLE() override;

  int take_header_table(uint64_t offset, uint32_t entry_size, uint32_t count) override;
  uint64_t get_num_sections() const override { return count_; }
  ELF_SECTION* get_section(uint32_t index) override;
  ELF_SECTION* find_section(const char* name, uint32_t first_index) override;
  ELF_SECTION* add_section(const char* name) override;

  // The first section at or after `first_index` for which `match` holds.
  ELF_SECTION* find_section_if(const std::function<bool(ELF_SECTION&)>& match,
                               uint32_t first_index);
  // The table of section names (a ".shstrtab" is added when there is none).
  ELF_STRING_TABLE* get_section_name_table();
  // The standard row for a section name, or null.
  const STANDARD_SECTION* lookup_standard_section(const std::string& name);

  uint32_t get_entry_size() const { return entry_size_; }
  uint64_t get_header_offset() const { return offset_; }
  ELF_FILE* get_file() const { return file_; }

protected:
  virtual std::unique_ptr<ELF_SECTION> make_section(uint32_t index) = 0;
  virtual unsigned header_size() const = 0;

private:
  std::unique_ptr<ELF_SECTION>& slot(uint32_t index);
  uint32_t dense_limit();
  ELF_SECTION* build_section(uint32_t index);
  ELF_STRING_TABLE* existing_name_table();
  void settle_unit_bits(ELF_SECTION& section);
  ELF_SECTION* append(std::unique_ptr<ELF_SECTION> section);

  ELF_FILE* file_;
  uint64_t count_ = 0;       // sections from the file and added ones
  uint32_t file_count_ = 0;  // sections the header table claims
  uint32_t entry_size_ = 0;
  uint64_t offset_ = 0;
  DATA_MAP headers_;
  // Slots below dense_ live in `dense_slots_`, the rest (entries past the
  // bytes present, and sections added after them) in `sparse_slots_`.
  bool dense_known_ = false;
  uint32_t dense_ = 0;
  uint32_t file_present_ = 0;  // header entries that start within the bytes present
  std::vector<std::unique_ptr<ELF_SECTION>> dense_slots_;
  std::map<uint32_t, std::unique_ptr<ELF_SECTION>> sparse_slots_;
};

template <int Bits> class ELF_SECTION_TABLE_IMPL final : public ELF_SECTION_TABLE {
public:
  using ELF_SECTION_TABLE::ELF_SECTION_TABLE;

protected:
  std::unique_ptr<ELF_SECTION> make_section(uint32_t index) override;
  unsigned header_size() const override { return ELF_TRAITS<Bits>::shdr_size; }
};

extern template class ELF_SECTION_TABLE_IMPL<32>;
extern template class ELF_SECTION_TABLE_IMPL<64>;

}  // namespace OFE
