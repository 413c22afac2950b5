// Sections. A section read from a file is built from its header on first
// access; its contents stay in the file until they are first touched.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "objfile/elf_records.h"
#include "support/data_map.h"

namespace OFE {

class OBJECT_FILE;
class ELF_FILE;
class ELF_STRING_TABLE;
class ELF_SYMBOL_TABLE;

class OF_SECTION {
public:
  OF_SECTION(OBJECT_FILE* file, uint32_t index) : file_(file), index_(index) {}
  virtual ~OF_SECTION() = default;
  OF_SECTION(const OF_SECTION&) = delete;
  OF_SECTION& operator=(const OF_SECTION&) = delete;

  uint32_t get_index() const { return index_; }
  // The empty text when the section has no name.
  const char* get_name() const { return name_.c_str(); }
  void set_name(const char* name) { name_ = name ? name : ""; }
  OBJECT_FILE* get_owner_file() const { return file_; }
  // Address unit size in bits.
  unsigned get_unit_bits() const { return unit_bits_; }
  void set_unit_bits(unsigned bits) { unit_bits_ = bits; }

private:
  OBJECT_FILE* file_;
  uint32_t index_;
  std::string name_;
  unsigned unit_bits_ = 8;
};

// The ELF form: the header of the file's class, widened by the accessors.
class ELF_SECTION : public OF_SECTION {
public:
  ELF_SECTION(ELF_FILE* file, uint32_t index);
  ~ELF_SECTION() override;

  virtual uint32_t get_sh_name() const = 0;
  virtual uint32_t get_sh_type() const = 0;
  virtual uint64_t get_sh_flags() const = 0;
  virtual uint64_t get_sh_addr() const = 0;
  virtual uint64_t get_sh_offset() const = 0;
  virtual uint64_t get_sh_size() const = 0;
  virtual uint32_t get_sh_link() const = 0;
  virtual uint32_t get_sh_info() const = 0;
  virtual uint64_t get_sh_addralign() const = 0;
  virtual uint64_t get_sh_entsize() const = 0;
  virtual void set_sh_name(uint32_t value) = 0;
  virtual void set_sh_type(uint32_t value) = 0;
  virtual void set_sh_flags(uint64_t value) = 0;
  virtual void set_sh_addr(uint64_t value) = 0;
  virtual void set_sh_offset(uint64_t value) = 0;
  virtual void set_sh_size(uint64_t value) = 0;
  virtual void set_sh_link(uint32_t value) = 0;
  virtual void set_sh_info(uint32_t value) = 0;
  virtual void set_sh_addralign(uint64_t value) = 0;
  virtual void set_sh_entsize(uint64_t value) = 0;

  // Takes the header from its byte image in the file's byte order.
  virtual void read_header(const uint8_t* bytes, bool big_endian) = 0;

  ELF_FILE* get_file() const { return file_; }
  // The contents; mapped over the file when the section was read.
  DATA_MAP& get_contents() { return contents_; }
  // The contents seen as a string table; made on first request.
  ELF_STRING_TABLE* get_string_table();
  // The contents seen as a symbol table; null unless SHT_SYMTAB or SHT_DYNSYM.
  ELF_SYMBOL_TABLE* get_symbol_table();

protected:
  virtual std::unique_ptr<ELF_SYMBOL_TABLE> make_symbol_table() = 0;

private:
  ELF_FILE* file_;
  DATA_MAP contents_;
  std::unique_ptr<ELF_STRING_TABLE> string_table_;
  std::unique_ptr<ELF_SYMBOL_TABLE> symbol_table_;
};

template <int Bits> class ELF_SECTION_IMPL final : public ELF_SECTION {
public:
  using ELF_SECTION::ELF_SECTION;

  uint32_t get_sh_name() const override { return hdr_.sh_name; }
  uint32_t get_sh_type() const override { return hdr_.sh_type; }
  uint64_t get_sh_flags() const override { return hdr_.sh_flags; }
  uint64_t get_sh_addr() const override { return hdr_.sh_addr; }
  uint64_t get_sh_offset() const override { return hdr_.sh_offset; }
  uint64_t get_sh_size() const override { return hdr_.sh_size; }
  uint32_t get_sh_link() const override { return hdr_.sh_link; }
  uint32_t get_sh_info() const override { return hdr_.sh_info; }
  uint64_t get_sh_addralign() const override { return hdr_.sh_addralign; }
  uint64_t get_sh_entsize() const override { return hdr_.sh_entsize; }
  void set_sh_name(uint32_t value) override { hdr_.sh_name = value; }
  void set_sh_type(uint32_t value) override { hdr_.sh_type = value; }
  void set_sh_flags(uint64_t value) override { hdr_.sh_flags = static_cast<Xword>(value); }
  void set_sh_addr(uint64_t value) override { hdr_.sh_addr = static_cast<Addr>(value); }
  void set_sh_offset(uint64_t value) override { hdr_.sh_offset = static_cast<Addr>(value); }
  void set_sh_size(uint64_t value) override { hdr_.sh_size = static_cast<Xword>(value); }
  void set_sh_link(uint32_t value) override { hdr_.sh_link = value; }
  void set_sh_info(uint32_t value) override { hdr_.sh_info = value; }
  void set_sh_addralign(uint64_t value) override { hdr_.sh_addralign = static_cast<Xword>(value); }
  void set_sh_entsize(uint64_t value) override { hdr_.sh_entsize = static_cast<Xword>(value); }

  void read_header(const uint8_t* bytes, bool big_endian) override {
    hdr_ = decode_shdr<Bits>(bytes, big_endian);
  }

protected:
  std::unique_ptr<ELF_SYMBOL_TABLE> make_symbol_table() override;

private:
  using Addr = typename ELF_TRAITS<Bits>::Addr;
  using Xword = typename ELF_TRAITS<Bits>::Xword;
  ELF_SHDR<Bits> hdr_;
};

extern template class ELF_SECTION_IMPL<32>;
extern template class ELF_SECTION_IMPL<64>;

}  // namespace OFE
