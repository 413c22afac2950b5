// Helpers for the object-file tests: objects compiled at test time, opened
// through the library, and listed the way readelf lists them.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "common/elf_util.h"
#include "objfile/elf_file.h"
#include "objfile/object_file.h"

namespace objtest {

using testutil::ElfImage;

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

}  // namespace objtest
