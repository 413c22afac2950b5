// DATA_MAP: byte order, the past-the-end rules, lazy loading over a stream,
// writes, LEB128 and the hex dump.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "DIAG/diag.h"
#include "common/test_util.h"
#include "support/data_map.h"

using testutil::appError;
using testutil::inChild;

namespace {

const uint8_t kBytes[] = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0a};

}  // namespace

TEST(DataMap, FlagsAndByteOrder) {
  EXPECT_STREQ(endianness_name(2), "big endian");
  EXPECT_STREQ(endianness_name(3), "unknown endianness");

  DATA_MAP m;
  EXPECT_TRUE(m.is_loaded());
  EXPECT_FALSE(m.is_defined());
  EXPECT_FALSE(m.is_modified());
  EXPECT_FALSE(m.is_swapped());
  EXPECT_EQ(m.size(), 0u);
  EXPECT_EQ(m.data(), nullptr);

  m.set_contents(kBytes, sizeof kBytes);
  EXPECT_TRUE(m.is_loaded() && m.is_defined());
  EXPECT_EQ(m.read_u8(), 0x01);
  EXPECT_EQ(m.read_u16(), 0x0302);
  EXPECT_EQ(m.read_u32(), 0x07060504u);
  m.set_cursor(0);
  EXPECT_EQ(m.read_u64(), 0x0807060504030201u);
  m.set_endianness(2);
  EXPECT_TRUE(m.is_swapped());
  m.set_cursor(0);
  EXPECT_EQ(m.read_u16(), 0x0102);
  EXPECT_EQ(m.read_u32(), 0x03040506u);
  m.set_cursor(1);
  EXPECT_EQ(m.read_u64(), 0x0203040506070809u);
  // A flag that is neither little nor big leaves the order as it was.
  m.set_endianness(0);
  m.set_endianness(77);
  EXPECT_EQ(m.get_endianness(), 2);
  m.set_cursor(0);
  EXPECT_EQ(m.read_u16(), 0x0102);
  m.set_endianness(1);
  m.set_cursor(0);
  EXPECT_EQ(m.read_u16(), 0x0201);
  uint8_t copy[3];
  m.read_bytes(copy, 3);
  EXPECT_EQ(std::memcmp(copy, kBytes + 2, 3), 0);
}

TEST(DataMap, PastTheEndYieldsZeros) {
  auto r = inChild([] {
    DATA_MAP m;
    m.set_contents(kBytes, sizeof kBytes);
    m.set_cursor(8);
    std::printf("%x ", m.read_u32());
    std::printf("%llu\n", (unsigned long long)m.get_cursor());
    m.set_cursor(10);
    std::printf("%x ", m.read_u8());
    std::printf("%llu\n", (unsigned long long)m.get_cursor());
    uint8_t rec[6];
    std::memset(rec, 0xEE, sizeof rec);
    m.set_cursor(6);
    m.read_bytes(rec, sizeof rec);
    std::printf("%d%d%d%d%d%d %llu\n", rec[0], rec[1], rec[2], rec[3], rec[4], rec[5],
                (unsigned long long)m.get_cursor());
    // Cursors near the top of the range neither wrap nor touch memory.
    m.set_cursor(UINT64_MAX - 1);
    std::printf("%llx ", (unsigned long long)m.read_u64());
    std::printf("%d ", m.get_cursor() == UINT64_MAX);
    std::printf("[%s] ", m.read_text());
    std::printf("%u ", m.read_uleb128());
    std::printf("%zu\n", m.read_uleb128_groups().size());
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "0 12\n0 11\n000000 12\n0 1 [] 0 1\n");
  EXPECT_EQ(r.err, "");
}

TEST(DataMap, BufferShorterThanSizeIsReported) {
  auto r = inChild([] {
    DIAG::diag_cols = 1000;
    DATA_MAP m;
    m.set_contents(kBytes, 3);
    m.set_size(8);
    m.set_cursor(2);
    std::printf("%x ", m.read_u32());
    std::printf("%llu\n", (unsigned long long)m.get_cursor());
    // Wholly past the buffer, within the size: zero, no report.
    std::printf("%x\n", m.read_u16());
    std::fprintf(stderr, "map=%p\n", static_cast<void*>(&m));
  });
  EXPECT_EQ(r.out, "3 6\n0\n");
  std::string map = r.err.substr(r.err.rfind("map=") + 4);
  map.pop_back();
  EXPECT_EQ(r.err, appError("buffer of size 6 not big enough on const DATA_MAP " + map +
                            " of size 8") + "map=" + map + "\n");
}

TEST(DataMap, TextReads) {
  DATA_MAP m;
  const char bytes[] = {'a', 'b', 0, 'c', 'd'};
  m.set_contents(bytes, sizeof bytes);
  EXPECT_STREQ(m.read_text(), "ab");
  EXPECT_EQ(m.get_cursor(), 3u);
  EXPECT_STREQ(m.read_text(), "cd");  // no NUL within the size
  EXPECT_EQ(m.get_cursor(), 6u);
  EXPECT_STREQ(m.read_text(), "");
  EXPECT_EQ(m.get_cursor(), 7u);
  m.set_cursor(2);
  EXPECT_STREQ(m.read_text(), "");
  EXPECT_EQ(m.get_cursor(), 3u);
}

TEST(DataMap, WritesAndLeb128) {
  DATA_MAP m;
  m.write_uleb128(624485);
  m.write_uleb128(0);
  m.write_uleb128(0x100000005ull);
  EXPECT_TRUE(m.is_modified());
  EXPECT_EQ(m.size(), 9u);
  const uint8_t expected[] = {0xe5, 0x8e, 0x26, 0x00, 0x85, 0x80, 0x80, 0x80, 0x10};
  ASSERT_NE(m.data(), nullptr);
  EXPECT_EQ(std::memcmp(m.data(), expected, sizeof expected), 0);
  m.set_cursor(0);
  EXPECT_EQ(m.read_uleb128(), 624485u);
  EXPECT_EQ(m.read_uleb128(), 0u);
  EXPECT_EQ(m.read_uleb128(), 5u);  // bits beyond 32 dropped
  m.set_cursor(0);
  EXPECT_EQ(m.read_uleb128_groups(), (std::vector<uint8_t>{0x65, 0x0e, 0x26}));
  // A value that runs off the end stops at the first zero read there.
  m.set_cursor(4);
  m.set_size(6);
  EXPECT_EQ(m.read_uleb128_groups(), (std::vector<uint8_t>{0x05, 0x00, 0x00}));

  DATA_MAP w;
  w.set_swapped(true);
  w.write_u32(0x01020304);
  w.write_u16(0x0506);
  w.set_cursor(10);
  w.write_u8(0xff);
  w.set_swapped(false);
  w.write_u64(0x1122334455667788ull);
  w.write_text("hi");
  EXPECT_EQ(w.size(), 22u);
  const uint8_t wanted[] = {1, 2, 3, 4, 5, 6, 0, 0, 0, 0, 0xff, 0x88, 0x77, 0x66, 0x55,
                            0x44, 0x33, 0x22, 0x11, 'h', 'i', 0};
  EXPECT_EQ(std::memcmp(w.data(), wanted, sizeof wanted), 0);
  // Writing inside the map does not move the size.
  w.set_cursor(0);
  w.write_bytes("xy", 2);
  EXPECT_EQ(w.size(), 22u);
  // resize grows the buffer, never the size, never shrinks.
  w.resize(30);
  EXPECT_EQ(w.held(), 30u);
  EXPECT_EQ(w.size(), 22u);
  w.resize(4);
  EXPECT_EQ(w.held(), 30u);
  w.clear();
  EXPECT_EQ(w.size(), 0u);
  EXPECT_TRUE(w.empty());
  EXPECT_TRUE(w.is_swapped() == false);
}

TEST(DataMap, LazyLoadRestoresThePosition) {
  testutil::TempDir dir;
  std::string path = dir.file("data.bin");
  testutil::writeFile(path, "0123456789abcdef");
  auto r = inChild([&] {
    STREAM_HANDLE* s = stream_open(path.c_str(), "rb");
    std::fseek(s->stream, 5, SEEK_SET);
    DATA_MAP m;
    m.set_swapped(true);
    m.attach(s, 4, 8);
    std::printf("%d%d%d %d %llu\n", m.is_loaded(), m.is_defined(), m.is_swapped(),
                m.is_backed(), (unsigned long long)m.size());
    std::printf("%08x ", m.read_u32());
    std::printf("%ld\n", std::ftell(s->stream));
    std::printf("%d ", m.is_loaded());
    std::printf("[%s]\n", m.read_text());

    // A shared, unwritten range is attached again, not copied.
    DATA_MAP shared(m);
    std::printf("%d %d ", shared.is_loaded(), shared.is_swapped());
    std::printf("%08x\n", shared.read_u32());
    m.set_cursor(0);
    m.write_u8('X');
    DATA_MAP copied;
    copied = m;
    std::printf("%d %d ", copied.is_backed(), copied.is_loaded());
    std::printf("%c\n", copied.read_u8());

    // release() drops the bytes; the next access reads the file anew.
    DATA_MAP again;
    again.attach(s, 0, 2);
    again.read_u16();
    again.release();
    std::printf("%d %llu ", again.is_loaded(), (unsigned long long)again.held());
    again.set_cursor(0);
    std::printf("%c", again.read_u8());
    std::printf("%c\n", again.read_u8());
    std::printf("%ld\n", std::ftell(s->stream));
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "011 1 8\n34353637 5\n1 [89ab]\n0 1 34353637\n0 1 X\n0 0 01\n5\n");
}

TEST(DataMap, RangePastTheFileIsAZeroTail) {
  testutil::TempDir dir;
  std::string path = dir.file("short.bin");
  testutil::writeFile(path, std::string("0123456789abcdef", 16));
  auto r = inChild([&] {
    DIAG::diag_cols = 1000;
    STREAM_HANDLE* s = stream_open(path.c_str(), "rb");
    DATA_MAP m;
    m.attach(s, 10, 0xFFFFFFF0u);  // a header claiming almost 4 GiB
    std::printf("%08x ", m.read_u32());
    std::printf("%llu ", (unsigned long long)m.held());  // only the bytes present
    std::printf("%x ", m.read_u32());                   // straddles the end of the file
    m.set_cursor(1000000);
    std::printf("%x ", m.read_u32());
    std::printf("[%s] ", m.read_text());
    m.set_cursor(0xFFFFFFF0u - 2);
    std::printf("%x ", m.read_u32());
    std::printf("%llu\n", (unsigned long long)m.get_cursor());
    m.set_cursor(4);
    std::printf("[%s] ", m.read_text());
    std::printf("%llu\n", (unsigned long long)m.get_cursor());
    DATA_MAP beyond;
    beyond.attach(s, 100, 8);  // starts past the end of the file
    std::printf("%llx ", (unsigned long long)beyond.read_u64());
    std::printf("%llu\n", (unsigned long long)beyond.held());
    // An offset beyond 2 GiB reads as a negative seek: reported, zeros.
    DATA_MAP far;
    far.attach(s, static_cast<int32_t>(0x80000000u), 4);
    std::printf("%x ", far.read_u32());
    std::printf("%ld\n", std::ftell(s->stream));
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "64636261 6 6665 0 [] 0 4294967282\n[ef] 7\n0 0\n0 0\n");
  EXPECT_EQ(r.err, appError("pfseeko called with SEEK_SET, but offset is negative"));
}

TEST(DataMap, HexDump) {
  testutil::TempDir dir;
  std::string path = dir.file("dump.txt");
  auto r = inChild([&] {
    DIAG::diag_cols = 1000;
    STREAM_HANDLE* s = stream_open(path.c_str(), "w");
    DATA_MAP m;
    const char bytes[] = "x0123456789ABCDE\x7f\x80";
    m.set_contents(bytes, 18);
    m.set_cursor(1);
    std::printf("%d ", m.dump(s, 17));
    std::printf("%d ", m.dump(s, 0));
    std::printf("%d ", m.dump(s, 0x100000000ull));
    std::printf("%d ", m.dump(nullptr, 1));
    std::printf("%llu\n", (unsigned long long)m.get_cursor());
    stream_close(s);
  });
  EXPECT_EQ(r.out, "0 0 -1 -1 1\n");
  EXPECT_EQ(r.err, appError("saving a single DATA_MAP with more than 4GB; unsupported") +
                       appError("pfwrite called with a NULL FILE pointer"));
  EXPECT_EQ(testutil::readFile(path),
            "00000000:  30 31 32 33 34 35 36 37 38 39 41 42 43 44 45 7f 0123456789ABCDE.\n"
            "00000010:  80" + std::string(1, ' ') + std::string(15 * 3, ' ') + ".\n");
}
