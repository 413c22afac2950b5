// Helpers for the object-file tests: objects compiled at test time, opened
// through the library, listed the way readelf lists them, and patched.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "objfile/elf_file.h"
#include "objfile/object_file.h"

namespace objtest {

// A compiler invocation that makes an object of one ELF flavour.
struct Target {
  std::string name;      // used in file names and messages
  std::string compiler;  // "gcc" or "clang"
  std::vector<std::string> flags;
  int elf_class;         // 1 or 2
  bool big_endian;
};

// Host gcc plus clang for i386, x86_64, mips, powerpc64 and armv7.
const std::vector<Target>& targets();

// C source that defines symbols of every binding, kind and type.
extern const char* const kVariedSource;

// Compiles `source` for `target` into `dir`; empty when the compiler is absent.
std::string compileFor(const std::string& dir, const Target& target, const std::string& source);

// One symbol as the test compares it.
struct SymbolRow {
  std::string name;
  int kind;
  int binding;
  int type;
  bool operator==(const SymbolRow&) const = default;
};
void PrintTo(const SymbolRow& row, std::ostream* out);

// The ".symtab" rows that `readelf -sW` prints, in its words mapped to the
// library's numbers.
std::vector<SymbolRow> readelfSymbols(const std::string& path);

// An object opened from a file (the whole file, or `size` bytes at `offset`).
class OpenedObject {
public:
  explicit OpenedObject(const std::string& path, long offset = 0, uint64_t size = 0);
  ~OpenedObject();
  OFE::OBJECT_FILE* get() const { return object_.get(); }
  OFE::ELF_FILE* elf() const { return static_cast<OFE::ELF_FILE*>(object_.get()); }
  STREAM_HANDLE* stream() const { return stream_; }

private:
  STREAM_HANDLE* stream_ = nullptr;
  std::unique_ptr<OFE::OBJECT_FILE> object_;
};

// Walks the object's symbol table as the archiver does.
std::vector<SymbolRow> librarySymbols(OFE::OBJECT_FILE* object);

// A byte image of an ELF file with field access in its own class and order.
class ElfImage {
public:
  explicit ElfImage(std::string bytes);
  std::string& bytes() { return bytes_; }
  bool is64() const { return is64_; }

  uint64_t get(size_t offset, unsigned width) const;
  void put(size_t offset, unsigned width, uint64_t value);

  // File header fields by name: "e_shoff", "e_shnum", "e_shentsize", "e_shstrndx".
  uint64_t header(const std::string& field) const;
  void setHeader(const std::string& field, uint64_t value);
  // Offset of section header `index` and of one of its fields by name.
  size_t sectionHeaderOffset(uint32_t index) const;
  uint64_t section(uint32_t index, const std::string& field) const;
  void setSection(uint32_t index, const std::string& field, uint64_t value);
  // Index of the section with that name (through e_shstrndx), or -1.
  long findSection(const std::string& name) const;
  // Symbol entry fields of the ".symtab": "st_info", "st_shndx", "st_name".
  size_t symbolOffset(uint32_t index) const;
  uint64_t symbol(uint32_t index, const std::string& field) const;
  void setSymbol(uint32_t index, const std::string& field, uint64_t value);
  uint32_t symbolCount() const;

private:
  std::pair<size_t, unsigned> headerField(const std::string& field) const;
  std::pair<size_t, unsigned> sectionField(const std::string& field) const;
  std::pair<size_t, unsigned> symbolField(const std::string& field) const;

  std::string bytes_;
  bool is64_;
  bool big_;
};

}  // namespace objtest
