// Feeds arbitrary bytes to the object-file factory and walks the symbol
// table as the archiver does. Seed it with compiled objects: the objfile
// tests write a corpus into $ZOLT_OBJFILE_SEED_DIR when it is set.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "DIAG/diag.h"
#include "objfile/object_file.h"
#include "support/stream_io.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Malformed inputs raise many errors; none may end the run.
  DIAG::diag_no_count = true;
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  std::vector<uint8_t> bytes(data, data + size);
  FILE* file = fmemopen(bytes.data(), bytes.size(), "rb");
  if (!file) return 0;
  STREAM_HANDLE* stream = stream_adopt(file, "(fuzz)", "rb");

  // Half the inputs as a whole stream, half as a member after one byte.
  const bool member = size > 1 && (data[size - 1] & 1);
  if (member) std::fseek(file, 1, SEEK_SET);
  OFE::OBJECT_FILE* object = OFE::create_object_file(stream, member ? size - 1 : 0, 0, nullptr);
  if (object) {
    if (OFE::OF_SYMBOL_TABLE* symbols = object->get_symbol_table()) {
      size_t checksum = 0;
      const uint32_t count = symbols->get_num_symbols();
      for (uint32_t i = 0; i < count; i = symbols->get_next_index(i)) {
        OFE::OF_SYMBOL* symbol = symbols->get_symbol(i);
        checksum += size_t(symbol->get_binding()) + size_t(symbol->get_kind()) +
                    std::strlen(symbol->get_name());
      }
      if (checksum == SIZE_MAX) std::abort();  // keeps the walk from being optimised away
    }
    delete object;
  }
  stream_close(stream);
  return 0;
}
