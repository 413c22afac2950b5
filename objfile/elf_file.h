// The ELF object: its file header, held in host byte order, and access to
// its sections. One template instance per ELF class.
#pragma once

#include <cstdint>
#include <memory>

#include "objfile/elf_records.h"
#include "objfile/object_file.h"

namespace OFE {

class ELF_SECTION_TABLE;

class ELF_FILE : public OBJECT_FILE {
public:
  using OBJECT_FILE::OBJECT_FILE;

  // Header accessors. Every setter except those of e_ident and e_type needs
  // the object at most "locked"; setters give 0, or -1 when refused.
  virtual uint8_t get_e_ident(unsigned index) const = 0;
  virtual int set_e_ident(unsigned index, uint8_t value) = 0;
  virtual uint16_t get_e_type() const = 0;
  virtual int set_e_type(uint16_t value) = 0;
  virtual uint16_t get_e_machine() const = 0;
  virtual int set_e_machine(uint16_t value) = 0;
  virtual uint32_t get_e_version() const = 0;
  virtual int set_e_version(uint32_t value) = 0;
  virtual uint64_t get_e_entry() const = 0;
  virtual int set_e_entry(uint64_t value) = 0;
  virtual uint64_t get_e_phoff() const = 0;
  virtual int set_e_phoff(uint64_t value) = 0;
  virtual uint64_t get_e_shoff() const = 0;
  virtual int set_e_shoff(uint64_t value) = 0;
  virtual uint32_t get_e_flags() const = 0;
  virtual int set_e_flags(uint32_t bits) = 0;    // ORs the bits in
  virtual int clear_e_flags(uint32_t bits) = 0;  // clears the bits
  virtual uint16_t get_e_ehsize() const = 0;
  virtual int set_e_ehsize(uint16_t value) = 0;
  virtual uint16_t get_e_phentsize() const = 0;
  virtual int set_e_phentsize(uint16_t value) = 0;
  virtual uint16_t get_e_phnum() const = 0;
  virtual int set_e_phnum(uint16_t value) = 0;
  virtual uint16_t get_e_shentsize() const = 0;
  virtual int set_e_shentsize(uint16_t value) = 0;
  virtual uint16_t get_e_shnum() const = 0;
  virtual int set_e_shnum(uint16_t value) = 0;
  virtual uint16_t get_e_shstrndx() const = 0;
  virtual int set_e_shstrndx(uint16_t value) = 0;
  // Reads the header at the object's start; the section count (from
  // section 0 under extended numbering), or -1.
  virtual int64_t read_file_header() = 0;

  // Kinds 1 to 5: relocatable, executable, shared, 0xE001, core.
  int set_file_type(int kind);
  // 1 little-endian, 2 big-endian.
  int set_data_encoding(int encoding);

  int read_from_source(const OBJECT_FILE_SOURCE& source) override;

  ELF_SECTION_TABLE* get_elf_section_table();
  // 1 for ELF32, 2 for ELF64.
  int get_elf_class() const { return get_source().elf_class == 1 ? 1 : 2; }
  // Whether the file's headers and entries are big-endian.
  bool is_big_endian() const { return get_source().encoding != 1; }
};

template <int Bits> class ELF_FILE_IMPL final : public ELF_FILE {
public:
  explicit ELF_FILE_IMPL(const OBJECT_FILE_SOURCE& source);

  uint8_t get_e_ident(unsigned index) const override {
    return index < EI_NIDENT ? header_.e_ident[index] : 0;
  }
  int set_e_ident(unsigned index, uint8_t value) override;
  uint16_t get_e_type() const override { return header_.e_type; }
  int set_e_type(uint16_t value) override;
  uint16_t get_e_machine() const override { return header_.e_machine; }
  int set_e_machine(uint16_t value) override { return set(header_.e_machine, value); }
  uint32_t get_e_version() const override { return header_.e_version; }
  int set_e_version(uint32_t value) override { return set(header_.e_version, value); }
  uint64_t get_e_entry() const override { return header_.e_entry; }
  int set_e_entry(uint64_t value) override { return set(header_.e_entry, value); }
  uint64_t get_e_phoff() const override { return header_.e_phoff; }
  int set_e_phoff(uint64_t value) override { return set(header_.e_phoff, value); }
  uint64_t get_e_shoff() const override { return header_.e_shoff; }
  int set_e_shoff(uint64_t value) override { return set(header_.e_shoff, value); }
  uint32_t get_e_flags() const override { return header_.e_flags; }
  int set_e_flags(uint32_t bits) override { return set(header_.e_flags, header_.e_flags | bits); }
  int clear_e_flags(uint32_t bits) override { return set(header_.e_flags, header_.e_flags & ~bits); }
  uint16_t get_e_ehsize() const override { return header_.e_ehsize; }
  int set_e_ehsize(uint16_t value) override { return set(header_.e_ehsize, value); }
  uint16_t get_e_phentsize() const override { return header_.e_phentsize; }
  int set_e_phentsize(uint16_t value) override { return set(header_.e_phentsize, value); }
  uint16_t get_e_phnum() const override { return header_.e_phnum; }
  int set_e_phnum(uint16_t value) override { return set(header_.e_phnum, value); }
  uint16_t get_e_shentsize() const override { return header_.e_shentsize; }
  int set_e_shentsize(uint16_t value) override { return set(header_.e_shentsize, value); }
  uint16_t get_e_shnum() const override { return header_.e_shnum; }
  int set_e_shnum(uint16_t value) override { return set(header_.e_shnum, value); }
  uint16_t get_e_shstrndx() const override { return header_.e_shstrndx; }
  int set_e_shstrndx(uint16_t value) override { return set(header_.e_shstrndx, value); }
  int64_t read_file_header() override;

protected:
  std::unique_ptr<OF_SECTION_TABLE> make_section_table() override;

private:
  template <typename Field, typename Value> int set(Field& field, Value value) {
    if (require_at_most(OF_STATE_LOCKED) != 0) return -1;
    field = static_cast<Field>(value);
    return 0;
  }

  ELF_EHDR<Bits> header_;
};

extern template class ELF_FILE_IMPL<32>;
extern template class ELF_FILE_IMPL<64>;

}  // namespace OFE
