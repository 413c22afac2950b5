// The decoding of a member's name field against a loaded name table, in
// every layout. Input: one byte of layout, the 16-byte field, six bytes of
// uid text, then the name table.
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

#include "archiver/archive.h"
#include "archiver/archive_format.h"

namespace {

[[noreturn]] void throwError(Archive&, ArchiveError, const char* message) {
  throw std::runtime_error(message);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1 + kNameFieldSize + 6) return 0;
  Archive archive;
  initArchive(archive, "fuzz.lib", nullptr, throwError);
  archive.format = data[0] % 4;
  std::string field(reinterpret_cast<const char*>(data + 1), kNameFieldSize);
  long uid = 0;
  parseDecimal(std::string(reinterpret_cast<const char*>(data + 17), 6), &uid);
  size_t tableSize = size - 23;
  if (tableSize > 0) {
    // As the reader keeps it: "/" and newlines become terminators.
    auto* table = static_cast<char*>(zone_alloc(&archive.zone, static_cast<uint32_t>(tableSize)));
    std::memcpy(table, data + 23, tableSize);
    for (size_t i = 0; i < tableSize; ++i)
      if (table[i] == '/' || table[i] == '\n') table[i] = 0;
    archive.nameTable = table;
    archive.nameTableSize = static_cast<uint32_t>(tableSize);
    archive.nameTableLoaded = true;
  }
  try {
    const char* name = decodeMemberName(archive, field, uid);
    if (std::strlen(name) > tableSize + kNameFieldSize) std::abort();
  } catch (const std::runtime_error&) {
  }
  zone_release(&archive.zone);
  return 0;
}
