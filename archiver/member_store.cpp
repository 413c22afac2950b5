#include "archiver/member_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

// Kept in memory up to this many bytes in all: a library of 10,000 small
// objects fits, and a larger one spills at about the same speed.
constexpr uint64_t kMemoryBudget = uint64_t{8} << 20;
// The unnamed file is written and read back in blocks of this size.
constexpr size_t kBlock = size_t{1} << 20;

// What one write keeps (one write is in progress at a time): blocks of
// memory, the unnamed file, the bytes waiting to be appended to it and the
// block of it last read back.
std::vector<ArchiveMember*> keptMembers;
std::vector<std::unique_ptr<uint8_t[]>> memoryBlocks;
size_t memoryBlockUsed = kBlock;
uint64_t memoryBytes = 0;
int keptFd = -1;
uint64_t keptFileBytes = 0;
std::vector<uint8_t> staged;
std::vector<uint8_t> readBack;
uint64_t readBackOffset = 0;
size_t readBackLength = 0;
// Set when the unnamed file could not be made or written: not tried again.
bool keptFileRefused = false;

// Room for `size` bytes (at most a block) in the memory blocks.
uint8_t* memoryFor(size_t size) {
  if (memoryBlockUsed + size > kBlock) {
    memoryBlocks.push_back(std::make_unique<uint8_t[]>(kBlock));
    memoryBlockUsed = 0;
  }
  uint8_t* room = memoryBlocks.back().get() + memoryBlockUsed;
  memoryBlockUsed += size;
  return room;
}


// Stops using the unnamed file: what it held is read again from the
// members' own files.
void dropKeptFile() {
  if (keptFd >= 0) close(keptFd);
  keptFd = -1;
  keptFileRefused = true;
  staged.clear();
  for (ArchiveMember* m : keptMembers)
    if (m->kept == KeptInFile) m->kept = NotKept;
}

bool flushStaged() {
  if (staged.empty() || keptFd < 0) return true;
  if (!write_full(keptFd, staged.data(), staged.size())) {
    dropKeptFile();
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
  keptFd = open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  keptFileRefused = keptFd < 0;
  return !keptFileRefused;
}

}  // namespace

void beginKeeping(Archive& archive) {
  endKeeping(archive);
  memoryBytes = 0;
  keptFileBytes = 0;
  keptFileRefused = false;
}

void keepMemberFile(Archive& archive, ArchiveMember& member, const uint8_t* bytes) {
  const size_t size = static_cast<size_t>(member.size);
  if (size == 0) return;
  if (memoryBytes + size <= kMemoryBudget) {
    uint8_t* copy = memoryFor(size);
    std::memcpy(copy, bytes, size);
    member.kept = KeptInMemory;
    member.keptData = copy;
    keptMembers.push_back(&member);
    memoryBytes += size;
    return;
  }
  // A file system without unnamed files keeps nothing more; nor does one
  // that refused a write.
  if (keptFd < 0 && !openKeptFile(archive)) return;
  if (staged.size() + size > kBlock && !flushStaged()) return;
  staged.insert(staged.end(), bytes, bytes + size);
  member.kept = KeptInFile;
  member.keptOffset = keptFileBytes;
  keptMembers.push_back(&member);
  keptFileBytes += size;
}

void finishKeeping(Archive& /*archive*/) { flushStaged(); }

const uint8_t* keptBytes(Archive& archive, const ArchiveMember& member) {
  if (member.kept == KeptInMemory) return member.keptData;
  if (member.kept != KeptInFile) return nullptr;
  // Members are written in the order they were kept: one read brings back
  // a block of them.
  const size_t size = static_cast<size_t>(member.size);
  if (member.keptOffset < readBackOffset || member.keptOffset + size > readBackOffset + readBackLength) {
    if (readBack.size() < std::max(kBlock, size)) readBack.resize(std::max(kBlock, size));
    int64_t got = pread_full(keptFd, readBack.data(), readBack.size(), static_cast<int64_t>(member.keptOffset));
    readBackOffset = member.keptOffset;
    readBackLength = got > 0 ? static_cast<size_t>(got) : 0;
    if (readBackLength < size) reportArchiveError(archive, DataReadError, "Error writing archive");
  }
  return readBack.data() + (member.keptOffset - readBackOffset);
}

void endKeeping(Archive& /*archive*/) {
  // Only the members kept are visited: an archive may have 100,000.
  for (ArchiveMember* m : keptMembers) m->kept = NotKept;
  keptMembers.clear();
  memoryBlocks.clear();
  memoryBlockUsed = kBlock;
  if (keptFd >= 0) close(keptFd);
  keptFd = -1;
  std::vector<uint8_t>().swap(staged);
  std::vector<uint8_t>().swap(readBack);
  readBackOffset = 0;
  readBackLength = 0;
}
