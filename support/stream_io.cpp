#include "support/stream_io.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "support/host_path.h"

namespace {

std::vector<std::unique_ptr<STREAM_HANDLE>>& table() {
  static std::vector<std::unique_ptr<STREAM_HANDLE>> handles = [] {
    std::vector<std::unique_ptr<STREAM_HANDLE>> t;
    t.push_back(std::make_unique<STREAM_HANDLE>(STREAM_HANDLE{stdin, "(stdin)", "r"}));
    t.push_back(std::make_unique<STREAM_HANDLE>(STREAM_HANDLE{stdout, "(stdout)", "w"}));
    t.push_back(std::make_unique<STREAM_HANDLE>(STREAM_HANDLE{stderr, "(stderr)", "w"}));
    return t;
  }();
  return handles;
}

}  // namespace

STREAM_HANDLE* stream_stdin() { return table()[0].get(); }
STREAM_HANDLE* stream_stdout() { return table()[1].get(); }
STREAM_HANDLE* stream_stderr() { return table()[2].get(); }

STREAM_HANDLE* stream_adopt(FILE* stream, const char* name, const char* mode) {
  table().push_back(std::make_unique<STREAM_HANDLE>(STREAM_HANDLE{stream, name, mode}));
  return table().back().get();
}

STREAM_HANDLE* stream_open(const char* path, const char* mode) {
  FILE* f = std::fopen(hostPath(path).c_str(), mode);
  if (!f) return nullptr;
  return stream_adopt(f, path, mode);
}

int stream_close(STREAM_HANDLE* handle) {
  if (!handle) return 0;
  auto& t = table();
  auto it = std::find_if(t.begin(), t.end(), [&](const auto& p) { return p.get() == handle; });
  int rc = handle->stream ? std::fclose(handle->stream) : 0;
  handle->stream = nullptr;
  if (it != t.end() && it - t.begin() >= 3) t.erase(it);
  return rc;
}

size_t stream_table_size() { return table().size(); }
