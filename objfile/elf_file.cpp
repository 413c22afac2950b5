#include "objfile/elf_file.h"

#include "objfile/section_table.h"

namespace OFE {

int ELF_FILE::set_file_type(int kind) {
  if (require_at_most(OF_STATE_LOCKED) != 0) return -1;
  static const uint16_t kTypes[] = {0, 1, 2, 3, 0xE001, 4};
  if (kind < 1 || kind > 5) {
    set_e_type(0);
    record_status(OF_STATUS_REFUSED, "%s", "invalid file type");
    return -1;
  }
  return set_e_type(kTypes[kind]);
}

int ELF_FILE::set_data_encoding(int encoding) {
  if (require_at_most(OF_STATE_LOCKED) != 0) return -1;
  if (encoding != 1 && encoding != 2) {
    set_e_ident(EI_DATA, 0);
    record_status(OF_STATUS_REFUSED, "%s", "invalid endian setting");
    return -1;
  }
  return set_e_ident(EI_DATA, static_cast<uint8_t>(encoding));
}

int ELF_FILE::read_from_source(const OBJECT_FILE_SOURCE& source) {
  set_source(source);
  int64_t count = read_file_header();
  if (count < 0) return -1;
  if (get_section_table()->take_header_table(get_e_shoff(), get_e_shentsize(),
                                             static_cast<uint32_t>(count)) < 0)
    return -1;
  return get_segment_table()->take_header_table(get_e_phoff(), get_e_phentsize(), get_e_phnum());
}

ELF_SECTION_TABLE* ELF_FILE::get_elf_section_table() {
  return static_cast<ELF_SECTION_TABLE*>(get_section_table());
}

template <int Bits>
ELF_FILE_IMPL<Bits>::ELF_FILE_IMPL(const OBJECT_FILE_SOURCE& source) : ELF_FILE(source) {
  header_.e_machine = elf_machine_from_family(source.machine_family);
  header_.e_ident[EI_DATA] = 1;
  header_.e_type = 1;
  get_machine_db().init_object_attributes();
}

template <int Bits> int ELF_FILE_IMPL<Bits>::set_e_ident(unsigned index, uint8_t value) {
  if (index >= EI_NIDENT) return -1;
  header_.e_ident[index] = value;
  return 0;
}

template <int Bits> int ELF_FILE_IMPL<Bits>::set_e_type(uint16_t value) {
  header_.e_type = value;
  return 0;
}

template <int Bits> int64_t ELF_FILE_IMPL<Bits>::read_file_header() {
  using Traits = ELF_TRAITS<Bits>;
  if (require_at_most(OF_STATE_OPEN) != 0) return -1;
  DATA_MAP map;
  if (get_file_data(0, Traits::ehdr_size, map) != 0) return -1;
  uint8_t raw[Traits::ehdr_size];
  map.read_bytes(raw, sizeof raw);
  header_ = decode_ehdr<Bits>(raw, is_big_endian());

  if (header_.e_shnum != 0) return header_.e_shnum;
  if (header_.e_shoff == 0) return 0;
  // Extended numbering: the count is section 0's sh_size.
  DATA_MAP first;
  if (get_file_data(header_.e_shoff, header_.e_shentsize, first) != 0) return -1;
  uint8_t entry[Traits::shdr_size];
  first.read_bytes(entry, sizeof entry);
  return static_cast<uint32_t>(decode_shdr<Bits>(entry, is_big_endian()).sh_size);
}

template <int Bits> std::unique_ptr<OF_SECTION_TABLE> ELF_FILE_IMPL<Bits>::make_section_table() {
  return std::make_unique<ELF_SECTION_TABLE_IMPL<Bits>>(this);
}

template class ELF_FILE_IMPL<32>;
template class ELF_FILE_IMPL<64>;

}  // namespace OFE
