#include "archiver/symbol_table.h"

#include <csignal>
#include <vector>

#include "archiver/archive_format.h"
#include "archiver/member_data.h"
#include "objfile/object_file.h"
#include "objfile/symbol_scan.h"
#include "support/fatal_signal.h"

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

void collectSymbols(Archive& archive, uint32_t nameTableLength) {
  archive.symbols = archive.lastSymbol = nullptr;
  archive.symbolCount = 0;
  archive.symbolTableBytes = 0;
  static std::vector<OFE::SCANNED_SYMBOL> scanned;
  beginMemberData(archive);
  for (ArchiveMember* m = archive.members; m; m = m->next) {
    if (scanMember(archive, *m, scanned)) {
      for (const OFE::SCANNED_SYMBOL& symbol : scanned)
        if (isArchiveSymbol(symbol.binding, symbol.kind))
          appendSymbol(archive, m, zone_strdup(&archive.zone, symbol.name));
      continue;
    }
    // The object reader decides. Only one object exists at a time: made,
    // read and destroyed per member.
    STREAM_HANDLE view;
    STREAM_HANDLE* stream = memberStream(archive, *m, view);
    OFE::OBJECT_FILE* object = OFE::create_object_file(stream, static_cast<uint64_t>(m->size), 0, nullptr);
    if (object) gatherMemberSymbols(archive, *m, *object);
    releaseMemberStream(stream, view);
    delete object;
  }
  finishMemberScan(archive);
  if (archive.symbolTableBytes == 0) return;
  assignHeaderOffsets(archive, nameTableLength);
}
