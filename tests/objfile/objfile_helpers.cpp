#include "objfile_helpers.h"

#include <cstdio>
#include <ostream>
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
  std::vector<SymbolRow> rows;
  for (const auto& s : testutil::readelfSymbols({path})) {
    int type = typeOf(s.type);
    // readelf shows a section symbol under its section's name; the entry
    // itself has none.
    rows.push_back({type == OFE::OF_SYMBOL_TYPE_SECTION ? "" : s.name, kindOf(s.ndx),
                    bindingOf(s.bind), type});
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

}  // namespace objtest
