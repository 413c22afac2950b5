#include "objfile/segment_table.h"

#include "objfile/object_file.h"

namespace OFE {

int OF_SEGMENT_TABLE::take_header_table(uint64_t offset, uint32_t entry_size, uint32_t count) {
  count_ = 0;
  entry_size_ = 0;
  headers_.clear();
  if (count == 0) return 0;
  if (get_owner()->get_file_data(offset, uint64_t{count} * entry_size, headers_) != 0) return -1;
  count_ = count;
  entry_size_ = entry_size;
  return 0;
}

}  // namespace OFE
