// Checked wrappers around the stdio calls. Every misuse or failure is
// reported as an application error with a fixed text, and the wrapper then
// returns its failure value; the caller goes on.
#pragma once

#include <cstddef>
#include <cstdint>

#include "support/stream_io.h"

// Position of the stream, or -1.
long pftell(STREAM_HANDLE* handle);

// fseek; 0, or -1 on failure (including SEEK_SET with a negative offset).
int pfseek(STREAM_HANDLE* handle, long offset, int whence);

// Position of the stream cut to 32 bits; all ones on failure.
uint32_t pftello(STREAM_HANDLE* handle);

// fseek with a 32-bit offset; nothing is done for a null stream or a
// negative offset with SEEK_SET. A failing seek is not reported.
void pfseeko(STREAM_HANDLE* handle, int32_t offset, int whence);

// fread; the number of elements read, 0 for a null buffer or stream.
size_t pfread(void* buffer, size_t element_size, size_t count, STREAM_HANDLE* handle);

// fwrite; the number of elements written, 0 on misuse. A short write is
// reported unless `quiet`.
size_t pfwrite(const void* buffer, size_t element_size, size_t count,
               STREAM_HANDLE* handle, bool quiet);
