// The load states shared by an object file and the tables inside it. A state
// only ever advances step by step ("progress"), or jumps back in one step
// ("revert"); misuse is recorded on the owning object as a status.
#pragma once

#include <cstdint>

namespace OFE {

class OBJECT_FILE;

enum OF_STATE : int32_t {
  OF_STATE_OPEN = 0,       // as created and loaded
  OF_STATE_LOCKED = 1,     // header setters and new empty sections still allowed
  OF_STATE_FORMATTED = 2,  // layout for output computed
  OF_STATE_SAVED = 3,      // written out
};

// "open", "locked", "formatted", "saved"; anything else "unknown".
const char* state_name(int32_t state);

class OF_STATE_MACHINE {
public:
  explicit OF_STATE_MACHINE(OBJECT_FILE* owner) : owner_(owner) {}
  virtual ~OF_STATE_MACHINE() = default;
  OF_STATE_MACHINE(const OF_STATE_MACHINE&) = delete;
  OF_STATE_MACHINE& operator=(const OF_STATE_MACHINE&) = delete;

  // Enters `state` from the one before it; 0 on success.
  virtual int progress_step(int32_t state);
  // Goes back to `state`; 0 on success.
  virtual int revert_step(int32_t state);

  // Each gives 0 on success, -1 (with status 5 or 7 recorded) otherwise.
  int require_at_most(int32_t state);
  int require_at_least(int32_t state);
  int progress_to(int32_t state);
  int revert_to(int32_t state);

  int32_t get_state() const { return state_; }
  OBJECT_FILE* get_owner() const { return owner_; }

protected:
  void set_owner(OBJECT_FILE* owner) { owner_ = owner; }

private:
  int32_t state_ = OF_STATE_OPEN;
  OBJECT_FILE* owner_;
};

}  // namespace OFE
