// Stream handles: the library's wrapper around an open stdio stream, with
// the name it was opened under and its mode, kept in one process-wide table.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

struct STREAM_HANDLE {
  FILE* stream = nullptr;   // null counts as a null stream for the checked wrappers
  std::string name;         // display name, e.g. the path or "(stdin)"
  std::string mode;         // mode text as given to open, e.g. "rb"
  int64_t known_size = -1;  // length of a read-only regular file, once measured
  // Where the handle's file begins in the stream: 0, or for a view
  // (stream_view) the offset of the part it stands for.
  int64_t base = 0;
  // The stream's own buffer, sized for the disk rather than the default.
  std::unique_ptr<char[]> buffer;
  // A window of the file read ahead by stream_pread, for read-only handles.
  std::unique_ptr<uint8_t[]> window;
  int64_t window_offset = -1;
  size_t window_length = 0;
  unsigned window_uses = 0;  // requests the current window has served
};

// The three standard streams, registered as "(stdin)", "(stdout)" and
// "(stderr)" with modes "r", "w" and "w" on first use.
STREAM_HANDLE* stream_stdin();
STREAM_HANDLE* stream_stdout();
STREAM_HANDLE* stream_stderr();

// Opens `path` with the stdio `mode`; null when the open fails (errno set).
// Backslashes in the path are taken as separators. Streams get a buffer of
// `buffer_size` bytes.
STREAM_HANDLE* stream_open(const char* path, const char* mode, size_t buffer_size = size_t{64} * 1024);

// Wraps a stream that is already open; the handle takes ownership.
STREAM_HANDLE* stream_adopt(FILE* stream, const char* name, const char* mode);

// A view of the file behind `file` from `base` to its end, standing for a
// file of its own: the checked wrappers, positioned reads and the measured
// length all count from `base`. It shares the stream, position included,
// is not in the table and never closes the stream.
STREAM_HANDLE stream_view(STREAM_HANDLE* file, int64_t base);

// Closes the stream and forgets the handle; returns fclose's result
// (0, or EOF when buffered data could not be written). Null is a no-op.
int stream_close(STREAM_HANDLE* handle);

// Number of handles currently in the table, the standard three included.
size_t stream_table_size();

// The length of the file behind a read-only handle (from its base), measured
// once; -1 when the handle writes or its stream is not a regular file.
int64_t stream_known_size(STREAM_HANDLE* handle);

// Drops what the handle remembers of its file, the read-ahead window and the
// measured length, so that the next read sees the file as it now is.
void stream_forget(STREAM_HANDLE* handle);

// Position of the stream (from the handle's base), 64-bit; -1 when it
// cannot be told.
int64_t stream_tell(STREAM_HANDLE* handle);

// Moves the stream to `offset` from the handle's base; false when it cannot.
bool stream_seek(STREAM_HANDLE* handle, int64_t offset);

// Reads up to `length` bytes at `offset` (from the handle's base) without
// moving the stream: the
// number read (short at the end of the file), or -1 when the stream does not
// allow positioned reads. Small reads of read-only files are served from a
// window read ahead, so that the pieces of one object cost one system call.
// A window that served a single request is followed by a small one: reads
// far apart (the headers of large members) then cost a page, not 64 KiB.
int64_t stream_pread(STREAM_HANDLE* handle, void* buffer, size_t length, int64_t offset);

// Reads `length` bytes at `offset` of the descriptor, asking again after
// interruptions: the number read (short only at the end of the file), or -1
// when nothing could be read.
int64_t pread_full(int fd, void* buffer, size_t length, int64_t offset);

// Writes all `length` bytes to the descriptor, asking again after
// interruptions and partial writes; false on failure.
bool write_full(int fd, const void* buffer, size_t length);
