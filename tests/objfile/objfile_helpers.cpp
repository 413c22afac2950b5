#include "objfile_helpers.h"

#include <cctype>
#include <cstdio>
#include <ostream>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

#include "common/test_util.h"

namespace objtest {

const std::vector<Target>& targets() {
  static const std::vector<Target> list = {
      {"host-gcc", "gcc", {"-fcommon"}, 2, false},
      {"i386", "clang", {"--target=i386-linux-gnu", "-fcommon"}, 1, false},
      {"x86_64", "clang", {"--target=x86_64-linux-gnu", "-fcommon"}, 2, false},
      {"mips", "clang", {"--target=mips-linux-gnu", "-fcommon"}, 1, true},
      {"powerpc64", "clang", {"--target=powerpc64-linux-gnu", "-fcommon"}, 2, true},
      {"armv7", "clang", {"--target=armv7-linux-gnueabihf", "-fcommon"}, 1, false},
  };
  return list;
}

const char* const kVariedSource = R"(
int defined_global = 1;
static int local_counter = 2;
int common_block;
extern int undefined_ref;
extern int weak_undefined __attribute__((weak));
__thread int thread_local_value;
__attribute__((weak)) int weak_function(void) { return undefined_ref + local_counter; }
static int local_function(int x) { return x * 3 + local_counter++; }
int global_function(int x) {
  return local_function(x) + defined_global + common_block + thread_local_value +
         (&weak_undefined != 0);
}
__asm__(".globl absolute_value\n.equ absolute_value, 0x1234");
)";

std::string compileFor(const std::string& dir, const Target& target, const std::string& source) {
  if (!testutil::haveTool(target.compiler)) return "";
  return testutil::compileC(dir, target.name, source, target.compiler, target.flags);
}

namespace {

int kindOf(const std::string& ndx) {
  if (ndx == "UND") return OFE::OF_SYMBOL_KIND_UNDEFINED;
  if (ndx == "ABS") return OFE::OF_SYMBOL_KIND_ABSOLUTE;
  if (ndx == "COM") return OFE::OF_SYMBOL_KIND_COMMON;
  if (!ndx.empty() && ndx.find_first_not_of("0123456789") == std::string::npos)
    return OFE::OF_SYMBOL_KIND_DEFINED;
  return OFE::OF_SYMBOL_KIND_UNKNOWN;
}

int bindingOf(const std::string& bind) {
  if (bind == "LOCAL") return OFE::OF_SYMBOL_BINDING_LOCAL;
  if (bind == "GLOBAL") return OFE::OF_SYMBOL_BINDING_GLOBAL;
  if (bind == "WEAK") return OFE::OF_SYMBOL_BINDING_WEAK;
  return OFE::OF_SYMBOL_BINDING_UNKNOWN;
}

int typeOf(const std::string& type) {
  static const char* const kWords[] = {"NOTYPE", "OBJECT", "FUNC", "SECTION", "FILE", "COMMON", "TLS"};
  for (int i = 0; i < 7; ++i)
    if (type == kWords[i]) return i;
  return OFE::OF_SYMBOL_TYPE_NONE;
}

}  // namespace

void PrintTo(const SymbolRow& row, std::ostream* out) {
  *out << "{\"" << row.name << "\" kind " << row.kind << " binding " << row.binding << " type "
       << row.type << "}";
}

std::vector<SymbolRow> readelfSymbols(const std::string& path) {
  testutil::RunResult r = testutil::run({"readelf", "-sW", path});
  EXPECT_EQ(r.status, 0) << r.err;
  std::vector<SymbolRow> rows;
  std::istringstream lines(r.out);
  std::string line;
  bool inSymtab = false;
  while (std::getline(lines, line)) {
    if (line.rfind("Symbol table '", 0) == 0) {
      inSymtab = line.find("'.symtab'") != std::string::npos;
      continue;
    }
    std::istringstream fields(line);
    std::string num, value, size, type, bind, vis, ndx, name;
    if (!inSymtab || !(fields >> num >> value >> size >> type >> bind >> vis >> ndx)) continue;
    if (num.size() < 2 || num.back() != ':' || !std::isdigit(static_cast<unsigned char>(num[0])))
      continue;
    fields >> name;
    // readelf shows a section symbol under its section's name; the entry
    // itself has none.
    if (type == "SECTION") name.clear();
    rows.push_back({name, kindOf(ndx), bindingOf(bind), typeOf(type)});
  }
  return rows;
}

OpenedObject::OpenedObject(const std::string& path, long offset, uint64_t size) {
  stream_ = stream_open(path.c_str(), "rb");
  if (!stream_) throw std::runtime_error("cannot open " + path);
  std::fseek(stream_->stream, offset, SEEK_SET);
  object_.reset(OFE::create_object_file(stream_, size, 0, nullptr));
}

OpenedObject::~OpenedObject() {
  object_.reset();
  stream_close(stream_);
}

std::vector<SymbolRow> librarySymbols(OFE::OBJECT_FILE* object) {
  std::vector<SymbolRow> rows;
  OFE::OF_SYMBOL_TABLE* table = object->get_symbol_table();
  if (!table) return rows;
  for (uint32_t i = 0; i < table->get_num_symbols(); i = table->get_next_index(i)) {
    OFE::OF_SYMBOL* s = table->get_symbol(i);
    int type = static_cast<OFE::ELF_SYMBOL*>(s)->get_type();
    std::string name = type == OFE::OF_SYMBOL_TYPE_SECTION ? "" : s->get_name();
    rows.push_back({name, s->get_kind(), s->get_binding(), type});
  }
  return rows;
}

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
  for (unsigned i = 0; i < width; ++i) {
    unsigned shift = big_ ? 8 * (width - 1 - i) : 8 * i;
    bytes_.at(offset + i) = static_cast<char>(value >> shift);
  }
}

std::pair<size_t, unsigned> ElfImage::headerField(const std::string& field) const {
  if (field == "e_shoff") return is64_ ? std::pair<size_t, unsigned>{40, 8} : std::pair<size_t, unsigned>{32, 4};
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
  static const unsigned kWidths32[] = {4, 4, 4, 4, 4, 4, 4, 4, 4, 4};
  static const unsigned kWidths64[] = {4, 4, 8, 8, 8, 8, 4, 4, 8, 8};
  size_t offset = 0;
  for (int i = 0; i < 10; ++i) {
    unsigned width = is64_ ? kWidths64[i] : kWidths32[i];
    if (field == kNames[i]) return {offset, width};
    offset += width;
  }
  throw std::runtime_error("unknown section field " + field);
}

size_t ElfImage::sectionHeaderOffset(uint32_t index) const {
  return header("e_shoff") + size_t{index} * header("e_shentsize");
}

uint64_t ElfImage::section(uint32_t index, const std::string& field) const {
  auto [offset, width] = sectionField(field);
  return get(sectionHeaderOffset(index) + offset, width);
}

void ElfImage::setSection(uint32_t index, const std::string& field, uint64_t value) {
  auto [offset, width] = sectionField(field);
  put(sectionHeaderOffset(index) + offset, width, value);
}

long ElfImage::findSection(const std::string& name) const {
  const uint64_t names = section(static_cast<uint32_t>(header("e_shstrndx")), "sh_offset");
  for (uint32_t i = 0; i < header("e_shnum"); ++i) {
    if (bytes_.c_str() + names + section(i, "sh_name") == name) return i;
  }
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

uint32_t ElfImage::symbolCount() const {
  uint32_t s = static_cast<uint32_t>(findSection(".symtab"));
  return static_cast<uint32_t>(section(s, "sh_size") / section(s, "sh_entsize"));
}

}  // namespace objtest
