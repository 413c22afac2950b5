// Checked stream I/O and DATA_MAP: the wrappers' texts and results, stream
// handles, reads at and past a map's ends in both byte orders, writes and
// LEB128, lazy loading of file ranges, the hex dump.
#include <gtest/gtest.h>

#include <cstring>
#include <iostream>

#include "DIAG/diag.h"
#include "support/checked_io.h"
#include "support/data_map.h"
#include "unit.h"

namespace {

std::string hex(const void* bytes, size_t n) {
  std::string out;
  for (auto* b = static_cast<const uint8_t*>(bytes); n--; ++b)
    out += {"0123456789abcdef"[*b >> 4], "0123456789abcdef"[*b & 15]};
  return out;
}

}  // namespace

TEST(CheckedIo, TextsResultsCheckOrderAndHandles) {
  const std::string file = unit::scratch("io.bin");
  unit::Ran r = unit::inChild([&] {
    DIAG::diag_cols = 1000;
    STREAM_HANDLE none;  // a handle without a stream is a null stream
    int fds[2];
    STREAM_HANDLE *p = pipe(fds) ? nullptr : stream_adopt(fdopen(fds[0], "r"), "pipe", "r"),
                  *f = stream_open(file.c_str(), "w+b"), *full = stream_adopt(std::fopen("/dev/full", "w"), "", "w");
    std::setvbuf(full->stream, nullptr, _IONBF, 0);
    char b[8] = {};
    std::printf("%s %.4s", unit::Seq{
        pftell(nullptr), pfseek(&none, 0, SEEK_SET), pftello(&none), (pfseeko(nullptr, 0, SEEK_SET), 0),
        pfread(nullptr, 1, 1, &none), pfread(b, 1, 1, nullptr), pfwrite(nullptr, 0, 0, nullptr, 0),
        pfwrite(b, 0, 0, nullptr, 0), pfwrite(b, 1, 0, nullptr, 0), pfwrite(b, 1, 1, nullptr, 1),
        pfseek(f, -1, SEEK_SET),
        (pfseeko(f, -5, SEEK_SET), 0), pftell(p), pftello(p), pfseek(p, 1, SEEK_SET), (pfseeko(p, 1, SEEK_SET), 0),
        pfwrite("abcdefgh", 2, 4, f, 0), pftell(f), (pfseeko(f, 2, SEEK_SET), 0), pftello(f), pfread(b, 1, 4, f),
        pfseek(f, -3, SEEK_END), pftell(f), pfread(b, 4, 1, f), pfseek(f, -1, SEEK_CUR), (pfseeko(f, -2, SEEK_CUR), 0),
        pftello(f), pfwrite("abc", 1, 3, full, 1), pfwrite("abc", 1, 3, full, 0)}.text.c_str(), b);
  });
  EXPECT_EQ(r.out, "-1 -1 4294967295 0 0 0 0 0 0 0 -1 0 -1 4294967295 -1 0 4 8 0 2 4 0 5 0 0 0 5 0 0 fghf");
  std::string texts;
  for (const char* text : {"pftell called with a NULL FILE pointer", "pfseek called with a NULL FILE pointer",
                           "pftello called with a NULL FILE pointer", "pfseeko called with a NULL FILE pointer",
                           "pfread called with a NULL buffer pointer", "pfread called with a NULL FILE pointer",
                           "pfwrite called with a NULL buffer pointer", "pfwrite called requesting zero-size elements",
                           "pfwrite called requesting zero elements", "pfwrite called with a NULL FILE pointer",
                           "pfseek called with SEEK_SET, but offset is negative",
                           "pfseeko called with SEEK_SET, but offset is negative",
                           "call to pftell failed:  Illegal seek", "call to pftello failed:  Illegal seek",
                           "call to pfseek failed:  Illegal seek",
                           "pfwrite only wrote 0 elements; 3 were requested"})
    texts += unit::appError(text);
  EXPECT_EQ(r.err, texts);
  // Stream handles: the standard three, a table that forgets closed ones, sizes measured for readers only.
  EXPECT_EQ(stream_stdin()->name + stream_stdin()->mode + stream_stdout()->name + stream_stdout()->mode +
                stream_stderr()->name + stream_stderr()->mode, "(stdin)r(stdout)w(stderr)w");
  const size_t before = stream_table_size();
  STREAM_HANDLE *in = stream_open(file.c_str(), "rb"), *out = stream_open(unit::scratch("out").c_str(), "wb");
  char got[8];
  EXPECT_EQ(std::tuple(stream_table_size(), stream_known_size(in), stream_known_size(out), stream_pread(in, got, 9, 6),
                       stream_pread(in, got, 1, -1), pread_full(fileno(in->stream), got, 9, 5), std::ftell(in->stream)),
            std::tuple(before + 2, 8, -1, 2, -1, 3, 0));
  EXPECT_TRUE(write_full(fileno(out->stream), "abc", 3) && !stream_open(unit::scratch("none/x").c_str(), "rb"));
  EXPECT_EQ(stream_close(in) + stream_close(out) + stream_close(nullptr), 0);
  EXPECT_EQ(std::pair(stream_table_size(), unit::slurp(unit::scratch("out"))), std::pair(before, std::string("abc")));
  const int full = open("/dev/full", O_WRONLY);
  EXPECT_FALSE(write_full(full, "abc", 3));
  close(full);
}

TEST(DataMap, ReadsAtAndPastTheEnds) {
  const std::string ten("\1\2\3\4\5\6\7\x08\x09\x0a", 10), text("ab\0cd", 5),
      leb("\xe5\x8e\x26\x85\x80\x80\x80\x10\x80", 9);
  for (auto [bytes, cursor, big, op, value, after] : {
           std::tuple<std::string, uint64_t, bool, char, std::string, uint64_t>{ten, 0, 0, '1', "01", 1},
           {ten, 0, 0, '2', "0201", 2}, {ten, 0, 1, '2', "0102", 2}, {ten, 1, 0, '4', "05040302", 5},
           {ten, 1, 1, '4', "02030405", 5}, {ten, 2, 0, '8', "0a09080706050403", 10},
           {ten, 2, 1, '8', "030405060708090a", 10}, {ten, 3, 0, '8', "0000000000000000", 11},
           {ten, 8, 0, '4', "00000000", 12}, {ten, 9, 0, '1', "0a", 10}, {ten, 10, 0, '1', "00", 11},
           {ten, UINT64_MAX - 1, 0, '8', "0000000000000000", UINT64_MAX}, {ten, 4, 0, 'b', "05060708090a", 10},
           {ten, 6, 0, 'b', "000000000000", 12}, {text, 0, 0, 't', "ab", 3}, {text, 3, 0, 't', "cd", 6},
           {text, 5, 0, 't', "", 6}, {text, 2, 0, 't', "", 3}, {leb, 0, 0, 'u', "00098765", 3},
           {leb, 3, 0, 'u', "00000005", 8}, {leb, 8, 0, 'u', "00000000", 10}, {leb, 0, 0, 'g', "650e26", 3},
           {leb, 8, 0, 'g', "0000", 10}, {leb, 9, 0, 'g', "00", 10}}) {
    DATA_MAP m;
    m.set_contents(bytes.data(), bytes.size()), m.set_swapped(big), m.set_cursor(cursor);
    uint64_t v = 0;
    int width = 0;
    uint8_t b[6];
    std::string got;
    std::vector<uint8_t> groups;
    switch (op) {
      case '1': v = m.read_u8(), width = 1; break;
      case '2': v = m.read_u16(), width = 2; break;
      case '4': v = m.read_u32(), width = 4; break;
      case '8': v = m.read_u64(), width = 8; break;
      case 'u': v = m.read_uleb128(), width = 4; break;
      case 'b': std::memset(b, 0xEE, 6), m.read_bytes(b, 6), got = hex(b, 6); break;
      case 't': got = m.read_text(); break;
      case 'g': groups = m.read_uleb128_groups(), got = hex(groups.data(), groups.size());
    }
    for (int i = width; i--;) got += hex(reinterpret_cast<uint8_t*>(&v) + i, 1);  // most significant first
    EXPECT_EQ(std::pair(got, m.get_cursor()), std::pair(value, after)) << op << " at " << cursor;
  }
}

TEST(DataMap, FlagsWritesAndLeb128) {
  EXPECT_EQ(std::string(endianness_name(1)) + endianness_name(2) + endianness_name(0),
            "little endianbig endianunknown endianness");
  DATA_MAP w;
  EXPECT_TRUE(w.is_loaded() && !w.is_defined() && !w.is_modified() && !w.is_swapped() && !w.data());
  w.set_swapped(true), w.write_u32(0x01020304), w.write_u16(0x0506), w.write_u64(0x0708090a0b0c0d0e);
  w.set_cursor(16), w.write_u8(0xff), w.set_endianness(0), w.set_endianness(77);  // neither: unchanged
  EXPECT_EQ(w.get_endianness(), 2);
  w.set_endianness(1), w.write_u64(0x1122334455667788), w.write_text("hi");
  for (uint64_t v : {624485ull, 0ull, 0x7full, 0x80ull, 0x100000005ull}) w.write_uleb128(v);
  EXPECT_TRUE(w.is_modified() && w.is_defined() && !w.is_swapped());
  EXPECT_EQ(hex(w.data(), w.size()),
            "0102030405060708090a0b0c0d0e0000ff8877665544332211686900e58e26007f80018580808010");
  w.set_cursor(0), w.write_bytes("xy", 2), w.write_bytes("", 0);  // inside the map: the size stays
  w.resize(60), w.resize(4);
  EXPECT_EQ(std::tuple(w.size(), w.held(), hex(w.data(), 3)), std::tuple(40u, 60u, "787903"));
  w.set_swapped(true), w.clear();
  EXPECT_TRUE(w.empty() && w.is_swapped() && w.is_loaded() && w.is_defined());
}

TEST(DataMap, FileRangesAreReadLazilyAndTheStreamStaysPut) {
  const std::string path = unit::scratch("range.bin"), dump = unit::scratch("dump.txt");
  unit::spit(path, "0123456789abcdef");
  unit::Ran r = unit::inChild([&] {
    DIAG::diag_cols = 1000;
    STREAM_HANDLE* s = stream_open(path.c_str(), "rb");
    std::fseek(s->stream, 5, SEEK_SET);
    DATA_MAP m, again, tail, beyond, far, c;
    m.set_swapped(true), m.attach(s, 4, 8);
    std::cout << std::hex << m.is_loaded() << m.is_defined() << m.is_swapped() << m.is_backed() << " " << m.size();
    std::cout << " " << m.read_u32() << " " << std::ftell(s->stream) << " " << m.read_text() << " " << m.get_cursor();
    DATA_MAP shared(m);  // an unwritten range is attached again
    std::cout << "|" << shared.is_loaded() << " " << shared.read_u32();
    m.set_cursor(0), m.write_u8('X'), c = m;
    std::cout << " " << c.is_backed() << " " << c.read_u8();
    again.attach(s, 0, 2), again.read_u16();
    const int fd = open(path.c_str(), O_WRONLY);  // once released, the map reads the file as it is now
    if (pwrite(fd, "w", 1, 0) != 1 || close(fd) != 0) return;
    again.release(), again.set_cursor(0);
    std::cout << "|" << again.is_loaded() << " " << again.held() << " " << again.read_u16();
    tail.attach(s, 10, 0xFFFFFFF0u);  // a header claiming nearly 4 GiB: a zero tail
    std::cout << "|" << tail.read_u32() << " " << tail.held() << " " << tail.read_u32();
    tail.set_cursor(0xFFFFFFF0u - 2);
    std::cout << " " << tail.read_u32() << " " << tail.get_cursor() << " " << (tail.set_cursor(4), tail.read_text());
    beyond.attach(s, 100, 8), far.attach(s, INT32_MIN, 4);  // reported, and read where the stream stands
    std::cout << " " << tail.get_cursor() << "|" << beyond.read_u64() << " " << beyond.held() << "|" << far.read_u32()
              << " " << std::ftell(s->stream);
    std::fseek(s->stream, 3000000000L, SEEK_SET), again.attach(s, 1, 1);  // a position past 31 bits is not restored
    std::cout << " " << std::ftell(s->stream) << " " << +again.read_u8() << " " << std::ftell(s->stream);
    std::fseek(s->stream, 3000000000L, SEEK_SET), again.attach(s, -1, 2);  // both at once
    std::cout << " " << again.read_u16() << " " << std::ftell(s->stream);
    char bytes[] = "0123456789abcdef";
    STREAM_HANDLE* memory = stream_adopt(fmemopen(bytes, 16, "r"), "memory", "r");  // no positioned reads
    std::fseek(memory->stream, 3, SEEK_SET), again.attach(memory, 2, 4);
    std::cout << "|" << again.read_u32() << " " << std::ftell(memory->stream) << std::dec;
    c.set_contents("x0123456789ABCDE\x7f\x80\x1f ~", 21), c.set_cursor(1);
    STREAM_HANDLE* d = stream_open(dump.c_str(), "w");
    for (uint64_t n : {uint64_t{20}, uint64_t{0}, uint64_t{1} << 32}) std::cout << "|" << c.dump(d, n);
    std::cout << " " << c.dump(nullptr, 1) << " " << c.get_cursor() << "|";
    c.set_contents("\1\2\3", 3), c.set_size(8), c.set_cursor(2), c.set_swapped(false);  // bytes short of the size
    std::cout << c.read_u32() << " " << c.read_u16() << " " << static_cast<void*>(&c);
  });
  const std::string map = r.out.substr(r.out.rfind(' ') + 1),
                    negative = unit::appError("pfseeko called with SEEK_SET, but offset is negative");
  EXPECT_EQ(r.out, "0111 8 34353637 5 89ab 9|0 34353637 0 X|0 0 3177|64636261 6 6665 0 fffffff2 ef 7|0 0|38373635 5 "
                   "b2d05e00 31 2 0 b2d05e00|35343332 3|0|0|-1 -1 1|3 0 " + map);
  EXPECT_EQ(r.err, negative + negative + negative + negative +
                       unit::appError("saving a single DATA_MAP with more than 4GB; unsupported") +
                       unit::appError("pfwrite called with a NULL FILE pointer") +
                       unit::appError("buffer of size 6 not big enough on const DATA_MAP " + map + " of size 8"));
  EXPECT_EQ(unit::slurp(dump), "00000000:  30 31 32 33 34 35 36 37 38 39 41 42 43 44 45 7f 0123456789ABCDE.\n"
                               "00000010:  80 1f 20 7e " + std::string(12 * 3, ' ') + ".. ~\n");
}
