// String tables: NUL-terminated texts addressed by byte offset. Reading asks
// for the text at an offset; building appends texts and hands out the offset
// of a text already present.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "objfile/state_machine.h"
#include "support/data_map.h"

namespace OFE {

class ELF_SECTION;

class OF_STRING_TABLE_MANAGER {
public:
  OF_STRING_TABLE_MANAGER() = default;
  virtual ~OF_STRING_TABLE_MANAGER() = default;
  OF_STRING_TABLE_MANAGER(const OF_STRING_TABLE_MANAGER&) = delete;
  OF_STRING_TABLE_MANAGER& operator=(const OF_STRING_TABLE_MANAGER&) = delete;

  virtual const char* get_name() const { return ""; }
  // The text at `offset`, up to the next NUL; null when `offset` is not
  // below the table's size.
  virtual const char* get_string(uint32_t offset);
  // Reads the bytes unless they are in memory already; empties the index.
  virtual void load();
  // Empties the bytes and the index; 0, or -1 when refused.
  virtual int clear();
  // The offset of `text`, appended when absent; -1 when refused.
  virtual int64_t add_string(const char* text);
  // Only texts that the index holds are found; the index is built by the
  // first add_string, never here.
  virtual bool find_string(const char* text, uint32_t& offset) const;
  // Where indexing and appending start.
  virtual uint32_t get_first_offset() const { return 0; }

  size_t get_index_size() const { return index_.size(); }
  DATA_MAP& get_data() { return data_; }

private:
  void build_index();

  // Keyed byte-wise; a text that occurs twice is indexed at its last place.
  std::map<std::string, uint32_t> index_;
  DATA_MAP data_;
};

// The string table over an ELF section's contents. Changes are refused once
// the table is past "open".
class ELF_STRING_TABLE : public OF_STRING_TABLE_MANAGER, public OF_STATE_MACHINE {
public:
  explicit ELF_STRING_TABLE(ELF_SECTION* section);

  const char* get_name() const override;
  // Refused past "open"; the cleared table holds the empty text at 0.
  int clear() override;
  int64_t add_string(const char* text) override;

  ELF_SECTION* get_section() const { return section_; }

private:
  ELF_SECTION* section_;
};

}  // namespace OFE
