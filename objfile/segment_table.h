// The program-header table. Relocatable objects rarely have one and the
// archiver never looks at it, so it is only mapped, never decoded.
#pragma once

#include <cstdint>

#include "objfile/state_machine.h"
#include "support/data_map.h"

namespace OFE {

class OF_SEGMENT_TABLE : public OF_STATE_MACHINE {
public:
  using OF_STATE_MACHINE::OF_STATE_MACHINE;

  // Maps `count` entries of `entry_size` bytes at `offset`; nothing is read.
  int take_header_table(uint64_t offset, uint32_t entry_size, uint32_t count);
  uint32_t get_num_segments() const { return count_; }
  uint32_t get_entry_size() const { return entry_size_; }

private:
  uint32_t count_ = 0;
  uint32_t entry_size_ = 0;
  DATA_MAP headers_;
};

}  // namespace OFE
