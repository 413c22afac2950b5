#include "archiver/member_data.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <optional>
#include <string>

#include "archiver/archive_writer.h"
#include "support/host_path.h"
#include "support/paths.h"

namespace {

// Members up to this size are read whole; larger ones are scanned by
// positioned reads and copied by the kernel, which then costs less than
// the second copy through this process.
constexpr int32_t kWholeLimit = 64 * 1024;
// Member files kept in memory up to this many bytes in all: a library of
// 10,000 small objects fits.
constexpr uint64_t kMemoryBudget = uint64_t{8} << 20;
// Past the budget, files up to this size go to the unnamed file: writing
// and reading back a few KiB costs less than opening the file again.
constexpr int32_t kSpillLimit = 16 * 1024;
// The unnamed file is written and read back in blocks of this size, and
// memory is handed out in blocks of it.
constexpr size_t kBlock = size_t{1} << 20;
// Copies that the kernel cannot make go through a buffer of this size.
constexpr size_t kCopyBlock = size_t{64} * 1024;

// What one write keeps (one write is in progress at a time).
struct Kept {
  std::vector<ArchiveMember*> members;
  std::vector<std::unique_ptr<uint8_t[]>> memoryBlocks;
  size_t memoryBlockUsed = kBlock;
  uint64_t memoryBytes = 0;
  // The unnamed file, the bytes waiting to be appended to it, and the block
  // of it last read back.
  int fd = -1;
  bool refused = false;  // could not be made or written: not tried again
  uint64_t fileBytes = 0;
  std::vector<uint8_t> staged;
  std::vector<uint8_t> readBack;
  uint64_t readBackOffset = 0;
  size_t readBackLength = 0;
};
Kept kept;

// The descriptor of the old archive's file; -1 when there is none.
int inputFdOf(Archive& archive) {
  return archive.input && archive.input->stream ? fileno(archive.input->stream) : -1;
}

// The member the symbol pass has in hand: its bytes when read whole (all
// of them, or fewer when its file shrank), or the pieces the scan fetched.
struct Current {
  const uint8_t* bytes = nullptr;
  size_t held = 0;
  std::optional<OFE::FILE_SCAN_SOURCE> pieces;
  std::vector<uint8_t> scratch;
};
Current current;

// The old archive, mapped read-only once per write: its members are scanned
// in place and copied from it, so that their bytes are copied once, into
// the new archive. Pages behind the work are let go as it
// moves on, so that the mapping never makes the process large.
struct Mapping {
  const uint8_t* bytes = nullptr;
  size_t length = 0;
  // On a RAM disk the kernel copies large members faster than a write from
  // the mapping, which must map every page first; on a disk it is the other
  // way round, the kernel's copy going page by page.
  bool kernelCopies = false;
  size_t released = 0;  // where the work stood when the pages were last let go
};
Mapping mapping;
constexpr size_t kReleaseStep = size_t{1} << 20;

void mapOldArchive(Archive& archive) {
  int fd = inputFdOf(archive);
  struct stat st;
  if (fd < 0 || fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size <= 0) return;
  void* at = mmap(nullptr, static_cast<size_t>(st.st_size), PROT_READ, MAP_SHARED, fd, 0);
  if (at == MAP_FAILED) return;
  mapping.bytes = static_cast<const uint8_t*>(at);
  mapping.length = static_cast<size_t>(st.st_size);
  struct statfs fs;
  mapping.kernelCopies = fstatfs(fd, &fs) == 0 && fs.f_type == TMPFS_MAGIC;
}

// The old member's bytes in the mapping; null when it has none, or the
// member is not all there.
const uint8_t* mapped(const ArchiveMember& member) {
  if (!mapping.bytes || member.sourcePath || member.dataOffset > mapping.length ||
      static_cast<uint64_t>(member.size) > mapping.length - member.dataOffset)
    return nullptr;
  return mapping.bytes + member.dataOffset;
}

// Lets go of the mapped pages once the work has moved a step past the last
// time, or of all of them `now`. The range let go reaches a large page
// beyond both ends: the file system may map pages of 2 MiB.
void releaseMapping(size_t progress, bool now = false) {
  constexpr size_t kLargePage = size_t{2} << 20;
  if (!mapping.bytes || (!now && progress < mapping.released + kReleaseStep)) return;
  size_t from = now || mapping.released < kLargePage ? 0 : (mapping.released - kLargePage) & ~(kLargePage - 1);
  size_t to = now ? mapping.length : std::min(mapping.length, progress + kLargePage);
  (void)madvise(const_cast<uint8_t*>(mapping.bytes) + from, to - from, MADV_DONTNEED);
  mapping.released = progress;
}

void unmapOldArchive() {
  if (mapping.bytes) munmap(const_cast<uint8_t*>(mapping.bytes), mapping.length);
  mapping = Mapping();
}

// Room for `size` bytes (at most a block) in the memory budget; null when
// the budget is spent.
uint8_t* memoryFor(size_t size) {
  if (kept.memoryBytes + size > kMemoryBudget) return nullptr;
  if (kept.memoryBlockUsed + size > kBlock) {
    kept.memoryBlocks.push_back(std::make_unique<uint8_t[]>(kBlock));
    kept.memoryBlockUsed = 0;
  }
  uint8_t* room = kept.memoryBlocks.back().get() + kept.memoryBlockUsed;
  kept.memoryBlockUsed += size;
  kept.memoryBytes += size;
  return room;
}

void giveBackMemory(size_t size) {
  kept.memoryBlockUsed -= size;
  kept.memoryBytes -= size;
}

// Stops using the unnamed file: what it held is read again from the
// members' own files.
void dropKeptFile() {
  if (kept.fd >= 0) close(kept.fd);
  kept.fd = -1;
  kept.refused = true;
  kept.staged.clear();
  for (ArchiveMember* m : kept.members)
    if (m->kept == KeptInFile) m->kept = NotKept;
}

bool flushStaged() {
  if (kept.staged.empty() || kept.fd < 0) return true;
  if (!write_full(kept.fd, kept.staged.data(), kept.staged.size())) {
    dropKeptFile();
    return false;
  }
  kept.staged.clear();
  return true;
}

// The unnamed file lives beside the archive, on a file system known to
// take the archive's size; it has no name to leave behind.
bool openKeptFile(Archive& archive) {
  if (kept.refused || !archive.hostFinalPath) return false;
  kept.fd = open(hostDirectory(archive.hostFinalPath).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  kept.refused = kept.fd < 0;
  return !kept.refused;
}

void spill(Archive& archive, ArchiveMember& member, const uint8_t* bytes) {
  const size_t size = static_cast<size_t>(member.size);
  // A file system without unnamed files keeps nothing more; nor does one
  // that refused a write.
  if (kept.fd < 0 && !openKeptFile(archive)) return;
  if (kept.staged.size() + size > kBlock && !flushStaged()) return;
  kept.staged.insert(kept.staged.end(), bytes, bytes + size);
  member.kept = KeptInFile;
  member.keptOffset = kept.fileBytes;
  kept.members.push_back(&member);
  kept.fileBytes += size;
}

// A kept member's bytes, valid until the next call.
const uint8_t* keptBytes(Archive& archive, const ArchiveMember& member) {
  if (member.kept == KeptInMemory) return member.keptData;
  // Members are written in the order they were kept: one read brings back
  // a block of them.
  const size_t size = static_cast<size_t>(member.size);
  if (member.keptOffset < kept.readBackOffset ||
      member.keptOffset + size > kept.readBackOffset + kept.readBackLength) {
    if (kept.readBack.size() < std::max(kBlock, size)) kept.readBack.resize(std::max(kBlock, size));
    int64_t got = pread_full(kept.fd, kept.readBack.data(), kept.readBack.size(),
                             static_cast<int64_t>(member.keptOffset));
    kept.readBackOffset = member.keptOffset;
    kept.readBackLength = got > 0 ? static_cast<size_t>(got) : 0;
    if (kept.readBackLength < size) reportArchiveError(archive, DataReadError, "Error writing archive");
  }
  return kept.readBack.data() + (member.keptOffset - kept.readBackOffset);
}

int openMemberFile(Archive& archive, const ArchiveMember& member) {
  int fd = open(hostPath(member.sourcePath).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) reportArchiveError(archive, OpenError, "Cannot open file: '%s'", member.sourcePath);
  return fd;
}

// A small member file, read whole with one call, straight into the memory
// it is kept in when there is room; kept for the write when all of it came.
void readSmallFile(Archive& archive, ArchiveMember& member) {
  const size_t size = static_cast<size_t>(member.size);
  int fd = openMemberFile(archive, member);
  uint8_t* room = memoryFor(size);
  if (!room) {
    current.scratch.resize(size);
    room = current.scratch.data();
  }
  ssize_t got = read(fd, room, size);
  close(fd);
  bool whole = got == static_cast<ssize_t>(size);
  if (whole && room != current.scratch.data()) {
    member.kept = KeptInMemory;
    member.keptData = room;
    kept.members.push_back(&member);
  } else if (room != current.scratch.data()) {
    // A file that shrank since it was measured (or gave nothing, being a
    // directory, say) is read again by the write, which reports it.
    giveBackMemory(size);
    current.scratch.assign(room, room + std::max<ssize_t>(got, 0));
    room = current.scratch.data();
  } else if (whole && member.size <= kSpillLimit) {
    spill(archive, member, room);
  }
  if (got > 0) {
    current.bytes = room;
    current.held = static_cast<size_t>(got);
  }
}

// Output bytes handed to the descriptor, so that the kernel may append.
int flushedOutput(Archive& archive) {
  if (std::fflush(archive.output->stream) != 0)
    reportArchiveError(archive, WriteError, "Error writing archive");
  return fileno(archive.output->stream);
}

// Copies a large member's bytes into the archive, by the kernel when it
// can, else through a buffer.
void copyLargeMember(Archive& archive, const ArchiveMember& member, int from, int64_t offset) {
  const size_t size = static_cast<size_t>(member.size);
  int result = copyInKernel(from, offset, flushedOutput(archive), size);
  if (result == kKernelCopySourceIsDirectory)
    reportArchiveError(archive, OpenError, "Cannot open file: '%s'", member.sourcePath);
  FILE* out = archive.output->stream;
  if (result == kKernelCopyUnavailable) {
    static std::vector<uint8_t> buffer(kCopyBlock);
    result = CopyOk;
    for (size_t done = 0; done < size && result == CopyOk;) {
      size_t n = std::min(kCopyBlock, size - done);
      if (pread_full(from, buffer.data(), n, offset + static_cast<int64_t>(done)) != static_cast<int64_t>(n))
        result = CopyReadFailed;
      else if (std::fwrite(buffer.data(), 1, n, out) != n)
        result = CopyWriteFailed;
      done += n;
    }
  } else if (result == CopyOk && fseeko(out, 0, SEEK_END) != 0) {
    // The stream learns where its descriptor now stands.
    result = CopyWriteFailed;
  }
  if (result == CopyOk && size % 2 && std::fputc('\n', out) == EOF) result = CopyWriteFailed;
  if (result != CopyOk) reportArchiveError(archive, static_cast<ArchiveError>(result), "Error writing archive");
}

// A member's data and, after an odd size, the newline pad.
void writeDataAndPad(Archive& archive, const void* data, size_t size) {
  FILE* out = archive.output->stream;
  if (std::fwrite(data, 1, size, out) != size || (size % 2 && std::fputc('\n', out) == EOF))
    reportArchiveError(archive, WriteError, "Error writing archive");
}

// An old member from the mapping: a small one through the output's buffer,
// a large one straight to the file, a step at a time, or by the kernel.
void writeMapped(Archive& archive, const ArchiveMember& member, const uint8_t* bytes) {
  const size_t size = static_cast<size_t>(member.size);
  if (member.size <= kWholeLimit) {
    writeDataAndPad(archive, bytes, size);
    releaseMapping(member.dataOffset + size);
    return;
  }
  if (mapping.kernelCopies) {
    copyLargeMember(archive, member, inputFdOf(archive), static_cast<int64_t>(member.dataOffset));
    return;
  }
  int out = flushedOutput(archive);
  for (size_t done = 0; done < size;) {
    size_t n = std::min(kReleaseStep, size - done);
    if (!write_full(out, bytes + done, n)) reportArchiveError(archive, WriteError, "Error writing archive");
    done += n;
    releaseMapping(member.dataOffset + done);
  }
  // The stream learns where its descriptor now stands.
  FILE* stream = archive.output->stream;
  if (fseeko(stream, 0, SEEK_END) != 0 || (size % 2 && std::fputc('\n', stream) == EOF))
    reportArchiveError(archive, WriteError, "Error writing archive");
}

}  // namespace

void beginMemberData(Archive& archive) {
  endMemberData(archive);
  mapOldArchive(archive);
}

void finishMemberScan(Archive& /*archive*/) {
  flushStaged();
  // The write goes through the mapping once more, from its start.
  releaseMapping(0, true);
}

bool scanMember(Archive& archive, ArchiveMember& member, std::vector<OFE::SCANNED_SYMBOL>& symbols) {
  current.bytes = nullptr;
  current.held = 0;
  current.pieces.reset();
  if (member.size < 1) {
    // An empty member file is opened all the same, as the write opens it:
    // one that cannot be is reported here.
    if (member.sourcePath) close(openMemberFile(archive, member));
    symbols.clear();
    return true;
  }
  const size_t size = static_cast<size_t>(member.size);
  if (const uint8_t* bytes = mapped(member)) {
    current.bytes = bytes;
    current.held = size;
    bool answered = OFE::scan_symbols(bytes, size, symbols);
    releaseMapping(member.dataOffset + size);
    return answered;
  }
  if (member.size <= kWholeLimit) {
    if (member.sourcePath) {
      readSmallFile(archive, member);
    } else {
      // Through the old archive's read-ahead window: seeking its stream for
      // every member would cost system calls.
      current.scratch.resize(size);
      if (readMemberData(archive, member, current.scratch.data())) {
        current.bytes = current.scratch.data();
        current.held = size;
      }
    }
    return current.held == size && OFE::scan_symbols(current.bytes, size, symbols);
  }
  int fd = member.sourcePath ? openMemberFile(archive, member) : inputFdOf(archive);
  if (fd < 0) return false;
  current.pieces.emplace(fd, member.sourcePath ? 0 : static_cast<int64_t>(member.dataOffset));
  bool answered = OFE::scan_symbols(*current.pieces, size, symbols);
  if (member.sourcePath) close(fd);
  return answered;
}

STREAM_HANDLE* memberStream(Archive& archive, ArchiveMember& member, STREAM_HANDLE& view) {
  if (current.held > 0) {
    FILE* memory = fmemopen(const_cast<uint8_t*>(current.bytes), current.held, "rb");
    if (memory) return stream_adopt(memory, member.sourcePath ? member.sourcePath : archive.path, "rb");
  }
  if (member.sourcePath) {
    STREAM_HANDLE* stream = openFile(member.sourcePath, "rb");
    if (!stream) reportArchiveError(archive, OpenError, "Cannot open file: '%s'", member.sourcePath);
    return stream;
  }
  if (!archive.input || !archive.input->stream ||
      fseeko(archive.input->stream, static_cast<off_t>(member.dataOffset), SEEK_SET) != 0)
    reportArchiveError(archive, DataReadError, "Cannot read file: '%s'", archive.path);
  // The library reads the member as a file of its own that runs on to the
  // archive's end: its 32-bit offsets are offsets inside the member,
  // wherever the member lies.
  view = stream_view(archive.input, static_cast<int64_t>(member.dataOffset));
  return &view;
}

void releaseMemberStream(STREAM_HANDLE* stream, STREAM_HANDLE& view) {
  if (stream != &view) closeFile(stream);
}

void writeMemberData(Archive& archive, ArchiveMember& member, void (*writeHeader)(Archive&, ArchiveMember&)) {
  const size_t size = static_cast<size_t>(member.size);
  if (member.kept != NotKept) {
    writeHeader(archive, member);
    writeDataAndPad(archive, keptBytes(archive, member), size);
    return;
  }
  if (const uint8_t* bytes = mapped(member)) {
    writeHeader(archive, member);
    writeMapped(archive, member, bytes);
    return;
  }
  if (member.size > kWholeLimit) {
    int fd = member.sourcePath ? openMemberFile(archive, member) : inputFdOf(archive);
    if (fd < 0) reportArchiveError(archive, DataReadError, "Cannot read file: '%s'", archive.path);
    writeHeader(archive, member);
    copyLargeMember(archive, member, fd, member.sourcePath ? 0 : static_cast<int64_t>(member.dataOffset));
    if (member.sourcePath) close(fd);
    return;
  }
  static std::vector<uint8_t> bytes;
  bytes.resize(size);
  bool whole;
  if (member.sourcePath) {
    // Opened, read whole and closed, with no stream of its own.
    int fd = openMemberFile(archive, member);
    int64_t got = pread_full(fd, bytes.data(), size, 0);
    int readError = got < 0 ? errno : 0;
    close(fd);
    // A directory opens here but is no file to archive.
    if (readError == EISDIR)
      reportArchiveError(archive, OpenError, "Cannot open file: '%s'", member.sourcePath);
    whole = got == static_cast<int64_t>(size);
  } else {
    // Through the old archive's read-ahead window: no seek of its stream,
    // so no system call for most members.
    whole = readMemberData(archive, member, bytes.data());
  }
  writeHeader(archive, member);
  if (!whole) reportArchiveError(archive, DataReadError, "Error writing archive");
  writeDataAndPad(archive, bytes.data(), size);
}

void endMemberData(Archive& /*archive*/) {
  // Only the members kept are visited: an archive may have 100,000.
  for (ArchiveMember* m : kept.members) m->kept = NotKept;
  if (kept.fd >= 0) close(kept.fd);
  kept = Kept();
  current.bytes = nullptr;
  current.held = 0;
  current.pieces.reset();
  std::vector<uint8_t>().swap(current.scratch);
  unmapOldArchive();
}

int copyInKernel(int from, int64_t offset, int to, size_t size) {
  loff_t at = offset;
  size_t remaining = size;
  // copy_file_range within a file system, sendfile across file systems
  // (members in a RAM disk, say).
  bool acrossFileSystems = false;
  while (remaining > 0) {
    ssize_t n;
    if (acrossFileSystems) {
      off_t position = at;
      n = sendfile(to, from, &position, remaining);
      if (n > 0) at = position;
    } else {
      n = copy_file_range(from, &at, to, nullptr, remaining, 0);
    }
    if (n < 0 && errno == EINTR) continue;
    bool first = remaining == size;
    if (n < 0 && first && !acrossFileSystems && errno == EXDEV) {
      acrossFileSystems = true;
      continue;
    }
    if (n < 0 && first && errno == EISDIR) return kKernelCopySourceIsDirectory;
    if (n < 0 && first &&
        (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP || errno == EBADF ||
         errno == ETXTBSY))
      return kKernelCopyUnavailable;
    if (n < 0) return errno == EIO && first ? CopyReadFailed : CopyWriteFailed;
    if (n == 0) return CopyReadFailed;  // the source ended early
    remaining -= static_cast<size_t>(n);
  }
  return CopyOk;
}
