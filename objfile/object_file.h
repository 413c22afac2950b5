// One object file in memory, made by create_object_file from an open stream
// (a whole file, or an archive member with the stream at its data). The
// caller owns the object and deletes it; the object never owns the stream.
#pragma once

#include <cstdint>
#include <memory>

#include "objfile/machine_db.h"
#include "objfile/section_table.h"
#include "objfile/segment_table.h"
#include "objfile/state_machine.h"
#include "objfile/symbol.h"
#include "objfile/symbol_table.h"
#include "support/data_map.h"
#include "support/stream_io.h"

namespace OFE {

class ELF_FILE;
class ELF_SECTION;

enum OF_FILE_FORMAT : uint32_t { OF_FORMAT_UNKNOWN = 0, OF_FORMAT_COFF = 1, OF_FORMAT_ELF = 2 };

// Codes of the statuses an object records about itself.
enum OF_STATUS_CODE : int32_t {
  OF_STATUS_NONE = 0,
  OF_STATUS_BAD_DATA = 4,         // malformed contents, ignored
  OF_STATUS_WRONG_INTERFACE = 3,  // the process then stops
  OF_STATUS_REFUSED = 5,          // operation refused (state or argument)
  OF_STATUS_FAILED = 7,           // operation failed
};

// What the factory learns about its input before building the object.
struct OBJECT_FILE_SOURCE {
  STREAM_HANDLE* stream = nullptr;
  uint64_t open_flags = 0;
  uint32_t format = OF_FORMAT_UNKNOWN;
  uint32_t version = 0;         // ELF: 4 when e_version is 1; COFF: 1 to 3
  uint32_t elf_class = 0;       // 1 = 32-bit, 2 = 64-bit
  uint32_t encoding = 0;        // 1 = little-endian, 2 = big-endian
  uint32_t machine_family = 0;  // selects the machine database
  int64_t start = 0;            // position of the object's data in the stream
  uint64_t size = 0;            // bytes of the object's data
  uint64_t reserved = 0;
};

using OF_STATUS_CALLBACK = void (*)(OBJECT_FILE* object, int32_t code, const char* message);

// Null when the data does not begin with the ELF magic (no message then).
// `size` 0 means "to the end of the stream" and needs the stream at 0.
OBJECT_FILE* create_object_file(STREAM_HANDLE* stream, uint64_t size, uint64_t open_flags,
                                OF_STATUS_CALLBACK status_callback);

class OBJECT_FILE : public OF_STATE_MACHINE {
public:
  explicit OBJECT_FILE(const OBJECT_FILE_SOURCE& source);
  ~OBJECT_FILE() override;

  // Created on the first call.
  OF_SECTION_TABLE* get_section_table();
  // The ".symtab" section's symbol table (a ".symtab" is added in memory when
  // there is none); null when ".symtab" is neither SHT_SYMTAB nor SHT_DYNSYM.
  virtual OF_SYMBOL_TABLE* get_symbol_table();
  virtual int read_from_source(const OBJECT_FILE_SOURCE& source) = 0;
  OF_SEGMENT_TABLE* get_segment_table();

  // Makes `map` stand for `length` bytes at `offset` from the object's start
  // in its stream; read on first access. Offset and length are taken as the
  // map's 32-bit fields. -1 (status 7) without a stream.
  int get_file_data(uint64_t offset, uint64_t length, DATA_MAP& map);

  // Records a status under the rules of precedence, and tells the callback.
  void record_status(int32_t code, const char* format, ...)
      __attribute__((format(printf, 3, 4)));
  int32_t get_status() const { return status_code_; }
  // The latest message; it lives in a buffer shared by all objects.
  const char* get_status_message() const { return status_message_; }
  // Installs the callback; a status already recorded is delivered at once.
  void set_status_callback(OF_STATUS_CALLBACK callback);

  // The ELF form of this object; for any other format status 3 is recorded
  // and the process stops, since the caller cannot go on without it.
  ELF_FILE* require_elf_interface();

  const OBJECT_FILE_SOURCE& get_source() const { return source_; }
  int get_host_encoding() const { return host_encoding_; }
  uint32_t get_flags() const { return flags_; }
  OF_MACHINE_DB& get_machine_db() const { return *machine_db_; }
  // Creation serial number: 0 for the first object of the process.
  uint32_t get_serial() const { return serial_; }

protected:
  virtual std::unique_ptr<OF_SECTION_TABLE> make_section_table() = 0;
  void set_source(const OBJECT_FILE_SOURCE& source) { source_ = source; }

private:
  friend OBJECT_FILE* create_object_file(STREAM_HANDLE*, uint64_t, uint64_t, OF_STATUS_CALLBACK);

  OBJECT_FILE_SOURCE source_;
  int host_encoding_ = 1;  // this host is little-endian
  int32_t status_code_ = OF_STATUS_NONE;
  const char* status_message_ = "";
  OF_STATUS_CALLBACK callback_ = nullptr;
  uint32_t flags_ = 256;
  std::unique_ptr<OF_MACHINE_DB> machine_db_;
  uint32_t serial_ = 0;
  std::unique_ptr<OF_SEGMENT_TABLE> segment_table_;
  std::unique_ptr<OF_SECTION_TABLE> section_table_;
  uint32_t symtab_index_ = 0;  // 0 until ".symtab" has been looked up
};

}  // namespace OFE
