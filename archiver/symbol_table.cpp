#include "archiver/symbol_table.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <vector>

#include "archiver/archive_format.h"
#include "objfile/object_file.h"
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

// A read-only stream over the first `size` bytes of the file at `path`, in
// memory when the file is small; null when it cannot be opened.
STREAM_HANDLE* openMemberFile(const char* path, int32_t size, std::vector<uint8_t>& bytes) {
  if (size > kInMemoryLimit) return openFile(path, "rb");
  int fd = open(hostPath(path).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return nullptr;
  bytes.resize(static_cast<size_t>(size > 0 ? size : 1));
  ssize_t got = size > 0 ? read(fd, bytes.data(), static_cast<size_t>(size)) : 0;
  close(fd);
  // Nothing read (a directory, say): the ordinary open decides.
  if (got <= 0) return openFile(path, "rb");
  FILE* memory = fmemopen(bytes.data(), static_cast<size_t>(got), "rb");
  return memory ? stream_adopt(memory, path, "rb") : openFile(path, "rb");
}

}  // namespace

void collectSymbols(Archive& archive, uint32_t nameTableLength) {
  archive.symbols = archive.lastSymbol = nullptr;
  archive.symbolCount = 0;
  archive.symbolTableBytes = 0;
  std::vector<uint8_t> memberBytes;
  for (ArchiveMember* m = archive.members; m; m = m->next) {
    STREAM_HANDLE* source = nullptr;
    STREAM_HANDLE* data;
    if (m->sourcePath) {
      source = openMemberFile(m->sourcePath, m->size, memberBytes);
      if (!source) reportArchiveError(archive, OpenError, "Cannot open file: '%s'", m->sourcePath);
      data = source;
    } else {
      data = archive.input;
      if (!data || !data->stream ||
          fseeko(data->stream, static_cast<off_t>(m->dataOffset), SEEK_SET) != 0)
        reportArchiveError(archive, DataReadError, "Cannot read file: '%s'", archive.path);
    }
    // Only one object exists at a time: made, read and destroyed per member.
    OFE::OBJECT_FILE* object =
        m->size < 1 ? nullptr
                    : OFE::create_object_file(data, static_cast<uint64_t>(m->size), 0, nullptr);
    if (object) gatherMemberSymbols(archive, *m, *object);
    if (source) closeFile(source);
    delete object;
  }
  if (archive.symbolTableBytes == 0) return;
  assignHeaderOffsets(archive, nameTableLength);
}
