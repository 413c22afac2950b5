#include <cstdio>

#include "DIAG/user_msg_api.h"
#include "objfile/elf_file.h"
#include "support/checked_io.h"

namespace OFE {

namespace {

// Creation serial numbers, process-wide; the first object gets 0.
uint32_t next_serial = 0;

uint16_t word16(const uint8_t* p, bool big) {
  return big ? static_cast<uint16_t>(p[0] << 8 | p[1]) : static_cast<uint16_t>(p[1] << 8 | p[0]);
}

uint32_t word32(const uint8_t* p, bool big) {
  uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value |= uint32_t{p[i]} << (big ? 8 * (3 - i) : 8 * i);
  return value;
}

// Fills in format, version, class, encoding and machine family from the
// first 24 bytes. Only the ELF magic decides; the rest is taken leniently.
void recognise_format(OBJECT_FILE_SOURCE& source) {
  source.start = pftell(source.stream);
  if (source.size == 0) {
    pfseek(source.stream, 0, SEEK_END);
    long end = pftell(source.stream);
    source.size = end < 0 ? 0 : static_cast<uint64_t>(end);
    pfseek(source.stream, source.start, SEEK_SET);
  }

  DATA_MAP map;
  int32_t start = source.start < 0 || source.start > INT32_MAX ? -1 : static_cast<int32_t>(source.start);
  map.attach(source.stream, start, 24);
  uint8_t b[24];
  map.read_bytes(b, sizeof b);

  if (b[0] == 0x7F && b[1] == 'E' && b[2] == 'L' && b[3] == 'F') {
    source.format = OF_FORMAT_ELF;
    source.elf_class = b[EI_CLASS] == 1 ? 1 : 2;
    source.encoding = b[EI_DATA] == 1 ? 1 : 2;
    const bool big = source.encoding == 2;
    source.version = word32(b + 20, big) == 1 ? 4 : 0;
    source.machine_family = machine_family_from_elf(word16(b + 18, big));
  } else {
    for (bool big : {false, true}) {
      uint16_t magic = word16(b, big);
      uint32_t version = magic == 0xC2 ? 3 : magic == 0xC1 ? 2 : magic >= 0x90 && magic <= 0xA3 ? 1 : 0;
      if (version == 0) continue;
      source.format = OF_FORMAT_COFF;
      source.version = version;
      source.encoding = big ? 2 : 1;
      source.machine_family = version == 1 ? machine_family_from_coff_magic(magic)
                                           : machine_family_from_coff_target(word16(b + 20, big));
      break;
    }
  }
  pfseek(source.stream, source.start, SEEK_SET);
}

}  // namespace

OBJECT_FILE* create_object_file(STREAM_HANDLE* stream, uint64_t size, uint64_t open_flags,
                                OF_STATUS_CALLBACK status_callback) {
  long position = pftell(stream);
  if (size == 0 && position != 0) {
    user_msg_error(user_msg_reporter(), "%s",
                   "a file size must be specified when reading an archive member; OBJECT_FILE "
                   "not created");
    return nullptr;
  }

  OBJECT_FILE_SOURCE source;
  source.stream = stream;
  source.open_flags = open_flags;
  source.size = size;
  recognise_format(source);
  if (source.format != OF_FORMAT_ELF) return nullptr;

  OBJECT_FILE* object = nullptr;
  if (source.elf_class == 2)
    object = new ELF_FILE_IMPL<64>(source);
  else
    object = new ELF_FILE_IMPL<32>(source);
  if (status_callback) object->set_status_callback(status_callback);
  object->read_from_source(source);
  object->serial_ = next_serial++;
  object->get_machine_db().start_object();
  return object;
}

}  // namespace OFE
