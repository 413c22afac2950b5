// Stream handles: the library's wrapper around an open stdio stream, with
// the name it was opened under and its mode, kept in one process-wide table.
#pragma once

#include <cstdio>
#include <string>

struct STREAM_HANDLE {
  FILE* stream = nullptr;  // null counts as a null stream for the checked wrappers
  std::string name;        // display name, e.g. the path or "(stdin)"
  std::string mode;        // mode text as given to open, e.g. "rb"
};

// The three standard streams, registered as "(stdin)", "(stdout)" and
// "(stderr)" with modes "r", "w" and "w" on first use.
STREAM_HANDLE* stream_stdin();
STREAM_HANDLE* stream_stdout();
STREAM_HANDLE* stream_stderr();

// Opens `path` with the stdio `mode`; null when the open fails (errno set).
// Backslashes in the path are taken as separators.
STREAM_HANDLE* stream_open(const char* path, const char* mode);

// Wraps a stream that is already open; the handle takes ownership.
STREAM_HANDLE* stream_adopt(FILE* stream, const char* name, const char* mode);

// Closes the stream and forgets the handle; returns fclose's result
// (0, or EOF when buffered data could not be written). Null is a no-op.
int stream_close(STREAM_HANDLE* handle);

// Number of handles currently in the table, the standard three included.
size_t stream_table_size();
