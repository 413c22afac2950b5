#include "objfile/string_table.h"

#include <algorithm>
#include <cstring>

#include "objfile/object_file.h"
#include "objfile/section.h"

namespace OFE {

const char* OF_STRING_TABLE_MANAGER::get_string(uint32_t offset) {
  if (offset >= data_.size()) return nullptr;
  const uint8_t* bytes = data_.data();
  // Bytes past those held read as zeros: the empty text.
  if (!bytes || offset >= data_.held()) return "";
  return reinterpret_cast<const char*>(bytes) + offset;
}

void OF_STRING_TABLE_MANAGER::load() {
  data_.load();
  index_.clear();
}

int OF_STRING_TABLE_MANAGER::clear() {
  data_.clear();
  index_.clear();
  return 0;
}

void OF_STRING_TABLE_MANAGER::build_index() {
  const uint8_t* bytes = data_.data();
  const uint64_t held = bytes ? data_.held() : 0;
  const uint64_t size = data_.size();
  uint64_t pos = get_first_offset();
  while (pos < size) {
    if (pos >= held) {
      // The rest is zeros: one empty text per byte, the last one wins.
      index_[std::string()] = static_cast<uint32_t>(size - 1);
      break;
    }
    const char* text = reinterpret_cast<const char*>(bytes) + pos;
    size_t length = strnlen(text, held - pos);
    index_[std::string(text, length)] = static_cast<uint32_t>(pos);
    pos += length + 1;
  }
}

int64_t OF_STRING_TABLE_MANAGER::add_string(const char* text) {
  if (!text) text = "";
  if (data_.size() != 0 && index_.empty()) build_index();
  auto found = index_.find(text);
  if (found != index_.end()) return found->second;

  uint64_t offset = std::max<uint64_t>(data_.size(), get_first_offset());
  size_t length = std::strlen(text);
  if (offset + length + 1 > UINT32_MAX) return -1;
  data_.set_cursor(offset);
  data_.write_text(text);
  index_.emplace(text, static_cast<uint32_t>(offset));
  return static_cast<int64_t>(offset);
}

bool OF_STRING_TABLE_MANAGER::find_string(const char* text, uint32_t& offset) const {
  if (data_.size() != 0 && index_.empty()) return false;
  auto found = index_.find(text ? text : "");
  if (found == index_.end()) return false;
  offset = found->second;
  return true;
}

ELF_STRING_TABLE::ELF_STRING_TABLE(ELF_SECTION* section)
    : OF_STATE_MACHINE(section->get_owner_file()), section_(section) {
  get_data().assign(section->get_contents());
}

const char* ELF_STRING_TABLE::get_name() const { return section_->get_name(); }

int ELF_STRING_TABLE::clear() {
  if (require_at_most(OF_STATE_OPEN) != 0) return -1;
  OF_STRING_TABLE_MANAGER::clear();
  OF_STRING_TABLE_MANAGER::add_string("");
  return 0;
}

int64_t ELF_STRING_TABLE::add_string(const char* text) {
  if (require_at_most(OF_STATE_OPEN) != 0) return -1;
  return OF_STRING_TABLE_MANAGER::add_string(text);
}

}  // namespace OFE
