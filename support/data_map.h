// DATA_MAP: a byte buffer with a cursor and a byte order, optionally standing
// for a range of a file that is read on first access. Every file content of
// the object-file library passes through one.
//
// Reads never touch memory outside the buffer:
// - a value that would end past size(), or that starts at or past the bytes
//   the map holds, reads as 0 (a text as "", a copy as zeros), and the cursor
//   still advances by the width;
// - a value that lies within size() but runs past the buffer is reported
//   ("buffer of size %zu not big enough ...") and its missing bytes read as 0.
// A backed map never allocates more than the stream really holds from its
// offset: the rest of its range is an implicit zero tail that reads as zeros
// without a report, as if the buffer had been grown with zeros.
#pragma once

#include <cstdint>
#include <vector>

#include "support/stream_io.h"

enum : int { DATA_MAP_LITTLE_ENDIAN = 1, DATA_MAP_BIG_ENDIAN = 2 };

// 1 "little endian", 2 "big endian", anything else "unknown endianness".
const char* endianness_name(int e);

class DATA_MAP {
public:
  DATA_MAP() = default;  // empty, flags "loaded" only
  DATA_MAP(const DATA_MAP& other) { assign(other); }
  DATA_MAP& operator=(const DATA_MAP& other) {
    if (this != &other) assign(other);
    return *this;
  }
  DATA_MAP(DATA_MAP&&) = default;
  DATA_MAP& operator=(DATA_MAP&&) = default;

  // Drops the buffer and stands for `length` bytes of `stream` at
  // `file_offset` (taken as signed when seeking); size = length, cursor 0,
  // flags "defined" (not loaded). The swapped bit is kept. Nothing is read.
  void attach(STREAM_HANDLE* stream, int32_t file_offset, uint32_t length);
  // Reads the backing range unless already loaded; the stream position is
  // restored afterwards. Marks the map loaded in every case.
  void load();
  // Frees the buffer; a backed map reads its file again on the next access.
  void release();
  // An unwritten backing range is shared by attaching to it; otherwise the
  // buffer and size are copied. The swapped bit is taken over; cursor 0.
  void assign(const DATA_MAP& other);
  // Copies `length` bytes in (null: zeros), drops the backing range;
  // size = length, cursor 0, flags loaded and defined (the swapped bit is
  // kept).
  void set_contents(const void* bytes, uint64_t length);
  // The same as set_contents(nullptr, 0): no bytes, size 0.
  void clear() { set_contents(nullptr, 0); }
  // Grows the buffer with zero bytes to `length` (never shrinks); the size
  // is not changed.
  void resize(uint64_t length);
  // Sets the logical size without touching the buffer.
  void set_size(uint64_t length) { size_ = length; }

  uint64_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  uint64_t get_cursor() const { return cursor_; }
  void set_cursor(uint64_t cursor) { cursor_ = cursor; }

  // Swapped means multi-byte values are big-endian.
  bool is_swapped() const { return flags_ & SWAPPED; }
  void set_swapped(bool swapped);
  // 1 little, 2 big; any other value leaves the byte order as it is.
  void set_endianness(int e);
  int get_endianness() const { return is_swapped() ? DATA_MAP_BIG_ENDIAN : DATA_MAP_LITTLE_ENDIAN; }

  bool is_loaded() const { return flags_ & LOADED; }
  bool is_modified() const { return flags_ & MODIFIED; }
  bool is_defined() const { return flags_ & DEFINED; }
  bool is_backed() const { return stream_ != nullptr; }

  // Reads at the cursor; each loads first and advances the cursor.
  uint8_t read_u8();
  uint16_t read_u16();
  uint32_t read_u32();
  uint64_t read_u64();
  void read_bytes(void* dest, uint64_t n);
  // The NUL-terminated text at the cursor (a pointer into the buffer, or a
  // static "" past the end); the cursor moves past the NUL, or to one past
  // the end when there is none within the size.
  const char* read_text();
  // Unsigned LEB128, bits beyond 32 dropped.
  uint32_t read_uleb128();
  // Unsigned LEB128 as its 7-bit groups, least significant first.
  std::vector<uint8_t> read_uleb128_groups();

  // Writes at the cursor (each loads first): the buffer grows with zeros as
  // needed, the map is marked modified, and the size rises to the cursor
  // when the cursor passes it.
  void write_uleb128(uint64_t value);
  void write_u8(uint8_t value);
  void write_u16(uint16_t value);
  void write_u32(uint32_t value);
  void write_u64(uint64_t value);
  void write_bytes(const void* bytes, uint64_t n);
  // The text and its NUL.
  void write_text(const char* text);

  // Hex dump of `length` bytes from the cursor, offsets counted from the
  // cursor; the cursor does not move. 0, or -1 when the length is above
  // 4 GiB - 1 (refused) or the stream cannot be written.
  int dump(STREAM_HANDLE* stream, uint64_t length);

  // Loads; the bytes held in memory, held() of them (possibly fewer than
  // size(): the rest reads as zeros). Null when nothing is held.
  const uint8_t* data();
  uint64_t held() const { return bytes_.empty() ? 0 : bytes_.size() - 1; }

private:
  enum : uint8_t { LOADED = 1, MODIFIED = 2, DEFINED = 4, SWAPPED = 8 };

  // Bytes up to which reads are served: those held plus the implicit zero tail.
  uint64_t extent() const;
  // Reads `width` bytes at the cursor into `out` under the rules above.
  void read_at_cursor(uint8_t* out, uint64_t width);
  // Holds at least `length` bytes, the new ones zero.
  void grow(uint64_t length);
  uint64_t combine(const uint8_t* bytes, unsigned width) const;
  void write_value(uint64_t value, unsigned width);

  // The held bytes plus one trailing NUL that is not part of them, so that a
  // text read at the end of the buffer is always terminated.
  std::vector<uint8_t> bytes_;
  uint64_t size_ = 0;
  uint64_t cursor_ = 0;
  STREAM_HANDLE* stream_ = nullptr;
  int32_t file_offset_ = 0;
  uint32_t file_length_ = 0;
  // End of the implicit zero tail of a loaded backed map.
  uint64_t zero_tail_end_ = 0;
  uint8_t flags_ = LOADED;
};
