#include "support/checked_alloc.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

[[noreturn]] void outOfMemory() {
  std::fputs("ERROR: out of memory\n", stderr);
  std::exit(1);
}

}  // namespace

void* xmalloc(size_t size) {
  void* p = std::malloc(size ? size : 1);
  if (!p) outOfMemory();
  return p;
}

void* xrealloc(void* block, size_t size) {
  void* p = std::realloc(block, size ? size : 1);
  if (!p) outOfMemory();
  return p;
}

void* xcalloc(size_t count, size_t size) {
  void* p = std::calloc(count ? count : 1, size ? size : 1);
  if (!p) outOfMemory();
  return p;
}

char* xstrdup(const char* text) {
  size_t n = std::strlen(text) + 1;
  return static_cast<char*>(std::memcpy(xmalloc(n), text, n));
}
