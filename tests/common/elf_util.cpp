#include "common/elf_util.h"

#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

#include "common/test_util.h"

namespace testutil {

ElfImage::ElfImage(std::string bytes) : bytes_(std::move(bytes)) {
  if (bytes_.size() < 64) throw std::runtime_error("not an ELF image");
  is64_ = bytes_[4] == 2;
  big_ = bytes_[5] == 2;
}

uint64_t ElfImage::get(size_t offset, unsigned width) const {
  uint64_t value = 0;
  for (unsigned i = 0; i < width; ++i) {
    uint8_t b = static_cast<uint8_t>(bytes_.at(offset + i));
    value |= uint64_t{b} << (big_ ? 8 * (width - 1 - i) : 8 * i);
  }
  return value;
}

void ElfImage::put(size_t offset, unsigned width, uint64_t value) {
  for (unsigned i = 0; i < width; ++i)
    bytes_.at(offset + i) = static_cast<char>(value >> (big_ ? 8 * (width - 1 - i) : 8 * i));
}

std::pair<size_t, unsigned> ElfImage::headerField(const std::string& field) const {
  if (field == "e_shoff") return {is64_ ? 40 : 32, is64_ ? 8 : 4};
  const size_t base = is64_ ? 58 : 46;  // e_shentsize
  if (field == "e_shentsize") return {base, 2};
  if (field == "e_shnum") return {base + 2, 2};
  if (field == "e_shstrndx") return {base + 4, 2};
  throw std::runtime_error("unknown header field " + field);
}

uint64_t ElfImage::header(const std::string& field) const {
  auto [offset, width] = headerField(field);
  return get(offset, width);
}

void ElfImage::setHeader(const std::string& field, uint64_t value) {
  auto [offset, width] = headerField(field);
  put(offset, width, value);
}

std::pair<size_t, unsigned> ElfImage::sectionField(const std::string& field) const {
  static const char* const kNames[] = {"sh_name", "sh_type", "sh_flags", "sh_addr", "sh_offset",
                                       "sh_size", "sh_link", "sh_info", "sh_addralign", "sh_entsize"};
  static const unsigned kWidths64[] = {4, 4, 8, 8, 8, 8, 4, 4, 8, 8};
  size_t offset = 0;
  for (int i = 0; i < 10; ++i) {
    unsigned width = is64_ ? kWidths64[i] : 4;
    if (field == kNames[i]) return {offset, width};
    offset += width;
  }
  throw std::runtime_error("unknown section field " + field);
}

uint64_t ElfImage::section(uint32_t index, const std::string& field) const {
  auto [offset, width] = sectionField(field);
  return get(header("e_shoff") + size_t{index} * header("e_shentsize") + offset, width);
}

void ElfImage::setSection(uint32_t index, const std::string& field, uint64_t value) {
  auto [offset, width] = sectionField(field);
  put(header("e_shoff") + size_t{index} * header("e_shentsize") + offset, width, value);
}

long ElfImage::findSection(const std::string& name) const {
  const uint64_t names = section(static_cast<uint32_t>(header("e_shstrndx")), "sh_offset");
  for (uint32_t i = 0; i < header("e_shnum"); ++i)
    if (bytes_.c_str() + names + section(i, "sh_name") == name) return i;
  return -1;
}

std::pair<size_t, unsigned> ElfImage::symbolField(const std::string& field) const {
  if (field == "st_name") return {0, 4};
  if (field == "st_info") return {is64_ ? 4u : 12u, 1};
  if (field == "st_shndx") return {is64_ ? 6u : 14u, 2};
  throw std::runtime_error("unknown symbol field " + field);
}

size_t ElfImage::symbolOffset(uint32_t index) const {
  long symtab = findSection(".symtab");
  if (symtab < 0) throw std::runtime_error("no .symtab");
  uint32_t s = static_cast<uint32_t>(symtab);
  return section(s, "sh_offset") + size_t{index} * section(s, "sh_entsize");
}

uint64_t ElfImage::symbol(uint32_t index, const std::string& field) const {
  auto [offset, width] = symbolField(field);
  return get(symbolOffset(index) + offset, width);
}

void ElfImage::setSymbol(uint32_t index, const std::string& field, uint64_t value) {
  auto [offset, width] = symbolField(field);
  put(symbolOffset(index) + offset, width, value);
}

uint32_t ElfImage::symbolIndex(const std::string& name) const {
  uint32_t s = static_cast<uint32_t>(findSection(".symtab"));
  uint64_t strings = section(static_cast<uint32_t>(section(s, "sh_link")), "sh_offset");
  uint64_t count = section(s, "sh_size") / section(s, "sh_entsize");
  for (uint32_t i = 0; i < count; ++i)
    if (bytes_.c_str() + strings + symbol(i, "st_name") == name) return i;
  ADD_FAILURE() << "no symbol " << name;
  return 0;
}

std::vector<ElfSymbol> readelfSymbols(const std::vector<std::string>& files,
                                      const std::string& cwd) {
  std::vector<std::string> argv{"readelf", "-sW"};
  argv.insert(argv.end(), files.begin(), files.end());
  RunResult r = run(argv, cwd);
  EXPECT_EQ(r.status, 0) << r.err;
  std::vector<ElfSymbol> out;
  std::istringstream lines(r.out);
  std::string line, file = files.size() == 1 ? files[0] : "";
  bool inSymtab = false;
  while (std::getline(lines, line)) {
    if (line.rfind("File: ", 0) == 0) {
      file = line.substr(6);
      continue;
    }
    if (line.rfind("Symbol table '", 0) == 0) {
      inSymtab = line.rfind("Symbol table '.symtab'", 0) == 0;
      continue;
    }
    if (!inSymtab) continue;
    std::istringstream in(line);
    std::vector<std::string> t;
    for (std::string w; in >> w;) t.push_back(w);
    // A value readelf has no word for reads "<OS specific>: 11" or
    // "<unknown>: 12" (Type and Bind columns): make it one token.
    for (size_t col = 3; col <= 4 && col < t.size(); ++col) {
      if (t[col].front() != '<') continue;
      size_t end = col;
      while (end + 1 < t.size() && t[end].find(">:") == std::string::npos) ++end;
      if (end + 1 < t.size()) ++end;  // the number
      for (size_t k = col + 1; k <= end; ++k) t[col] += " " + t[k];
      t.erase(t.begin() + col + 1, t.begin() + end + 1);
    }
    if (t.size() < 7 || t[0].back() != ':' || t[0] == "Num:") continue;
    // Num Value Size Type Bind Vis [target notes in brackets] Ndx [Name]
    size_t i = 6;
    if (t[i].front() == '[') {
      while (i < t.size() && t[i].back() != ']') ++i;
      ++i;
    }
    if (i >= t.size()) continue;
    out.push_back({file, t[3], t[4], t[i], i + 1 < t.size() ? t[i + 1] : ""});
  }
  return out;
}

}  // namespace testutil
