#include "objfile/symbol_metadata.h"

#include <algorithm>

namespace OFE {

bool read_symbol_metadata(DATA_MAP& contents, SYMBOL_METADATA_MAP& records) {
  contents.load();
  const uint64_t end = std::min(contents.size(), contents.held());
  contents.set_cursor(1);
  // Every read moves the cursor forward, so the walk ends.
  while (contents.get_cursor() < end) {
    uint32_t kind = contents.read_uleb128();
    uint32_t index = contents.read_uleb128();
    if (kind < 1 || kind > 15) return false;
    std::unique_ptr<ELF_SYMBOL_METADATA>& record = records[index];
    if (!record) record = std::make_unique<ELF_SYMBOL_METADATA>();
    switch (kind) {
      case 1: record->flags = contents.read_uleb128(); break;
      case 2: record->word_a = contents.read_uleb128(); break;
      case 3: record->word_b = contents.read_uleb128(); break;
      case 4: record->text_a = contents.read_text(); break;
      case 5: record->text_b = contents.read_text(); break;
      case 6: record->high_water = std::max(record->high_water, contents.read_uleb128()); break;
      default: contents.read_uleb128(); break;  // reserved kinds carry one value
    }
  }
  return true;
}

}  // namespace OFE
