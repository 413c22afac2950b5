// Positioned reads through the read-ahead window: whatever the pattern of
// offsets and lengths (dense, sparse, crossing a window's end, past the end
// of the file), the bytes are the file's and the stream does not move.
#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>

#include "common/test_util.h"
#include "support/stream_io.h"

namespace {

std::string pattern(size_t size) {
  std::string bytes(size, '\0');
  uint32_t x = 12345;
  for (char& c : bytes) c = static_cast<char>((x = x * 1103515245 + 12345) >> 24);
  return bytes;
}

// What stream_pread must give: the bytes present at `offset`, at most `length`.
std::string expected(const std::string& file, int64_t offset, size_t length) {
  if (offset >= static_cast<int64_t>(file.size())) return "";
  return file.substr(static_cast<size_t>(offset), length);
}

std::string readAt(STREAM_HANDLE* handle, int64_t offset, size_t length) {
  std::string out(length, '\0');
  int64_t got = stream_pread(handle, out.data(), length, offset);
  EXPECT_GE(got, 0);
  out.resize(got < 0 ? 0 : static_cast<size_t>(got));
  return out;
}

}  // namespace

TEST(StreamPread, AnyPatternOfReadsGivesTheFilesBytes) {
  testutil::TempDir dir;
  const std::string file = pattern(300 * 1024 + 7);
  testutil::writeFile(dir.file("data"), file);
  STREAM_HANDLE* handle = stream_open(dir.file("data").c_str(), "rb");
  ASSERT_NE(handle, nullptr);
  // The window answers with what it holds; the rest comes from the next call.
  auto whole = [&](int64_t offset, size_t length) {
    std::string out;
    while (out.size() < length) {
      std::string part = readAt(handle, offset + static_cast<int64_t>(out.size()), length - out.size());
      if (part.empty()) break;
      out += part;
    }
    return out;
  };
  // Dense: consecutive headers and data, as a walk over small members.
  for (int64_t at = 0; at < 70000; at += 700) EXPECT_EQ(whole(at, 60), expected(file, at, 60)) << at;
  // Sparse: reads megabytes apart shrink the window; dense ones after them
  // bring it back.
  for (int64_t at : {100000, 200000, 250000, 300000, 120000})
    EXPECT_EQ(whole(at, 60), expected(file, at, 60)) << at;
  for (int64_t at = 150000; at < 160000; at += 100) EXPECT_EQ(whole(at, 90), expected(file, at, 90)) << at;
  // Random lengths up to past the window's half, across windows and the end.
  std::mt19937 random(7);
  for (int i = 0; i < 2000; ++i) {
    int64_t at = static_cast<int64_t>(random() % (file.size() + 5000));
    size_t length = random() % 3 == 0 ? random() % 40000 : random() % 5000;
    ASSERT_EQ(whole(at, length), expected(file, at, length)) << at << " " << length;
  }
  // Past the end nothing is read; a negative offset is refused.
  EXPECT_EQ(readAt(handle, static_cast<int64_t>(file.size()) + 10, 10), "");
  char byte;
  EXPECT_EQ(stream_pread(handle, &byte, 1, -1), -1);
  // The stream itself never moved.
  EXPECT_EQ(std::ftell(handle->stream), 0);
  stream_close(handle);
}
