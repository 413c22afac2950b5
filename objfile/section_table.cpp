#include "objfile/section_table.h"

#include <algorithm>
#include <cstring>

#include "objfile/elf_file.h"
#include "objfile/string_table.h"

namespace OFE {

namespace {

// Set in the file's flags word when the symbol-versioning rows are wanted.
constexpr uint32_t kSymbolVersionsFlag = 0x1;

}  // namespace

ELF_SECTION_TABLE::ELF_SECTION_TABLE(ELF_FILE* file) : OF_SECTION_TABLE(file), file_(file) {}

ELF_SECTION_TABLE::~ELF_SECTION_TABLE() = default;

int ELF_SECTION_TABLE::take_header_table(uint64_t offset, uint32_t entry_size, uint32_t count) {
  count_ = file_count_ = entry_size_ = 0;
  offset_ = 0;
  headers_.clear();
  dense_known_ = false;
  dense_ = file_present_ = 0;
  dense_slots_.clear();
  sparse_slots_.clear();
  if (count == 0) return 0;

  if (file_->get_file_data(offset, uint64_t{count} * entry_size, headers_) != 0) return -1;
  offset_ = offset;
  entry_size_ = entry_size;
  count_ = file_count_ = count;
  return 0;
}

// Slots are laid out on first use, when the header bytes present are known:
// the list grows to the entries that can hold real bytes, not to the count.
uint32_t ELF_SECTION_TABLE::dense_limit() {
  if (!dense_known_) {
    dense_known_ = true;
    uint64_t present = 0;
    if (file_count_ != 0 && entry_size_ != 0) {
      headers_.load();
      present = (headers_.held() + entry_size_ - 1) / entry_size_;
    }
    file_present_ = static_cast<uint32_t>(std::min<uint64_t>(present, file_count_));
    // Sections added before the table was first used follow the file's.
    dense_ = file_present_ == file_count_ ? count_ : file_present_;
    dense_slots_.resize(dense_);
  }
  return dense_;
}

std::unique_ptr<ELF_SECTION>& ELF_SECTION_TABLE::slot(uint32_t index) {
  if (index < dense_limit()) return dense_slots_[index];
  return sparse_slots_[index];
}

ELF_SECTION* ELF_SECTION_TABLE::get_section(uint32_t index) {
  if (index >= count_) return nullptr;
  std::unique_ptr<ELF_SECTION>& s = slot(index);
  if (s) return s.get();
  if (index >= file_count_ || !file_->get_source().stream) return nullptr;
  return build_section(index);
}

ELF_SECTION* ELF_SECTION_TABLE::build_section(uint32_t index) {
  // Stored before it is read, so that a section that names itself (the
  // name table) finds itself instead of being built twice.
  ELF_SECTION* section = (slot(index) = make_section(index)).get();

  uint8_t raw[ELF_TRAITS<64>::shdr_size];
  headers_.set_cursor(uint64_t{index} * entry_size_);
  headers_.read_bytes(raw, header_size());
  section->read_header(raw, file_->is_big_endian());

  uint32_t type = section->get_sh_type();
  if (type != SHT_NULL && type != SHT_NOBITS)
    file_->get_file_data(section->get_sh_offset(), section->get_sh_size(), section->get_contents());
  int order = file_->get_machine_db().get_section_byte_order(*section);
  section->get_contents().set_swapped(order == 2);

  if (ELF_STRING_TABLE* names = existing_name_table()) {
    const char* name = names->get_string(section->get_sh_name());
    section->set_name(name ? name : "");
  }
  settle_unit_bits(*section);
  return section;
}

ELF_STRING_TABLE* ELF_SECTION_TABLE::existing_name_table() {
  uint32_t index = file_->get_e_shstrndx();
  if (index == SHN_XINDEX) {
    ELF_SECTION* first = get_section(0);
    index = first ? first->get_sh_link() : 0;
  }
  if (index == 0) return nullptr;
  ELF_SECTION* names = get_section(index);
  return names ? names->get_string_table() : nullptr;
}

ELF_STRING_TABLE* ELF_SECTION_TABLE::get_section_name_table() {
  uint32_t index = file_->get_e_shstrndx();
  ELF_SECTION* first = nullptr;
  if (index == SHN_XINDEX) {
    first = get_section(0);
    index = first ? first->get_sh_link() : 0;
  }
  ELF_SECTION* names = nullptr;
  if (index == 0) {
    names = add_section(".shstrtab");
    if (!names) return nullptr;
    if (names->get_index() < SHN_LORESERVE) {
      file_->set_e_shstrndx(static_cast<uint16_t>(names->get_index()));
    } else {
      file_->set_e_shstrndx(SHN_XINDEX);
      get_section(0)->set_sh_link(names->get_index());
    }
  } else {
    names = get_section(index);
    if (!names) return nullptr;
  }
  file_->require_elf_interface();
  return names->get_string_table();
}

const STANDARD_SECTION* ELF_SECTION_TABLE::lookup_standard_section(const std::string& name) {
  static const STANDARD_SECTION_TABLE plain(false);
  static const STANDARD_SECTION_TABLE with_versions(true);
  return (file_->get_flags() & kSymbolVersionsFlag ? with_versions : plain).lookup(name);
}

void ELF_SECTION_TABLE::settle_unit_bits(ELF_SECTION& section) {
  const OF_MACHINE_DB& db = file_->get_machine_db();
  unsigned bits = 0;
  if (db.is_section_in_bytes(section)) {
    bits = 8;
  } else {
    const STANDARD_SECTION* row = lookup_standard_section(section.get_name());
    bits = row && row->unit_bits ? row->unit_bits : db.get_default_unit_bits();
  }
  section.set_unit_bits(bits);
}

ELF_SECTION* ELF_SECTION_TABLE::find_section_if(const std::function<bool(ELF_SECTION&)>& match,
                                                uint32_t first_index) {
  if (first_index >= count_) return nullptr;
  dense_limit();
  const uint32_t present = file_present_;
  for (uint32_t i = first_index; i < present; ++i) {
    ELF_SECTION* s = get_section(i);
    if (s && match(*s)) return s;
  }
  // Entries past the bytes present: one stands for all of them.
  if (present < file_count_ && first_index < file_count_) {
    ELF_SECTION* s = get_section(std::max(first_index, present));
    if (s && match(*s)) return s;
  }
  for (uint64_t i = std::max(first_index, file_count_); i < count_; ++i) {
    ELF_SECTION* s = get_section(static_cast<uint32_t>(i));
    if (s && match(*s)) return s;
  }
  return nullptr;
}

ELF_SECTION* ELF_SECTION_TABLE::find_section(const char* name, uint32_t first_index) {
  const char* wanted = name ? name : "";
  auto matches = [wanted](ELF_SECTION& s) { return std::strcmp(s.get_name(), wanted) == 0; };
  if (first_index >= count_) return nullptr;
  // Sections not built yet are judged by the name their header points at,
  // and only the one that matches is built: a search costs one name
  // comparison per section, not the building of every section.
  ELF_STRING_TABLE* names = file_->get_source().stream ? existing_name_table() : nullptr;
  if (!names) return find_section_if(matches, first_index);
  const uint32_t present = std::min(dense_limit(), file_present_);
  uint32_t i = first_index;
  for (; i < present; ++i) {
    if (std::unique_ptr<ELF_SECTION>& built = slot(i)) {
      if (matches(*built)) return built.get();
      continue;
    }
    uint8_t raw[4];
    headers_.set_cursor(uint64_t{i} * entry_size_);
    headers_.read_bytes(raw, sizeof raw);
    uint32_t sh_name = file_->is_big_endian()
        ? (uint32_t{raw[0]} << 24) | (uint32_t{raw[1]} << 16) | (uint32_t{raw[2]} << 8) | raw[3]
        : (uint32_t{raw[3]} << 24) | (uint32_t{raw[2]} << 16) | (uint32_t{raw[1]} << 8) | raw[0];
    const char* text = names->get_string(sh_name);
    if (std::strcmp(text ? text : "", wanted) == 0) {
      ELF_SECTION* section = get_section(i);
      if (section && matches(*section)) return section;
    }
  }
  return find_section_if(matches, i);
}

ELF_SECTION* ELF_SECTION_TABLE::append(std::unique_ptr<ELF_SECTION> section) {
  const auto index = static_cast<uint32_t>(count_);
  if (index == dense_limit()) {
    dense_slots_.push_back(std::move(section));
    ++dense_;
  } else {
    sparse_slots_[index] = std::move(section);
  }
  ++count_;
  return get_section(index);
}

ELF_SECTION* ELF_SECTION_TABLE::add_section(const char* name) {
  if (file_->require_at_most(OF_STATE_OPEN) != 0) return nullptr;
  // The new section takes index count, which must fit in 32 bits; the
  // count itself may then reach 2^32.
  if (count_ > UINT32_MAX) return nullptr;
  if (count_ == 0) append(make_section(0));

  std::unique_ptr<ELF_SECTION> made = make_section(static_cast<uint32_t>(count_));
  made->set_name(name);
  ELF_SECTION* section = append(std::move(made));
  settle_unit_bits(*section);
  if (const STANDARD_SECTION* row = lookup_standard_section(section->get_name())) {
    section->set_sh_type(row->type);
    section->set_sh_flags(row->flags);
    section->set_sh_entsize(file_->get_elf_class() == 1 ? row->entsize32 : row->entsize64);
  }
  return section;
}

template <int Bits>
std::unique_ptr<ELF_SECTION> ELF_SECTION_TABLE_IMPL<Bits>::make_section(uint32_t index) {
  return std::make_unique<ELF_SECTION_IMPL<Bits>>(get_file(), index);
}

template class ELF_SECTION_TABLE_IMPL<32>;
template class ELF_SECTION_TABLE_IMPL<64>;

}  // namespace OFE
