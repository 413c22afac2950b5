#include "objfile/object_file.h"

#include <csignal>
#include <cstdarg>
#include <cstdio>

#include "objfile/elf_file.h"
#include "objfile/section.h"
#include "support/fatal_signal.h"

namespace OFE {

namespace {

// One buffer for every object's latest message: only the newest survives.
char status_buffer[4095];

// Whether a status already recorded keeps a new report of `code` out.
bool keeps_out(int32_t recorded, int32_t code) {
  switch (recorded) {
    case 0: return false;
    case 4:
    case 6: return code == 4 || code == 6;
    case 8: return code == 4 || code == 6 || code == 8;
    case 1: case 2: case 3: case 5: case 7: return true;
    default: return recorded > 8;
  }
}

}  // namespace

OBJECT_FILE::OBJECT_FILE(const OBJECT_FILE_SOURCE& source)
    : OF_STATE_MACHINE(this), source_(source),
      machine_db_(create_machine_db(source.machine_family, this)) {}

OBJECT_FILE::~OBJECT_FILE() = default;

void OBJECT_FILE::record_status(int32_t code, const char* format, ...) {
  if (status_code_ != OF_STATUS_NONE && callback_) callback_(this, status_code_, status_message_);
  if (keeps_out(status_code_, code)) return;

  va_list args;
  va_start(args, format);
  std::vsnprintf(status_buffer, sizeof status_buffer, format, args);
  va_end(args);
  status_code_ = code;
  status_message_ = status_buffer;
  if (code != OF_STATUS_NONE && callback_) callback_(this, code, status_message_);
}

void OBJECT_FILE::set_status_callback(OF_STATUS_CALLBACK callback) {
  callback_ = callback;
  if (callback_ && status_code_ != OF_STATUS_NONE) callback_(this, status_code_, status_message_);
}

ELF_FILE* OBJECT_FILE::require_elf_interface() {
  if (source_.format != OF_FORMAT_ELF) {
    record_status(OF_STATUS_WRONG_INTERFACE, "%s", "attempting to get ELF interface for non-ELF file");
    raise_fatal(SIGSEGV);
  }
  return static_cast<ELF_FILE*>(this);
}

OF_SECTION_TABLE* OBJECT_FILE::get_section_table() {
  if (!section_table_) section_table_ = make_section_table();
  return section_table_.get();
}

OF_SEGMENT_TABLE* OBJECT_FILE::get_segment_table() {
  if (!segment_table_) segment_table_ = std::make_unique<OF_SEGMENT_TABLE>(this);
  return segment_table_.get();
}

int OBJECT_FILE::get_file_data(uint64_t offset, uint64_t length, DATA_MAP& map) {
  if (!source_.stream) {
    record_status(OF_STATUS_FAILED, "%s",
                  "illegal call to OBJECT_FILE::get_file_data() when the OBJECT_FILE object was "
                  "not read from an input file");
    return -1;
  }
  // Maps hold 32-bit file offsets; a position that does not fit is passed
  // as negative, which the map reports when it is first read.
  int64_t position = offset > INT32_MAX ? -1 : source_.start + static_cast<int64_t>(offset);
  int32_t file_offset = position < 0 || position > INT32_MAX ? -1 : static_cast<int32_t>(position);
  // The backing length is 32-bit too: a length of 4 GiB or more keeps only
  // its low 32 bits (0x100000000 maps no bytes at all).
  map.attach(source_.stream, file_offset, static_cast<uint32_t>(length));
  return 0;
}

OF_SYMBOL_TABLE* OBJECT_FILE::get_symbol_table() {
  OF_SECTION_TABLE* table = get_section_table();
  OF_SECTION* section = nullptr;
  if (symtab_index_ == 0) {
    section = table->find_section(".symtab", 0);
    if (!section) section = table->add_section(".symtab");
    if (!section) return nullptr;
    symtab_index_ = section->get_index();
  } else {
    section = table->get_section(symtab_index_);
    if (!section) return nullptr;
  }
  section->get_owner_file()->require_elf_interface();
  return static_cast<ELF_SECTION*>(section)->get_symbol_table();
}

}  // namespace OFE
