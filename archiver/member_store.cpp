#include "archiver/member_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

// Kept in memory up to this many bytes in all; a library of 50,000 small
// objects fits in a few times that.
constexpr uint64_t kMemoryBudget = uint64_t{16} << 20;
// The unnamed file is written and read back in blocks of this size.
constexpr size_t kBlock = size_t{1} << 20;

// Bytes waiting to be appended to the unnamed file, and the block of it
// last read back. One write is in progress at a time.
std::vector<uint8_t> staged;
std::vector<uint8_t> readBack;
uint64_t readBackOffset = 0;
size_t readBackLength = 0;
// Set when the unnamed file could not be made or written: not tried again.
bool keptFileRefused = false;

bool writeAll(int fd, const uint8_t* bytes, size_t length) {
  while (length > 0) {
    ssize_t n = write(fd, bytes, length);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    bytes += n;
    length -= static_cast<size_t>(n);
  }
  return true;
}

// Stops using the unnamed file: what it held is read again from the
// members' own files.
void dropKeptFile(Archive& archive) {
  if (archive.keptFd >= 0) close(archive.keptFd);
  archive.keptFd = -1;
  keptFileRefused = true;
  staged.clear();
  for (ArchiveMember* m = archive.members; m; m = m->next)
    if (m->kept == KeptInFile) m->kept = NotKept;
}

bool flushStaged(Archive& archive) {
  if (staged.empty() || archive.keptFd < 0) return true;
  if (!writeAll(archive.keptFd, staged.data(), staged.size())) {
    dropKeptFile(archive);
    return false;
  }
  staged.clear();
  return true;
}

// The unnamed file lives beside the archive, on a file system known to
// take the archive's size; it has no name to leave behind.
bool openKeptFile(Archive& archive) {
  if (keptFileRefused || !archive.hostFinalPath) return false;
  std::string directory = archive.hostFinalPath;
  size_t slash = directory.find_last_of('/');
  directory = slash == std::string::npos ? "." : slash == 0 ? "/" : directory.substr(0, slash);
  archive.keptFd = open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  keptFileRefused = archive.keptFd < 0;
  return !keptFileRefused;
}

}  // namespace

void beginKeeping(Archive& archive) {
  endKeeping(archive);
  archive.keptMemoryBytes = 0;
  archive.keptFileBytes = 0;
  for (ArchiveMember* m = archive.members; m; m = m->next) m->kept = NotKept;
  staged.clear();
  readBackOffset = 0;
  readBackLength = 0;
  keptFileRefused = false;
}

void keepMemberFile(Archive& archive, ArchiveMember& member, const uint8_t* bytes) {
  const size_t size = static_cast<size_t>(member.size);
  if (size == 0) return;
  if (archive.keptMemoryBytes + size <= kMemoryBudget) {
    auto* copy = static_cast<uint8_t*>(zone_alloc(&archive.keptMemory, static_cast<uint32_t>(size)));
    std::memcpy(copy, bytes, size);
    member.kept = KeptInMemory;
    member.keptData = copy;
    archive.keptMemoryBytes += size;
    return;
  }
  // A file system without unnamed files keeps nothing more; nor does one
  // that refused a write.
  if (archive.keptFd < 0 && !openKeptFile(archive)) return;
  if (staged.size() + size > kBlock && !flushStaged(archive)) return;
  staged.insert(staged.end(), bytes, bytes + size);
  member.kept = KeptInFile;
  member.keptOffset = archive.keptFileBytes;
  archive.keptFileBytes += size;
}

void finishKeeping(Archive& archive) { flushStaged(archive); }

bool writeKeptMember(Archive& archive, const ArchiveMember& member) {
  const uint8_t* data = member.keptData;
  const size_t size = static_cast<size_t>(member.size);
  if (member.kept == KeptInFile) {
    // Members are written in the order they were kept: one read brings
    // back a block of them.
    uint64_t end = member.keptOffset + size;
    if (member.keptOffset < readBackOffset || end > readBackOffset + readBackLength) {
      if (readBack.size() < std::max(kBlock, size)) readBack.resize(std::max(kBlock, size));
      size_t got = 0;
      while (got < readBack.size()) {
        ssize_t n = pread(archive.keptFd, readBack.data() + got, readBack.size() - got,
                          static_cast<off_t>(member.keptOffset + got));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        got += static_cast<size_t>(n);
      }
      readBackOffset = member.keptOffset;
      readBackLength = got;
      if (got < size) reportArchiveError(archive, DataReadError, "Error writing archive");
    }
    data = readBack.data() + (member.keptOffset - readBackOffset);
  } else if (member.kept != KeptInMemory) {
    return false;
  }
  FILE* out = archive.output->stream;
  if (std::fwrite(data, 1, size, out) != size || (size % 2 && std::fputc('\n', out) == EOF))
    reportArchiveError(archive, WriteError, "Error writing archive");
  return true;
}

void endKeeping(Archive& archive) {
  if (archive.keptFd >= 0) close(archive.keptFd);
  archive.keptFd = -1;
  std::vector<uint8_t>().swap(staged);
  std::vector<uint8_t>().swap(readBack);
  readBackOffset = 0;
  readBackLength = 0;
}
