#include "objfile/state_machine.h"

#include "objfile/object_file.h"

namespace OFE {

const char* state_name(int32_t state) {
  switch (state) {
    case OF_STATE_OPEN: return "open";
    case OF_STATE_LOCKED: return "locked";
    case OF_STATE_FORMATTED: return "formatted";
    case OF_STATE_SAVED: return "saved";
    default: return "unknown";
  }
}

int OF_STATE_MACHINE::progress_step(int32_t) { return 0; }
int OF_STATE_MACHINE::revert_step(int32_t) { return 0; }

int OF_STATE_MACHINE::require_at_most(int32_t state) {
  if (state_ <= state) return 0;
  owner_->record_status(OF_STATUS_REFUSED,
                        "this OBJECT_FILE object is currently in the %s state, and must be in "
                        "at most the %s state to perform the requested operation ",
                        state_name(state_), state_name(state));
  return -1;
}

int OF_STATE_MACHINE::require_at_least(int32_t state) {
  if (state_ >= state) return 0;
  owner_->record_status(OF_STATUS_REFUSED,
                        "this OBJECT_FILE object is currently in the %s state, and must be in "
                        "at least the %s state to perform the requested operation ",
                        state_name(state_), state_name(state));
  return -1;
}

int OF_STATE_MACHINE::progress_to(int32_t state) {
  if (state_ == state) return 0;
  if (state_ > state) {
    owner_->record_status(OF_STATUS_REFUSED,
                          "this OBJECT_FILE object is currently in the %s state, and cannot "
                          "revert to the %s state to perform the requested operation ",
                          state_name(state_), state_name(state));
    return -1;
  }
  // The state word changes once, after every step has succeeded.
  for (int64_t k = int64_t{state_} + 1; k <= state; ++k) {
    if (progress_step(static_cast<int32_t>(k)) != 0) {
      owner_->record_status(OF_STATUS_FAILED,
                            "an error was encountered while progressing an OBJECT_FILE object "
                            "from the %s to the %s state",
                            state_name(static_cast<int32_t>(k - 1)), state_name(static_cast<int32_t>(k)));
      return -1;
    }
  }
  state_ = state;
  return 0;
}

int OF_STATE_MACHINE::revert_to(int32_t state) {
  if (state_ == state) return 0;
  if (state_ < state) return require_at_least(state);
  if (revert_step(state) != 0) {
    owner_->record_status(OF_STATUS_FAILED,
                          "an error was encountered while reverting an OBJECT_FILE object from "
                          "the %s to the %s state",
                          state_name(state_), state_name(state));
    return -1;
  }
  state_ = state;
  return 0;
}

}  // namespace OFE
