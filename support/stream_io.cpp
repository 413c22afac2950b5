#include "support/stream_io.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "support/host_path.h"

namespace {

constexpr size_t kWindowSize = size_t{64} * 1024;
constexpr size_t kSmallWindow = size_t{4} * 1024;

// Never destroyed: the C library flushes the streams still open at exit
// after static destructors have run, and their buffers live in the handles.
std::vector<std::unique_ptr<STREAM_HANDLE>>& table() {
  static auto& handles = *new std::vector<std::unique_ptr<STREAM_HANDLE>>([] {
    std::vector<std::unique_ptr<STREAM_HANDLE>> t;
    for (auto [stream, name, mode] : {std::tuple{stdin, "(stdin)", "r"},
                                      std::tuple{stdout, "(stdout)", "w"},
                                      std::tuple{stderr, "(stderr)", "w"}}) {
      auto handle = std::make_unique<STREAM_HANDLE>();
      handle->stream = stream;
      handle->name = name;
      handle->mode = mode;
      t.push_back(std::move(handle));
    }
    return t;
  }());
  return handles;
}

bool readOnly(const STREAM_HANDLE& handle) {
  return handle.mode.find_first_of("wa+") == std::string::npos;
}


}  // namespace

STREAM_HANDLE* stream_stdin() { return table()[0].get(); }
STREAM_HANDLE* stream_stdout() { return table()[1].get(); }
STREAM_HANDLE* stream_stderr() { return table()[2].get(); }

STREAM_HANDLE* stream_adopt(FILE* stream, const char* name, const char* mode) {
  auto handle = std::make_unique<STREAM_HANDLE>();
  handle->stream = stream;
  handle->name = name;
  handle->mode = mode;
  table().push_back(std::move(handle));
  return table().back().get();
}

STREAM_HANDLE* stream_open(const char* path, const char* mode, size_t buffer_size) {
  FILE* f = std::fopen(hostPath(path).c_str(), mode);
  if (!f) return nullptr;
  STREAM_HANDLE* handle = stream_adopt(f, path, mode);
  if (buffer_size > 0) {
    handle->buffer.reset(new char[buffer_size]);
    std::setvbuf(f, handle->buffer.get(), _IOFBF, buffer_size);
  }
  return handle;
}

int stream_close(STREAM_HANDLE* handle) {
  if (!handle) return 0;
  auto& t = table();
  // Handles are closed in about the order they were opened; search from the end.
  auto it = std::find_if(t.rbegin(), t.rend(), [&](const auto& p) { return p.get() == handle; });
  int rc = handle->stream ? std::fclose(handle->stream) : 0;
  handle->stream = nullptr;
  if (it != t.rend() && it.base() - 1 - t.begin() >= 3) t.erase(it.base() - 1);
  return rc;
}

STREAM_HANDLE stream_view(STREAM_HANDLE* file, int64_t base) {
  STREAM_HANDLE view;
  view.stream = file ? file->stream : nullptr;
  view.name = file ? file->name : std::string();
  view.mode = "rb";
  view.known_size = file ? file->known_size : -1;
  view.base = base;
  return view;
}

size_t stream_table_size() { return table().size(); }

int64_t stream_known_size(STREAM_HANDLE* handle) {
  if (!handle || !handle->stream) return -1;
  if (handle->known_size < 0) {
    if (!readOnly(*handle)) return -1;
    struct stat st;
    int fd = fileno(handle->stream);
    if (fd < 0 || fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) return -1;
    handle->known_size = st.st_size;
  }
  return std::max<int64_t>(handle->known_size - handle->base, 0);
}

void stream_forget(STREAM_HANDLE* handle) {
  if (!handle) return;
  handle->window_offset = -1;
  handle->window_length = 0;
  handle->window_uses = 0;
  handle->known_size = -1;
}

int64_t stream_tell(STREAM_HANDLE* handle) {
  if (!handle || !handle->stream) return -1;
  off_t position = ftello(handle->stream);
  return position < 0 ? -1 : static_cast<int64_t>(position) - handle->base;
}

bool stream_seek(STREAM_HANDLE* handle, int64_t offset) {
  return handle && handle->stream && offset >= 0 &&
         fseeko(handle->stream, static_cast<off_t>(handle->base + offset), SEEK_SET) == 0;
}

int64_t stream_pread(STREAM_HANDLE* handle, void* buffer, size_t length, int64_t offset) {
  if (!handle || !handle->stream || offset < 0) return -1;
  int fd = fileno(handle->stream);
  if (fd < 0) return -1;
  offset += handle->base;
  auto* out = static_cast<uint8_t*>(buffer);
  if (!readOnly(*handle) || length > kWindowSize / 2)
    return pread_full(fd, out, length, offset);
  bool inWindow = handle->window_offset >= 0 && offset >= handle->window_offset &&
                  static_cast<uint64_t>(offset - handle->window_offset) + length <=
                      handle->window_length;
  if (inWindow) {
    ++handle->window_uses;
  } else {
    if (!handle->window) handle->window.reset(new uint8_t[kWindowSize]);
    bool sparse = handle->window_offset >= 0 && handle->window_uses <= 1;
    size_t fill = sparse && length <= kSmallWindow ? kSmallWindow : kWindowSize;
    int64_t got = pread_full(fd, handle->window.get(), fill, offset);
    if (got < 0) return -1;
    handle->window_offset = offset;
    handle->window_length = static_cast<size_t>(got);
    handle->window_uses = 1;
  }
  size_t start = static_cast<size_t>(offset - handle->window_offset);
  size_t available = handle->window_length > start ? handle->window_length - start : 0;
  size_t n = std::min(length, available);
  std::memcpy(out, handle->window.get() + start, n);
  return static_cast<int64_t>(n);
}

int64_t pread_full(int fd, void* buffer, size_t length, int64_t offset) {
  auto* out = static_cast<uint8_t*>(buffer);
  size_t done = 0;
  while (done < length) {
    ssize_t n = pread(fd, out + done, length - done, static_cast<off_t>(offset + done));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return done == 0 ? -1 : static_cast<int64_t>(done);
    done += static_cast<size_t>(n);
    // A short read of a file means its end: asking again costs a call.
    if (n == 0 || done < length) break;
  }
  return static_cast<int64_t>(done);
}

bool write_full(int fd, const void* buffer, size_t length) {
  const auto* bytes = static_cast<const uint8_t*>(buffer);
  while (length > 0) {
    ssize_t n = write(fd, bytes, length);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    bytes += n;
    length -= static_cast<size_t>(n);
  }
  return true;
}
