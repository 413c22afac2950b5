// Writing a complete new archive from the model, with the old archive set
// aside under a temporary name until the new one is safely on disk.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "archiver/archive.h"

// Any of a member, the symbol table or the name table, as its header sees it.
struct HeaderRecord {
  const char* name;
  uint32_t nameOffset;
  int32_t date;
  int32_t size;
};

enum CopyResult { CopyOk = 0, CopyReadFailed = 3, CopyWriteFailed = 4 };

bool writeArchive(Archive& archive, int32_t requested);

void beginWrite(Archive& archive, int32_t requested);
std::string buildNameTable(Archive& archive);
void writeSymbolTable(Archive& archive);
void writeNameTable(Archive& archive, const std::string& text);
void writeMemberHeader(Archive& archive, const HeaderRecord& record);
const char* headerNameField(Archive& archive, const HeaderRecord& record);
void writeMember(Archive& archive, ArchiveMember& member);
void completeWrite(Archive& archive);

// Copies `size` bytes; with `pad`, an odd count is followed by a newline.
int copyData(FILE* source, FILE* output, int32_t size, bool pad);

// Undoes a write in progress: the new file deleted, the old archive renamed
// back. Safe to call more than once, and when no write is in progress.
void abandonWrite(Archive& archive);

// The same for whatever write is in progress, using only async-signal-safe
// calls; for the fatal-signal handler.
void abandonActiveWriteFromSignal(int signo);
