#include "objfile/symbol.h"

#include <cstring>

#include "DIAG/user_msg_api.h"
#include "objfile/object_file.h"
#include "objfile/symbol_table.h"

namespace OFE {

const char* symbol_kind_name(int kind) {
  static const char* const kWords[] = {"unknown", "undefined", "defined", "absolute", "common", "debug"};
  return kind >= 0 && kind <= 5 ? kWords[kind] : kWords[0];
}

const char* symbol_binding_name(int binding) {
  static const char* const kWords[] = {"unknown", "local", "global", "weak"};
  return binding >= 0 && binding <= 3 ? kWords[binding] : kWords[0];
}

const char* symbol_type_name(int type) {
  static const char* const kWords[] = {"none", "object", "function", "section", "file", "common", "tls"};
  return type >= 0 && type <= 6 ? kWords[type] : kWords[0];
}

void OF_SYMBOL::set_name(const char* name) {
  if (!name || !*name) {
    name_.reset();
    return;
  }
  size_t length = std::strlen(name);
  name_ = std::make_unique<char[]>(length + 1);
  std::memcpy(name_.get(), name, length + 1);
}

OF_SYMBOL* OF_SYMBOL::get_last_alias() const {
  const OF_SYMBOL* last = this;
  while (last->alias_ && last->alias_ != this) last = last->alias_;
  return const_cast<OF_SYMBOL*>(last);
}

void OF_SYMBOL::set_alias(OF_SYMBOL* symbol) {
  if (symbol == this) user_msg_die(user_msg_reporter(), "OF_SYMBOL::set_alias", "%s", "sym != this");
  if (!symbol) return;
  // Splice `symbol` in after this one, closing the ring when it is new.
  symbol->alias_ = alias_ ? alias_ : this;
  alias_ = symbol;
}

ELF_SYMBOL::ELF_SYMBOL(ELF_SYMBOL_TABLE* table, uint32_t index)
    : OF_SYMBOL(table, index), elf_table_(table) {}

ELF_SYMBOL::~ELF_SYMBOL() = default;

bool ELF_SYMBOL::is_section_relative_index() const {
  uint16_t shndx = get_st_shndx();
  return shndx == SHN_XINDEX || (shndx != SHN_UNDEF && shndx < SHN_LORESERVE);
}

uint32_t ELF_SYMBOL::get_section_id() const {
  uint16_t shndx = get_st_shndx();
  return shndx < SHN_XINDEX ? shndx : extended_index_;
}

int ELF_SYMBOL::get_kind() const {
  if (is_section_relative_index() || get_section_relative()) return OF_SYMBOL_KIND_DEFINED;
  int kind = OF_SYMBOL_KIND_UNKNOWN;
  if (elf_table_->get_owner()->get_machine_db().get_symbol_kind(*this, kind)) return kind;
  switch (get_st_shndx()) {
    case SHN_UNDEF: return OF_SYMBOL_KIND_UNDEFINED;
    case SHN_ABS: return OF_SYMBOL_KIND_ABSOLUTE;
    case SHN_COMMON: return OF_SYMBOL_KIND_COMMON;
    default: return OF_SYMBOL_KIND_UNKNOWN;
  }
}

int ELF_SYMBOL::get_binding() const {
  uint8_t info = get_st_info();
  return info < 0x30 ? (info >> 4) + 1 : OF_SYMBOL_BINDING_UNKNOWN;
}

int ELF_SYMBOL::get_type() const {
  uint8_t type = static_cast<uint8_t>((get_st_info() & 0xF) - 1);
  return type < 6 ? type + 1 : OF_SYMBOL_TYPE_NONE;
}

int ELF_SYMBOL::refuse(const char* format, int value) const {
  elf_table_->get_owner()->record_status(OF_STATUS_REFUSED, format, value);
  return -1;
}

void ELF_SYMBOL::changed() {
  if (elf_table_->get_state() == OF_STATE_LOCKED) elf_table_->mark_changed(get_index());
}

int ELF_SYMBOL::set_kind(int kind) {
  if (elf_table_->require_at_most(OF_STATE_LOCKED) != 0) return -1;
  uint16_t shndx = 0;
  switch (kind) {
    case OF_SYMBOL_KIND_UNDEFINED: shndx = SHN_UNDEF; break;
    case OF_SYMBOL_KIND_ABSOLUTE: shndx = SHN_ABS; break;
    case OF_SYMBOL_KIND_COMMON: shndx = SHN_COMMON; break;
    case OF_SYMBOL_KIND_DEFINED:
      elf_table_->get_owner()->record_status(
          OF_STATUS_REFUSED, "%s",
          "To mark a symbol as being defined, you must use set_section_id() to set its "
          "section reference");
      return -1;
    default: return refuse("Invalid symbol kind %x", kind);
  }
  set_st_shndx(shndx);
  extended_index_ = 0;
  changed();
  return 0;
}

int ELF_SYMBOL::set_binding(int binding) {
  if (binding < OF_SYMBOL_BINDING_LOCAL || binding > OF_SYMBOL_BINDING_WEAK)
    return refuse("Invalid symbol binding value 0x%x", binding);
  set_st_info(static_cast<uint8_t>(((binding - 1) << 4) | (get_st_info() & 0xF)));
  changed();
  return 0;
}

int ELF_SYMBOL::set_type(int type) {
  if (type < OF_SYMBOL_TYPE_NONE || type > OF_SYMBOL_TYPE_TLS)
    return refuse("Invalid symbol type value 0x%x", type);
  set_st_info(static_cast<uint8_t>((get_st_info() & 0xF0) | type));
  changed();
  return 0;
}

template <int Bits> void ELF_SYMBOL_IMPL<Bits>::read_entry(DATA_MAP& map, bool big_endian) {
  uint8_t raw[ELF_TRAITS<Bits>::sym_size];
  map.read_bytes(raw, sizeof raw);
  entry_ = decode_sym<Bits>(raw, big_endian);
}

template class ELF_SYMBOL_IMPL<32>;
template class ELF_SYMBOL_IMPL<64>;

}  // namespace OFE
