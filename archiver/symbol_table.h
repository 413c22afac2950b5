// The archive symbol table: the symbols that a linker can resolve against
// the members, and the member header offsets that the table records.
#pragma once

#include <cstdint>

#include "archiver/archive.h"

namespace OFE {
class OBJECT_FILE;
}

// Rebuilds the symbol list from the members and, when it is not empty,
// fixes every member's header offset. `nameTableLength` is 0 when no name
// table is written. Where each member's bytes are read from, and what is
// kept for the write, is member_data.h's to decide.
void collectSymbols(Archive& archive, uint32_t nameTableLength);

// With the symbol list complete: adds the count word to symbolTableBytes
// and sets every member's headerOffset and every symbol's memberOffset.
void assignHeaderOffsets(Archive& archive, uint32_t nameTableLength);

// The archive takes a symbol that is global or weak and is defined,
// absolute or common.
bool isArchiveSymbol(int binding, int kind);

// Appends the symbols of one object file that the archive takes.
void gatherMemberSymbols(Archive& archive, ArchiveMember& member, OFE::OBJECT_FILE& object);
