#include "archiver/symbol_table.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <vector>

#include "archiver/archive_format.h"
#include "archiver/member_store.h"
#include "objfile/object_file.h"
#include "objfile/symbol_scan.h"
#include "support/fatal_signal.h"
#include "support/host_path.h"
#include "support/paths.h"

void assignHeaderOffsets(Archive& archive, uint32_t nameTableLength) {
  archive.symbolTableBytes += 4;
  uint64_t offset = kMagicSize + kHeaderSize + roundUpEven(archive.symbolTableBytes);
  if (nameTableLength != 0) offset += kHeaderSize + roundUpEven(nameTableLength);
  for (ArchiveMember* m = archive.members; m; m = m->next) {
    // The table's offsets are 32-bit words: a header at 4 GiB or beyond
    // cannot be recorded.
    if (offset > 0xFFFFFFFFull) reportArchiveError(archive, WriteError, "Cannot write symbol table");
    m->headerOffset = static_cast<uint32_t>(offset);
    offset += kHeaderSize + roundUpEven(static_cast<uint32_t>(m->size));
  }
  for (ArchiveSymbol* s = archive.symbols; s; s = s->next) s->memberOffset = s->member->headerOffset;
}

bool isArchiveSymbol(int binding, int kind) {
  bool globalOrWeak = binding == OFE::OF_SYMBOL_BINDING_GLOBAL || binding == OFE::OF_SYMBOL_BINDING_WEAK;
  bool definition = kind == OFE::OF_SYMBOL_KIND_DEFINED || kind == OFE::OF_SYMBOL_KIND_ABSOLUTE ||
                    kind == OFE::OF_SYMBOL_KIND_COMMON;
  return globalOrWeak && definition;
}

void gatherMemberSymbols(Archive& archive, ArchiveMember& member, OFE::OBJECT_FILE& object) {
  OFE::OF_SYMBOL_TABLE* table = object.get_symbol_table();
  // A ".symtab" of the wrong type leaves nothing to ask: the run stops in
  // the internal-error report, on purpose.
  if (!table) raise_fatal(SIGSEGV);
  uint32_t count = table->get_num_symbols();
  for (uint32_t index = 0; index < count; index = table->get_next_index(index)) {
    OFE::OF_SYMBOL* symbol = table->get_symbol(index);
    if (!symbol || !isArchiveSymbol(symbol->get_binding(), symbol->get_kind())) continue;
    appendSymbol(archive, &member, zone_strdup(&archive.zone, symbol->get_name()));
  }
}

namespace {

// Members up to this size are read whole, once, and examined in memory:
// an object's header, section headers and tables then cost no further
// system calls.
constexpr int32_t kInMemoryLimit = 1 << 20;

// A read-only stream over `length` bytes in memory, named `name`; null when
// the C library cannot make one.
STREAM_HANDLE* adoptMemory(const uint8_t* bytes, size_t length, const char* name) {
  FILE* memory = length > 0 ? fmemopen(const_cast<uint8_t*>(bytes), length, "rb") : nullptr;
  return memory ? stream_adopt(memory, name, "rb") : nullptr;
}

// A member's data as the symbol pass sees it: read whole into memory when
// it is small, otherwise a stream to read it from.
struct MemberData {
  const uint8_t* bytes = nullptr;
  size_t held = 0;                  // bytes in memory, when read whole
  STREAM_HANDLE* stream = nullptr;  // a stream of its own, closed after use
};

// A small member file is read with one call into `buffer` (room for `size`
// bytes); a large one, or one that gives nothing (a directory, say), is
// opened as a stream and the ordinary reads decide. False when the file
// cannot be opened at all.
bool openMemberFile(const char* path, int32_t size, uint8_t* buffer, MemberData& data) {
  if (size <= kInMemoryLimit) {
    int fd = open(hostPath(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    ssize_t got = size > 0 ? read(fd, buffer, static_cast<size_t>(size)) : 0;
    close(fd);
    if (got > 0) {
      data.bytes = buffer;
      data.held = static_cast<size_t>(got);
      return true;
    }
  }
  data.stream = openFile(path, "rb");
  return data.stream != nullptr;
}

// Reads a member file for the symbol pass; a small one read whole is kept
// for the write.
void readMemberFile(Archive& archive, ArchiveMember& member, std::vector<uint8_t>& bytes,
                    MemberData& data) {
  const bool small = member.size > 0 && member.size <= kInMemoryLimit;
  bytes.resize(small ? static_cast<size_t>(member.size) : 1);
  if (!openMemberFile(member.sourcePath, member.size, bytes.data(), data))
    reportArchiveError(archive, OpenError, "Cannot open file: '%s'", member.sourcePath);
  // A file that shrank since it was measured is read again by the write,
  // which reports it.
  if (small && data.held == static_cast<size_t>(member.size)) keepMemberFile(archive, member, data.bytes);
}

// A small member of the old archive is read through the archive's
// read-ahead window: seeking the archive's stream for every member would
// cost system calls. A large one, or one not all there, is left to the
// archive's own stream.
void readOldMember(Archive& archive, const ArchiveMember& member, std::vector<uint8_t>& bytes,
                   MemberData& data) {
  if (member.size < 1 || member.size > kInMemoryLimit) return;
  bytes.resize(static_cast<size_t>(member.size));
  if (!readMemberData(archive, member, bytes.data())) return;
  data.bytes = bytes.data();
  data.held = bytes.size();
}

// The symbols of a member read whole, straight from its bytes when the
// object is plain; false when the object reader must be asked.
bool scanMemberSymbols(Archive& archive, ArchiveMember& member, const MemberData& data) {
  static std::vector<OFE::SCANNED_SYMBOL> symbols;
  // A file that shrank since it was measured reads as zeros past its end:
  // the object reader knows how.
  if (data.held != static_cast<size_t>(member.size) || !OFE::scan_symbols(data.bytes, data.held, symbols))
    return false;
  for (const OFE::SCANNED_SYMBOL& symbol : symbols)
    if (isArchiveSymbol(symbol.binding, symbol.kind))
      appendSymbol(archive, &member, zone_strdup(&archive.zone, symbol.name));
  return true;
}

}  // namespace

void collectSymbols(Archive& archive, uint32_t nameTableLength) {
  archive.symbols = archive.lastSymbol = nullptr;
  archive.symbolCount = 0;
  archive.symbolTableBytes = 0;
  std::vector<uint8_t> memberBytes;
  beginKeeping(archive);
  for (ArchiveMember* m = archive.members; m; m = m->next) {
    MemberData data;
    if (m->sourcePath)
      readMemberFile(archive, *m, memberBytes, data);
    else
      readOldMember(archive, *m, memberBytes, data);
    if (m->size < 1 || (data.held > 0 && scanMemberSymbols(archive, *m, data))) {
      if (data.stream) closeFile(data.stream);
      continue;
    }
    if (data.held > 0) {
      data.stream = adoptMemory(data.bytes, data.held, m->sourcePath ? m->sourcePath : archive.path);
      if (!data.stream && m->sourcePath && !(data.stream = openFile(m->sourcePath, "rb")))
        reportArchiveError(archive, OpenError, "Cannot open file: '%s'", m->sourcePath);
    }
    STREAM_HANDLE* stream = data.stream;
    STREAM_HANDLE member;
    if (!stream) {
      if (!archive.input || !archive.input->stream ||
          fseeko(archive.input->stream, static_cast<off_t>(m->dataOffset), SEEK_SET) != 0)
        reportArchiveError(archive, DataReadError, "Cannot read file: '%s'", archive.path);
      // The library reads the member as a file of its own that runs on to
      // the archive's end: its 32-bit offsets are offsets inside the
      // member, wherever the member lies.
      member = stream_view(archive.input, static_cast<int64_t>(m->dataOffset));
      stream = &member;
    }
    // Only one object exists at a time: made, read and destroyed per member.
    OFE::OBJECT_FILE* object = OFE::create_object_file(stream, static_cast<uint64_t>(m->size), 0, nullptr);
    if (object) gatherMemberSymbols(archive, *m, *object);
    if (data.stream) closeFile(data.stream);
    delete object;
  }
  finishKeeping(archive);
  if (archive.symbolTableBytes == 0) return;
  assignHeaderOffsets(archive, nameTableLength);
}
