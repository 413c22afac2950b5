// A backed DATA_MAP loads as "remember the position, seek, read, seek back"
// would, whatever shortcut the read takes (positioned reads, the stream's
// read-ahead window). One row per rule the shortcut must keep. The archiver
// shows each member to the library from position 0 and never releases a
// map, so its runs can show only the first rule.
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>

#include "DIAG/diag.h"
#include "common/test_util.h"
#include "support/data_map.h"

namespace {

// A sparse file of 3 GiB: "0123456789" at 0, "ABCDEFGHIJ" at 0x90000000.
constexpr off_t kFar = 0x90000000;

std::string bytesOf(DATA_MAP& map, size_t n) {
  std::string text(n, '\0');
  map.read_bytes(text.data(), n);
  for (char& c : text)
    if (c == '\0') c = '.';
  return text;
}

// The bytes read, then where the stream stands after the read.
std::string readAndWhere(DATA_MAP& map, size_t n, STREAM_HANDLE* s) {
  std::string text = bytesOf(map, n);
  return text + " @" + std::to_string(ftello(s->stream));
}

struct Row {
  const char* rule;
  std::function<std::string(STREAM_HANDLE*, const std::string& path)> steps;
  const char* shown;  // bytes read, then where the stream stands
  int reports;        // of "pfseeko called with SEEK_SET, but offset is negative"
};

const Row kRows[] = {
    {"a negative offset is reported, and the read happens where the stream stands",
     [](STREAM_HANDLE* s, const std::string&) {
       fseeko(s->stream, 2, SEEK_SET);
       DATA_MAP map;
       map.attach(s, static_cast<int32_t>(0x80000000u), 4);
       return readAndWhere(map, 4, s);
     },
     "2345 @2", 1},
    {"a position past 31 bits is not restored: the stream stays where the read ended",
     [](STREAM_HANDLE* s, const std::string&) {
       fseeko(s->stream, kFar, SEEK_SET);
       DATA_MAP map;
       map.attach(s, 4, 3);
       return readAndWhere(map, 3, s);
     },
     "456 @7", 1},
    {"both at once: the read ends past 31 bits and the stream stays there",
     [](STREAM_HANDLE* s, const std::string&) {
       fseeko(s->stream, kFar + 1, SEEK_SET);
       DATA_MAP map;
       map.attach(s, -1, 2);
       return readAndWhere(map, 2, s);
     },
     "BC @2415919107", 2},
    {"after release() the file is read as it now is",
     [](STREAM_HANDLE* s, const std::string& path) {
       DATA_MAP map;
       map.attach(s, 0, 4);
       std::string before = bytesOf(map, 4);
       int fd = open(path.c_str(), O_WRONLY);
       EXPECT_EQ(pwrite(fd, "wxyz", 4, 1), 4);
       close(fd);
       map.release();
       map.set_cursor(0);
       return before + " " + readAndWhere(map, 4, s);
     },
     "0123 0wxy @0", 0},
};

TEST(DataMapLoadRules, EachRuleOfTheSeekReadSeekSequence) {
  testutil::TempDir dir;
  for (const Row& row : kRows) {
    const std::string path = dir.file("sparse");
    {
      int fd = open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
      ASSERT_GE(fd, 0);
      ASSERT_EQ(pwrite(fd, "0123456789", 10, 0), 10);
      ASSERT_EQ(pwrite(fd, "ABCDEFGHIJ", 10, kFar), 10);
      ASSERT_EQ(ftruncate(fd, off_t{3} << 30), 0);
      close(fd);
    }
    testutil::RunResult r = testutil::inChild([&] {
      DIAG::diag_cols = 1000;  // each report on one line
      STREAM_HANDLE* s = stream_open(path.c_str(), "rb");
      std::fputs(row.steps(s, path).c_str(), stdout);
    });
    std::string reports;
    for (int i = 0; i < row.reports; ++i)
      reports += testutil::appError("pfseeko called with SEEK_SET, but offset is negative");
    EXPECT_EQ(r.out, row.shown) << row.rule;
    EXPECT_EQ(r.err, reports) << row.rule;
    EXPECT_EQ(r.status, 0) << row.rule;
  }
}

}  // namespace
