// The one archive of a run: its members in file order, the symbols of the
// table being written, and the state of a write in progress.
#pragma once

#include <cstdint>
#include <string_view>

#include "archiver/command_line.h"
#include "support/stream_io.h"
#include "support/zone.h"

struct ArchiveMember {
  const char* name;       // decoded, without the "/" terminator
  uint32_t nameOffset;    // in the name table being written; 0 for short names
  int32_t date;           // seconds since 1970-01-01 UTC
  int32_t size;           // data size in bytes
  uint64_t dataOffset;    // data in the old archive; 0 for members from a file
  ArchiveMember* next;
  ArchiveMember* prev;
  const char* sourcePath; // file that supplies the data; null for kept members
  uint32_t headerOffset;  // header in the archive being written (for the index: 32-bit)
  // Where the symbol pass kept the file's bytes for the write, so that the
  // file is not opened and read a second time (member_data.h).
  uint8_t kept;           // KeptWhere
  const uint8_t* keptData;
  uint64_t keptOffset;
};

enum KeptWhere : uint8_t { NotKept = 0, KeptInMemory = 1, KeptInFile = 2 };

struct ArchiveSymbol {
  const char* name;
  ArchiveMember* member;
  uint32_t memberOffset;
  ArchiveSymbol* next;
};

enum ArchiveError {
  ReadError = 1,
  OpenError = 2,
  DataReadError = 3,
  WriteError = 4,
  CreateError = 5,
  MemberTooLarge = 6,
  NameTableTooLarge = 7,
};

struct Archive;
using ArchiveErrorCallback = void (*)(Archive& archive, ArchiveError kind, const char* message);

struct Archive {
  STREAM_HANDLE* input;
  bool ownsInput;
  const char* path;             // during a write: the set-aside old archive
  int32_t format;               // ArchiveFormat
  uint64_t firstMemberOffset;   // archives of any size: offsets are 64-bit
  Zone zone;
  ArchiveMember* members;
  ArchiveMember* lastMember;
  bool nameTableLoaded;
  char* nameTable;              // "/" and newlines replaced by zero bytes
  uint32_t nameTableSize;
  ArchiveSymbol* symbols;
  ArchiveSymbol* lastSymbol;
  uint32_t symbolCount;
  uint32_t symbolTableBytes;
  uint8_t* symbolData;
  bool renamedOld;
  const char* finalPath;        // name under which the new archive is written
  STREAM_HANDLE* output;
  ArchiveErrorCallback errorCallback;
  // Host side of a write in progress, kept ready so that an abnormal end
  // can undo it with async-signal-safe calls only.
  char* hostFinalPath;          // the file really written (symbolic links followed)
  char* hostSetAsidePath;
  bool outputCreated;           // a new file exists under hostFinalPath
  bool writeInProgress;
};

Archive* openArchive(CommandLine& commandLine, ArchiveErrorCallback callback);
void initArchive(Archive& archive, const char* path, STREAM_HANDLE* input,
                 ArchiveErrorCallback callback);
bool isArchive(Archive& archive);
void loadSpecialMembers(Archive& archive, bool loadSymbols);
void loadMembers(Archive& archive);
ArchiveMember* readMemberHeader(Archive& archive, uint64_t offset);
// Reads the whole data of a member of the archive being read (member.size
// bytes at member.dataOffset) without moving its stream; false when the
// archive does not hold them all.
bool readMemberData(Archive& archive, const ArchiveMember& member, void* buffer);
// The name of a member from its 16-character header field and, for the
// QvLongName layout, its uid.
const char* decodeMemberName(Archive& archive, std::string_view field, long uid);
// A zero-filled member record in the archive's zone.
ArchiveMember* newMember(Archive& archive);
void appendMember(Archive& archive, ArchiveMember* member);
void unlinkMember(Archive& archive, ArchiveMember* member);
void appendSymbol(Archive& archive, ArchiveMember* member, const char* name);

// Formats the message (at most 4095 characters) and hands it to the
// archive's error callback, which does not return.
void reportArchiveError(Archive& archive, ArchiveError kind, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
