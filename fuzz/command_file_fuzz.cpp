// Bytes as a command file: every token read until the end. The two
// unterminated-input failures end in an exception instead of the process;
// run it with -close_fd_mask=2 to keep their messages out of the log.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "archiver/command_file.h"

namespace {

[[noreturn]] void throwInsteadOfExit(int) { throw std::runtime_error("unterminated"); }

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setCommandFileFailureExit(throwInsteadOfExit);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FILE* file = fmemopen(const_cast<uint8_t*>(data), size, "rb");
  if (!file) return 0;
  try {
    while (char* token = readCommandToken(file)) std::free(token);
  } catch (const std::runtime_error&) {
  }
  std::fclose(file);
  return 0;
}
