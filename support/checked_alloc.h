// Allocation that never returns null: running out of memory ends the
// process with "ERROR: out of memory" and status 1.
#pragma once

#include <cstddef>

void* xmalloc(size_t size);
void* xrealloc(void* block, size_t size);
void* xcalloc(size_t count, size_t size);
char* xstrdup(const char* text);
