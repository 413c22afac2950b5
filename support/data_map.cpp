#include "support/data_map.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "DIAG/user_msg_api.h"
#include "support/checked_io.h"

namespace {

uint64_t saturating_add(uint64_t a, uint64_t b) { return b > UINT64_MAX - a ? UINT64_MAX : a + b; }

// Bytes the stream really holds from `offset` on (both counted from the
// handle's base); the length of a backing range comes from a header and
// must not decide how much is allocated.
uint64_t bytes_available(STREAM_HANDLE* handle, int64_t offset) {
  FILE* f = handle->stream;
  if (!f || offset < 0) return 0;
  int64_t known = stream_known_size(handle);
  uint64_t length = 0;
  if (known >= 0) {
    length = static_cast<uint64_t>(known);
  } else {
    if (handle->mode.find_first_of("wa+") != std::string::npos) std::fflush(f);
    struct stat st;
    if (fstat(fileno(f), &st) == 0 && S_ISREG(st.st_mode)) {
      length = static_cast<uint64_t>(st.st_size);
    } else {
      off_t here = ftello(f);
      if (here < 0 || fseeko(f, 0, SEEK_END) != 0) return 0;
      off_t end = ftello(f);
      fseeko(f, here, SEEK_SET);
      if (end < 0) return 0;
      length = static_cast<uint64_t>(end);
    }
    // Lengths count from the handle's base, as offsets do.
    const auto base = static_cast<uint64_t>(handle->base);
    length = length > base ? length - base : 0;
  }
  uint64_t start = static_cast<uint64_t>(offset);
  return length > start ? length - start : 0;
}

}  // namespace

const char* endianness_name(int e) {
  switch (e) {
    case DATA_MAP_LITTLE_ENDIAN: return "little endian";
    case DATA_MAP_BIG_ENDIAN: return "big endian";
    default: return "unknown endianness";
  }
}

void DATA_MAP::attach(STREAM_HANDLE* stream, int32_t file_offset, uint32_t length) {
  std::vector<uint8_t>().swap(bytes_);
  zero_tail_end_ = 0;
  stream_ = stream;
  file_offset_ = file_offset;
  file_length_ = length;
  size_ = length;
  cursor_ = 0;
  flags_ = static_cast<uint8_t>((flags_ & SWAPPED) | DEFINED);
}

void DATA_MAP::load() {
  if (is_loaded()) return;
  flags_ |= LOADED;
  uint64_t n = std::min<uint64_t>(size_, file_length_);
  if (n == 0 || !stream_) return;
  // Remember the position, seek, read, seek back. A negative offset cannot
  // be seeked to: that is reported, and the read happens wherever the
  // stream stands.
  const uint32_t position = pftello(stream_);
  if (file_offset_ < 0) pfseeko(stream_, file_offset_, SEEK_SET);
  const int64_t at = file_offset_ >= 0 ? file_offset_ : stream_tell(stream_);
  const uint64_t present = at < 0 ? 0 : std::min(n, bytes_available(stream_, at));
  bytes_.assign(present ? present + 1 : 0, 0);
  zero_tail_end_ = n;
  // Positioned reads leave the stream where it is, and most of the time
  // that is where the seek back would put it.
  int64_t got = present > 0 ? stream_pread(stream_, bytes_.data(), present, at) : 0;
  if (got >= 0) {
    const auto back = static_cast<int32_t>(position);
    if (back < 0) {
      // Not restored (with its report): the stream is left where the read
      // ended.
      pfseeko(stream_, back, SEEK_SET);
      stream_seek(stream_, at + got);
    } else if (stream_tell(stream_) != back) {
      stream_seek(stream_, back);
    }
    return;
  }
  if (file_offset_ >= 0) pfseeko(stream_, file_offset_, SEEK_SET);
  // A short read is not reported: the missing bytes read as zeros.
  if (present > 0) pfread(bytes_.data(), present, 1, stream_);
  pfseeko(stream_, static_cast<int32_t>(position), SEEK_SET);
}

void DATA_MAP::release() {
  std::vector<uint8_t>().swap(bytes_);
  zero_tail_end_ = 0;
  if (!stream_) return;
  flags_ &= static_cast<uint8_t>(~LOADED);
  // Not even the stream's read-ahead may answer the next access.
  stream_forget(stream_);
}

void DATA_MAP::assign(const DATA_MAP& other) {
  if (other.stream_ && !other.is_modified()) {
    attach(other.stream_, other.file_offset_, other.file_length_);
    set_swapped(other.is_swapped());
    return;
  }
  bytes_ = other.bytes_;
  zero_tail_end_ = other.zero_tail_end_;
  size_ = other.size_;
  cursor_ = 0;
  stream_ = nullptr;
  file_offset_ = 0;
  file_length_ = 0;
  flags_ = static_cast<uint8_t>(other.flags_ | LOADED);
}

void DATA_MAP::set_contents(const void* bytes, uint64_t length) {
  bytes_.clear();
  zero_tail_end_ = 0;
  grow(length);
  if (bytes && length) std::memcpy(bytes_.data(), bytes, length);
  stream_ = nullptr;
  file_offset_ = 0;
  file_length_ = 0;
  size_ = length;
  cursor_ = 0;
  flags_ = static_cast<uint8_t>((flags_ & SWAPPED) | LOADED | DEFINED);
}

void DATA_MAP::resize(uint64_t length) {
  load();
  grow(length);
}

void DATA_MAP::set_swapped(bool swapped) {
  if (swapped) flags_ |= SWAPPED;
  else flags_ &= static_cast<uint8_t>(~SWAPPED);
}

void DATA_MAP::set_endianness(int e) {
  if (e == DATA_MAP_LITTLE_ENDIAN) set_swapped(false);
  else if (e == DATA_MAP_BIG_ENDIAN) set_swapped(true);
}

uint64_t DATA_MAP::extent() const { return std::max(held(), zero_tail_end_); }

void DATA_MAP::grow(uint64_t length) {
  if (length <= held()) return;
  try {
    // One more byte than held: the NUL that terminates a text at the end.
    bytes_.resize(static_cast<size_t>(length) + 1, 0);
  } catch (const std::bad_alloc&) {
    std::fputs("ERROR: out of memory\n", stderr);
    std::exit(1);
  } catch (const std::length_error&) {
    std::fputs("ERROR: out of memory\n", stderr);
    std::exit(1);
  }
}

void DATA_MAP::read_at_cursor(uint8_t* out, uint64_t width) {
  load();
  const uint64_t at = cursor_;
  cursor_ = saturating_add(at, width);
  if (width == 0) return;
  std::memset(out, 0, width);
  if (at > size_ || width > size_ - at) return;
  const uint64_t end = extent();
  if (at >= end) return;
  if (width > end - at) {
    user_msg_app_error(user_msg_reporter(),
                       "buffer of size %zu not big enough on const DATA_MAP %p of size %zu",
                       static_cast<size_t>(at + width), static_cast<const void*>(this),
                       static_cast<size_t>(size_));
  }
  const uint64_t have = held();
  if (at < have) std::memcpy(out, bytes_.data() + at, std::min(width, have - at));
}

uint64_t DATA_MAP::combine(const uint8_t* bytes, unsigned width) const {
  uint64_t value = 0;
  for (unsigned i = 0; i < width; ++i) {
    unsigned index = is_swapped() ? i : width - 1 - i;
    value = (value << 8) | bytes[index];
  }
  return value;
}

uint8_t DATA_MAP::read_u8() {
  uint8_t b;
  read_at_cursor(&b, 1);
  return b;
}

uint16_t DATA_MAP::read_u16() {
  uint8_t b[2];
  read_at_cursor(b, 2);
  return static_cast<uint16_t>(combine(b, 2));
}

uint32_t DATA_MAP::read_u32() {
  uint8_t b[4];
  read_at_cursor(b, 4);
  return static_cast<uint32_t>(combine(b, 4));
}

uint64_t DATA_MAP::read_u64() {
  uint8_t b[8];
  read_at_cursor(b, 8);
  return combine(b, 8);
}

void DATA_MAP::read_bytes(void* dest, uint64_t n) { read_at_cursor(static_cast<uint8_t*>(dest), n); }

const char* DATA_MAP::read_text() {
  load();
  const uint64_t at = cursor_;
  const uint64_t limit = std::min(size_, extent());
  const uint64_t have = held();
  if (at >= limit || at >= have) {
    // Past the end, or in the zero tail: the empty text.
    cursor_ = saturating_add(at, 1);
    return "";
  }
  const char* text = reinterpret_cast<const char*>(bytes_.data() + at);
  const uint64_t scan_end = std::min(limit, have);
  if (const void* nul = std::memchr(text, 0, scan_end - at)) {
    cursor_ = at + static_cast<uint64_t>(static_cast<const char*>(nul) - text) + 1;
  } else if (scan_end < limit) {
    cursor_ = have + 1;  // ended by the first byte of the zero tail
  } else {
    cursor_ = saturating_add(size_, 1);
  }
  // Terminated within the buffer or by the NUL kept after it.
  return text;
}

uint32_t DATA_MAP::read_uleb128() {
  uint32_t value = 0;
  unsigned shift = 0;
  for (;;) {
    uint8_t b = read_u8();
    if (shift < 32) value |= static_cast<uint32_t>(b & 0x7F) << shift;
    shift += 7;
    if (!(b & 0x80)) return value;
  }
}

std::vector<uint8_t> DATA_MAP::read_uleb128_groups() {
  std::vector<uint8_t> groups;
  for (;;) {
    uint8_t b = read_u8();
    groups.push_back(b & 0x7F);
    if (!(b & 0x80)) return groups;
  }
}

void DATA_MAP::write_bytes(const void* bytes, uint64_t n) {
  load();
  if (n == 0 || n > UINT64_MAX - cursor_) return;
  const uint64_t end = cursor_ + n;
  grow(end);
  std::memcpy(bytes_.data() + cursor_, bytes, n);
  cursor_ = end;
  flags_ |= MODIFIED | DEFINED;
  if (cursor_ > size_) size_ = cursor_;
}

void DATA_MAP::write_value(uint64_t value, unsigned width) {
  uint8_t b[8];
  for (unsigned i = 0; i < width; ++i) {
    unsigned index = is_swapped() ? width - 1 - i : i;
    b[index] = static_cast<uint8_t>(value >> (8 * i));
  }
  write_bytes(b, width);
}

void DATA_MAP::write_u8(uint8_t value) { write_value(value, 1); }
void DATA_MAP::write_u16(uint16_t value) { write_value(value, 2); }
void DATA_MAP::write_u32(uint32_t value) { write_value(value, 4); }
void DATA_MAP::write_u64(uint64_t value) { write_value(value, 8); }

void DATA_MAP::write_uleb128(uint64_t value) {
  uint8_t b[10];
  unsigned n = 0;
  do {
    b[n] = value & 0x7F;
    value >>= 7;
    if (value) b[n] |= 0x80;
    ++n;
  } while (value);
  write_bytes(b, n);
}

void DATA_MAP::write_text(const char* text) { write_bytes(text, std::strlen(text) + 1); }

int DATA_MAP::dump(STREAM_HANDLE* stream, uint64_t length) {
  if (length > UINT32_MAX) {
    user_msg_app_error(user_msg_reporter(), "saving a single DATA_MAP with more than 4GB; unsupported");
    return -1;
  }
  load();
  const uint64_t have = held();
  auto byte_at = [&](uint64_t i) -> uint8_t {
    uint64_t at = saturating_add(cursor_, i);
    return at < have ? bytes_[at] : 0;
  };
  for (uint64_t i = 0; i < length; i += 16) {
    char line[16 + 16 * 3 + 16 + 2];
    int len = std::snprintf(line, sizeof line, "%08zx:  ", static_cast<size_t>(i));
    const uint64_t count = std::min<uint64_t>(16, length - i);
    for (uint64_t j = 0; j < 16; ++j) {
      if (j < count) len += std::snprintf(line + len, sizeof line - len, "%02x ", byte_at(i + j));
      else len += std::snprintf(line + len, sizeof line - len, "   ");
    }
    for (uint64_t j = 0; j < count; ++j) {
      uint8_t c = byte_at(i + j);
      line[len++] = (c >= 0x20 && c <= 0x7E) ? static_cast<char>(c) : '.';
    }
    line[len++] = '\n';
    if (pfwrite(line, 1, static_cast<size_t>(len), stream, false) == 0) return -1;
  }
  return 0;
}

const uint8_t* DATA_MAP::data() {
  load();
  return bytes_.empty() ? nullptr : bytes_.data();
}
