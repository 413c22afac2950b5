// The checked stream wrappers: their texts, results and check order.
#include <gtest/gtest.h>

#include <unistd.h>

#include <string>

#include "DIAG/diag.h"
#include "common/test_util.h"
#include "support/checked_io.h"

using testutil::appError;
using testutil::inChild;

TEST(CheckedIo, NullStreamsAndBadArguments) {
  auto r = inChild([] {
    DIAG::diag_cols = 1000;
    STREAM_HANDLE empty;  // a handle without a stream counts as a null stream
    char buf[4] = {};
    std::printf("%ld ", pftell(nullptr));
    std::printf("%d ", pfseek(&empty, 0, SEEK_SET));
    std::printf("%u\n", pftello(&empty));
    pfseeko(nullptr, 0, SEEK_SET);
    std::printf("%zu ", pfread(nullptr, 1, 1, &empty));
    std::printf("%zu\n", pfread(buf, 1, 1, nullptr));
    // The checks go buffer, element size, count, stream.
    std::printf("%zu ", pfwrite(nullptr, 0, 0, nullptr, false));
    std::printf("%zu ", pfwrite(buf, 0, 0, nullptr, false));
    std::printf("%zu ", pfwrite(buf, 1, 0, nullptr, false));
    std::printf("%zu\n", pfwrite(buf, 1, 1, nullptr, true));
    STREAM_HANDLE* out = stream_stdout();
    std::printf("%d\n", pfseek(out, -1, SEEK_SET));
    pfseeko(out, -5, SEEK_SET);
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "-1 -1 4294967295\n0 0\n0 0 0 0\n-1\n");
  EXPECT_EQ(r.err, appError("pftell called with a NULL FILE pointer") +
                       appError("pfseek called with a NULL FILE pointer") +
                       appError("pftello called with a NULL FILE pointer") +
                       appError("pfseeko called with a NULL FILE pointer") +
                       appError("pfread called with a NULL buffer pointer") +
                       appError("pfread called with a NULL FILE pointer") +
                       appError("pfwrite called with a NULL buffer pointer") +
                       appError("pfwrite called requesting zero-size elements") +
                       appError("pfwrite called requesting zero elements") +
                       appError("pfwrite called with a NULL FILE pointer") +
                       appError("pfseek called with SEEK_SET, but offset is negative") +
                       appError("pfseeko called with SEEK_SET, but offset is negative"));
}

TEST(CheckedIo, FailingTellAndSeekOnAPipe) {
  auto r = inChild([] {
    DIAG::diag_cols = 1000;
    int fds[2];
    if (pipe(fds) != 0) return;
    STREAM_HANDLE* h = stream_adopt(fdopen(fds[0], "r"), "pipe", "r");
    std::printf("%ld ", pftell(h));
    std::printf("%u ", pftello(h));
    std::printf("%d\n", pfseek(h, 1, SEEK_SET));
    pfseeko(h, 1, SEEK_SET);  // a failing seek is not reported
  });
  EXPECT_EQ(r.out, "-1 4294967295 -1\n");
  EXPECT_EQ(r.err, appError("call to pftell failed:  Illegal seek") +
                       appError("call to pftello failed:  Illegal seek") +
                       appError("call to pfseek failed:  Illegal seek"));
}

TEST(CheckedIo, ReadWriteAndPosition) {
  testutil::TempDir dir;
  std::string path = dir.file("f.bin");
  auto r = inChild([&] {
    STREAM_HANDLE* h = stream_open(path.c_str(), "w+b");
    const char text[] = "abcdefgh";
    std::printf("%zu ", pfwrite(text, 2, 4, h, false));
    std::printf("%ld ", pftell(h));
    pfseeko(h, 2, SEEK_SET);
    std::printf("%u ", pftello(h));
    char got[5] = {};
    std::printf("%zu ", pfread(got, 1, 4, h));
    std::printf("%s ", got);
    std::printf("%d ", pfseek(h, -3, SEEK_END));
    std::printf("%ld ", pftell(h));
    std::printf("%zu\n", pfread(got, 4, 1, h));  // a partial element
    stream_close(h);
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "4 8 2 4 cdef 0 5 0\n");
}

TEST(CheckedIo, ShortWrite) {
  if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
  auto r = inChild([] {
    DIAG::diag_cols = 1000;
    FILE* f = std::fopen("/dev/full", "w");
    setvbuf(f, nullptr, _IONBF, 0);
    STREAM_HANDLE* h = stream_adopt(f, "/dev/full", "w");
    std::printf("%zu ", pfwrite("abc", 1, 3, h, true));
    std::printf("%zu\n", pfwrite("abc", 1, 3, h, false));
  });
  EXPECT_EQ(r.out, "0 0\n");
  EXPECT_EQ(r.err, appError("pfwrite only wrote 0 elements; 3 were requested"));
}
