// Object files in the tests: their bytes patched field by field, in the
// file's own class and byte order, and their symbols as readelf lists them.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace testutil {

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
  // Section header fields by name ("sh_type", "sh_size", ...).
  uint64_t section(uint32_t index, const std::string& field) const;
  void setSection(uint32_t index, const std::string& field, uint64_t value);
  // Index of the section with that name (through e_shstrndx), or -1.
  long findSection(const std::string& name) const;
  // Fields of ".symtab" entries: "st_name", "st_info", "st_shndx".
  size_t symbolOffset(uint32_t index) const;
  uint64_t symbol(uint32_t index, const std::string& field) const;
  void setSymbol(uint32_t index, const std::string& field, uint64_t value);
  // Index of the ".symtab" entry called `name`; fails the test if none.
  uint32_t symbolIndex(const std::string& name) const;

private:
  std::pair<size_t, unsigned> headerField(const std::string& field) const;
  std::pair<size_t, unsigned> sectionField(const std::string& field) const;
  std::pair<size_t, unsigned> symbolField(const std::string& field) const;

  std::string bytes_;
  bool is64_;
  bool big_;
};

// One ".symtab" line of `readelf -sW`, in readelf's words.
struct ElfSymbol {
  std::string file;  // the path after "File: ", when several files were given
  std::string type;  // NOTYPE, OBJECT, FUNC, ...
  std::string bind;  // LOCAL, GLOBAL, WEAK, UNIQUE, "<OS specific>: 11", ...
  std::string ndx;   // UND, ABS, COM or a section number
  std::string name;
};

// Every ".symtab" entry of the given files, in file and table order.
std::vector<ElfSymbol> readelfSymbols(const std::vector<std::string>& files,
                                      const std::string& cwd = "");

}  // namespace testutil
