// The archive model: creation, the member and symbol lists, and error
// reporting through the driver's callback.
#include <sys/stat.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "archiver/archive.h"
#include "archiver/archive_format.h"
#include "archiver/archive_lock.h"
#include "support/host_path.h"
#include "support/paths.h"

void initArchive(Archive& archive, const char* path, STREAM_HANDLE* input,
                 ArchiveErrorCallback callback) {
  std::memset(static_cast<void*>(&archive), 0, sizeof archive);
  zone_create(&archive.zone, 1024, "", 0);
  archive.errorCallback = callback;
  archive.input = input;
  if (path && !input) {
    // A directory is not an archive that could be read or replaced.
    struct stat st;
    if (stat(hostPath(path).c_str(), &st) == 0 && !S_ISDIR(st.st_mode)) {
      archive.input = openFile(path, "rb");
      archive.ownsInput = archive.input != nullptr;
    }
  }
  archive.path = path ? zone_strdup(&archive.zone, path) : nullptr;
}

bool isArchive(Archive& archive) {
  if (!archive.input || !archive.input->stream) return false;
  char magic[kMagicSize];
  // A positioned read fills the read-ahead window that the headers after
  // the magic are then read from; a stream without one is read as such.
  int64_t got = stream_pread(archive.input, magic, kMagicSize, 0);
  if (got < 0) {
    if (std::fseek(archive.input->stream, 0, SEEK_SET) != 0) return false;
    got = static_cast<int64_t>(std::fread(magic, 1, kMagicSize, archive.input->stream));
  }
  return got == static_cast<int64_t>(kMagicSize) && std::memcmp(magic, kArchiveMagic, kMagicSize) == 0;
}

Archive* openArchive(CommandLine& commandLine, ArchiveErrorCallback callback) {
  // Nothing is read before the archive is locked: another run may be
  // writing it.
  bool writes = commandLine.command != Table && commandLine.command != Extract;
  STREAM_HANDLE* input = openLockedArchive(commandLine.archiveName, writes);
  auto* archive = new Archive;
  initArchive(*archive, commandLine.archiveName, input, callback);
  if (input) archive->ownsInput = true;
  // Adding and replacing create the archive when it is missing, and read an
  // existing file as an archive without checking its magic.
  // An archive that exists but cannot be read is never taken for a new,
  // empty one: that would throw its members away.
  if (!archive->input && fileExists(commandLine.archiveName))
    fatalError("cannot open archive: '%s'", commandLine.archiveName);
  if (commandLine.command != Add && commandLine.command != Replace) {
    if (!archive->input) fatalError("cannot open archive: '%s'", commandLine.archiveName);
    if (!isArchive(*archive)) fatalError("'%s' is not an archive", commandLine.archiveName);
  }
  loadSpecialMembers(*archive, false);
  loadMembers(*archive);
  return archive;
}

ArchiveMember* newMember(Archive& archive) {
  return static_cast<ArchiveMember*>(
      zone_alloc_aligned(&archive.zone, sizeof(ArchiveMember), alignof(ArchiveMember)));
}

void appendMember(Archive& archive, ArchiveMember* member) {
  member->next = nullptr;
  member->prev = archive.lastMember;
  if (archive.lastMember)
    archive.lastMember->next = member;
  else
    archive.members = member;
  archive.lastMember = member;
}

void unlinkMember(Archive& archive, ArchiveMember* member) {
  if (member->prev)
    member->prev->next = member->next;
  else
    archive.members = member->next;
  if (member->next)
    member->next->prev = member->prev;
  else
    archive.lastMember = member->prev;
  member->next = member->prev = nullptr;
}

void appendSymbol(Archive& archive, ArchiveMember* member, const char* name) {
  auto* symbol = static_cast<ArchiveSymbol*>(
      zone_alloc_aligned(&archive.zone, sizeof(ArchiveSymbol), alignof(ArchiveSymbol)));
  symbol->name = name;
  symbol->member = member;
  if (archive.lastSymbol)
    archive.lastSymbol->next = symbol;
  else
    archive.symbols = symbol;
  archive.lastSymbol = symbol;
  archive.symbolCount += 1;
  archive.symbolTableBytes += static_cast<uint32_t>(std::strlen(name)) + 5;
}

void reportArchiveError(Archive& archive, ArchiveError kind, const char* format, ...) {
  char message[4096];
  va_list args;
  va_start(args, format);
  std::vsnprintf(message, sizeof message, format, args);
  va_end(args);
  if (archive.errorCallback) archive.errorCallback(archive, kind, message);
}
