#include "archiver/symbol_table.h"

#include "archiver/archive_format.h"

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

void collectSymbols(Archive& archive, uint32_t nameTableLength) {
  archive.symbols = archive.lastSymbol = nullptr;
  archive.symbolCount = 0;
  archive.symbolTableBytes = 0;
  if (archive.symbolTableBytes == 0) return;
  assignHeaderOffsets(archive, nameTableLength);
}
