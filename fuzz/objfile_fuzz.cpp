// Feeds arbitrary bytes to the object-file factory and walks the symbol
// table as the archiver does; whenever the quick symbol scan accepts the same
// bytes, its answers must be the walk's, or the run aborts. The scan reads
// the bytes both in memory and by positioned reads of a file, and the two
// must agree. Seed it with compiled objects (tools/fuzz.sh makes them).
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "DIAG/diag.h"
#include "objfile/object_file.h"
#include "objfile/symbol_scan.h"
#include "support/stream_io.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Malformed inputs raise many errors; none may end the run.
  DIAG::diag_no_count = true;
  return 0;
}

namespace {

// The same scan by positioned reads of a file holding the bytes.
void scanFromFile(const uint8_t* data, size_t size, int64_t base, size_t length, bool quick,
                  const std::vector<OFE::SCANNED_SYMBOL>& scanned) {
  static const int fd = memfd_create("fuzz", 0);
  if (fd < 0 || ftruncate(fd, 0) != 0 || lseek(fd, 0, SEEK_SET) != 0 || !write_full(fd, data, size))
    std::abort();
  OFE::FILE_SCAN_SOURCE source(fd, base);
  std::vector<OFE::SCANNED_SYMBOL> pieces;
  if (OFE::scan_symbols(source, length, pieces) != quick) std::abort();
  if (!quick) return;
  if (pieces.size() != scanned.size()) std::abort();
  for (size_t i = 0; i < pieces.size(); ++i)
    if (pieces[i].binding != scanned[i].binding || pieces[i].kind != scanned[i].kind ||
        std::strcmp(pieces[i].name, scanned[i].name) != 0)
      std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  std::vector<uint8_t> bytes(data, data + size);
  FILE* file = fmemopen(bytes.data(), bytes.size(), "rb");
  if (!file) return 0;
  STREAM_HANDLE* stream = stream_adopt(file, "(fuzz)", "rb");

  // Half the inputs as a whole stream, half as a member after one byte.
  const bool member = size > 1 && (data[size - 1] & 1);
  if (member) std::fseek(file, 1, SEEK_SET);
  const uint8_t* start = data + (member ? 1 : 0);
  const size_t length = member ? size - 1 : size;
  std::vector<OFE::SCANNED_SYMBOL> scanned;
  const bool quick = OFE::scan_symbols(start, length, scanned);
  scanFromFile(data, size, member ? 1 : 0, length, quick, scanned);
  size_t walked = 0;

  OFE::OBJECT_FILE* object = OFE::create_object_file(stream, member ? size - 1 : 0, 0, nullptr);
  if (object) {
    OFE::OF_SYMBOL_TABLE* symbols = object->get_symbol_table();
    if (!symbols && quick) std::abort();  // the scan took a table the reader refuses
    const uint32_t count = symbols ? symbols->get_num_symbols() : 0;
    for (uint32_t i = 0; i < count; i = symbols->get_next_index(i), ++walked) {
      OFE::OF_SYMBOL* symbol = symbols->get_symbol(i);
      if (!quick) continue;
      if (walked >= scanned.size()) std::abort();
      const OFE::SCANNED_SYMBOL& s = scanned[walked];
      if (s.binding != symbol->get_binding() || s.kind != symbol->get_kind() ||
          std::strcmp(s.name, symbol->get_name()) != 0)
        std::abort();
    }
    delete object;
  }
  if (quick && walked != scanned.size()) std::abort();
  stream_close(stream);
  return 0;
}
