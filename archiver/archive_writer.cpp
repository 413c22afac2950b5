#include "archiver/archive_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "archiver/archive_format.h"
#include "archiver/archive_lock.h"
#include "archiver/member_data.h"
#include "archiver/symbol_table.h"
#include "support/checked_alloc.h"
#include "support/host_path.h"
#include "support/paths.h"

namespace {

// The write in progress, for the exit and signal paths.
Archive* activeWrite = nullptr;
bool exitHookInstalled = false;

// Buffers sized for the disk: extracted members are copied in blocks of
// 64 KiB, or by the kernel from 1 MiB on, and the new archive is written
// 1 MiB at a time.
constexpr size_t kCopyBlock = size_t{64} * 1024;
constexpr size_t kOutputBuffer = 1 << 20;
constexpr int32_t kKernelCopyThreshold = 1 << 20;

FILE* outputFile(Archive& archive) { return archive.output ? archive.output->stream : nullptr; }
FILE* inputFile(Archive& archive) { return archive.input ? archive.input->stream : nullptr; }

// Undoes a write on disk: the old archive renamed back, the new file
// deleted. Only the write's own host paths are used, which live as long as
// the process: exit-time handlers may run after static objects (the stream
// table among them) are gone, and a signal handler may call nothing but
// unlink and rename. Each flag is cleared right after its step, so that a
// signal landing in between never repeats a step that matters.
void undoOnDisk(Archive& archive) {
  if (!archive.writeInProgress) return;
  if (archive.renamedOld) {
    // The old archive goes back over the new file in one step: the
    // archive's name never leads to nothing, where another run could take
    // the archive for a new one. The new file is deleted only if that fails.
    bool created = archive.outputCreated;
    archive.outputCreated = false;
    if (rename(archive.hostSetAsidePath, archive.hostFinalPath) != 0 && created)
      unlink(archive.hostFinalPath);
    archive.renamedOld = false;
  }
  if (archive.outputCreated) unlink(archive.hostFinalPath);
  archive.outputCreated = false;
  archive.writeInProgress = false;
}

void undoActiveWrite() {
  if (activeWrite) undoOnDisk(*activeWrite);
}

// The error limit and fatal diagnostics end the process with exit(1).
void abandonAtExit() { undoActiveWrite(); }

char* hostCopy(const char* path) { return xstrdup(hostPath(path).c_str()); }

void syncDirectoryOf(const char* hostFile) {
  int fd = open(hostDirectory(hostFile).c_str(), O_RDONLY | O_DIRECTORY);
  if (fd < 0) return;
  // Some file systems refuse to sync a directory; that is not an error.
  (void)fsync(fd);
  close(fd);
}

}  // namespace

void beginWrite(Archive& archive, int32_t requested) {
  if (!exitHookInstalled) {
    std::atexit(abandonAtExit);
    exitHookInstalled = true;
  }
  archive.finalPath = archive.path;
  if (requested != Unset)
    archive.format = requested;
  else if (archive.format == Unset)
    archive.format = Posix;

  std::string hostFinal = resolvedHostPath(archive.finalPath);
  archive.hostFinalPath = xstrdup(hostFinal.c_str());
  archive.writeInProgress = true;
  activeWrite = &archive;

  mode_t keptMode = 0;
  bool keepMode = false;
  // No other run opens the archive while its name leads to nothing, or to a
  // new file not yet locked.
  beginNameChange();
  if (archive.input) {
    struct stat st;
    if (fstat(fileno(inputFile(archive)), &st) == 0) {
      keptMode = st.st_mode & 0777;
      keepMode = true;
    }
    // The set-aside name lives in the archive's own directory (the link
    // target's, when the archive is named through a link).
    const char* directory;
    bool linked = hostFinal != hostPath(archive.finalPath);
    splitPath(linked ? hostFinal.c_str() : archive.finalPath, &directory, nullptr, nullptr);
    std::string dir = directory;
    char* temp = makeTempName(nullptr, "AR", dir.c_str());
    archive.path = zone_strdup(&archive.zone, temp);
    std::free(temp);
    archive.hostSetAsidePath = hostCopy(archive.path);
    if (archive.ownsInput) closeFile(archive.input);
    archive.input = nullptr;
    archive.ownsInput = false;
    // Marked before the rename, so that an interrupt at any moment finds
    // the old archive either still in place or known to be set aside.
    archive.renamedOld = true;
    if (std::rename(archive.hostFinalPath, archive.hostSetAsidePath) != 0) {
      archive.renamedOld = false;
      reportArchiveError(archive, CreateError, "Cannot create new archive");
    }
    archive.input = openFile(archive.path, "rb");
    archive.ownsInput = archive.input != nullptr;
    if (!archive.input)
      reportArchiveError(archive, CreateError, "Cannot create archive: '%s'", archive.path);
  }

  archive.outputCreated = true;
  FILE* out = std::fopen(archive.hostFinalPath, "wb");
  if (!out) {
    archive.outputCreated = false;
    reportArchiveError(archive, CreateError, "Cannot create archive: '%s'", archive.path);
  }
  endNameChange(fileno(out));
  archive.output = stream_adopt(out, archive.finalPath, "wb");
  archive.output->buffer.reset(new char[kOutputBuffer]);
  std::setvbuf(out, archive.output->buffer.get(), _IOFBF, kOutputBuffer);
  if (keepMode) (void)fchmod(fileno(out), keptMode);
  if (std::fwrite(kArchiveMagic, 1, kMagicSize, out) != kMagicSize)
    reportArchiveError(archive, WriteError, "Cannot write archive: '%s'", archive.path);
}

std::string buildNameTable(Archive& archive) {
  if (archive.format == Original) return std::string();
  // The QvLongName table starts with a newline, so that no name sits at 0.
  std::string text(archive.format == QvLongName ? 1 : 0, '\n');
  for (ArchiveMember* m = archive.members; m; m = m->next) {
    if (std::strlen(m->name) < kLongNameLength) {
      m->nameOffset = 0;
      continue;
    }
    m->nameOffset = static_cast<uint32_t>(text.size());
    text += escapeTableName(m->name);
    text += "/\n";
  }
  if (text.size() % 2) text += '\n';
  return text;
}

const char* headerNameField(Archive& archive, const HeaderRecord& record) {
  static char field[kNameFieldSize + 1];
  if (std::strcmp(record.name, kSymbolTableName) == 0) return record.name;
  if (std::strcmp(record.name, kPosixNameTableName) == 0) {
    archive.format = Posix;
    return record.name;
  }
  if (std::strcmp(record.name, kQvNameTableName) == 0) {
    archive.format = QvLongName;
    return record.name;
  }
  if (archive.format == Posix && std::strlen(record.name) >= kLongNameLength) {
    std::snprintf(field, sizeof field, "/%ld", static_cast<long>(record.nameOffset));
    return field;
  }
  std::snprintf(field, sizeof field, "%.15s/", record.name);
  return field;
}

void writeMemberHeader(Archive& archive, const HeaderRecord& record) {
  if (record.size >= kMaxMemberSize)
    reportArchiveError(archive, MemberTooLarge, "Member file too large: '%s'", record.name);
  int uid = 0;
  if (archive.format == QvLongName) {
    if (record.nameOffset >= kMaxNameOffset)
      reportArchiveError(archive, NameTableTooLarge, "Archive file name table too large");
    uid = static_cast<int>(record.nameOffset);
  }
  // The bytes of "%-16s%-12ld%-6d%-6d%-8o%-10ld%-2s", built by hand: a
  // field too long for its width pushes the rest along, as printf would,
  // and the header is then refused.
  std::string header;
  header.reserve(kHeaderSize + 16);
  auto field = [&header](std::string_view text, size_t width) {
    header.append(text);
    if (text.size() < width) header.append(width - text.size(), ' ');
  };
  auto number = [&field](long value, size_t width, int base) {
    char digits[24];
    char* end = std::to_chars(digits, digits + sizeof digits, value, base).ptr;
    field(std::string_view(digits, static_cast<size_t>(end - digits)), width);
  };
  field(headerNameField(archive, record), 16);
  number(record.date, 12, 10);
  number(uid, 6, 10);
  number(0, 6, 10);
  number(0, 8, 8);
  number(record.size, 10, 10);
  field("`\n", 2);
  if (header.size() != kHeaderSize ||
      std::fwrite(header.data(), 1, header.size(), outputFile(archive)) != header.size())
    reportArchiveError(archive, WriteError, "Cannot write archive: '%s'", archive.finalPath);
}

void writeSymbolTable(Archive& archive) {
  if (archive.symbolTableBytes == 0) return;
  uint32_t evenSize = roundUpEven(archive.symbolTableBytes);
  uint32_t words = 1 + archive.symbolCount;
  auto* header = static_cast<uint8_t*>(zone_alloc(&archive.zone, 4 * words));
  auto put = [&](uint32_t index, uint32_t value) {
    uint8_t* p = header + size_t{4} * index;
    p[0] = static_cast<uint8_t>(value >> 24);
    p[1] = static_cast<uint8_t>(value >> 16);
    p[2] = static_cast<uint8_t>(value >> 8);
    p[3] = static_cast<uint8_t>(value);
  };
  put(0, archive.symbolCount);
  uint32_t i = 1;
  for (ArchiveSymbol* s = archive.symbols; s; s = s->next) put(i++, s->memberOffset);

  writeMemberHeader(archive, HeaderRecord{kSymbolTableName, 0, 0, static_cast<int32_t>(evenSize)});
  FILE* out = outputFile(archive);
  uint64_t written = std::fwrite(header, 1, size_t{4} * words, out);
  for (ArchiveSymbol* s = archive.symbols; s; s = s->next)
    written += std::fwrite(s->name, 1, std::strlen(s->name) + 1, out);
  if (archive.symbolTableBytes % 2) written += std::fwrite("", 1, 1, out);
  if (written != evenSize) reportArchiveError(archive, WriteError, "Cannot write symbol table");
}

void writeNameTable(Archive& archive, const std::string& text) {
  if (text.empty()) return;
  bool qv = archive.format == QvLongName;
  writeMemberHeader(archive, HeaderRecord{qv ? kQvNameTableName : kPosixNameTableName,
                                          qv ? 1u : 0u, 0, static_cast<int32_t>(text.size())});
  if (std::fwrite(text.data(), 1, text.size(), outputFile(archive)) != text.size())
    reportArchiveError(archive, WriteError, "Cannot write name_table");
}

namespace {

// Copies `size` bytes from the source's position to the output's end in
// the kernel; both streams then stand after what was copied.
int copyStreamsInKernel(FILE* source, FILE* output, int32_t size) {
  off_t position = ftello(source);
  if (position < 0 || std::fflush(output) != 0) return kKernelCopyUnavailable;
  int result = copyInKernel(fileno(source), position, fileno(output), static_cast<size_t>(size));
  if (result == kKernelCopySourceIsDirectory) return CopyWriteFailed;
  if (result != CopyOk) return result;
  if (fseeko(source, position + size, SEEK_SET) != 0) return CopyReadFailed;
  if (fseeko(output, 0, SEEK_END) != 0) return CopyWriteFailed;
  return CopyOk;
}

}  // namespace

int copyData(FILE* source, FILE* output, int32_t size, bool pad) {
  if (size >= kKernelCopyThreshold) {
    int result = copyStreamsInKernel(source, output, size);
    if (result != kKernelCopyUnavailable) {
      if (result == CopyOk && size % 2 && pad && std::fputc('\n', output) == EOF)
        return CopyWriteFailed;
      return result;
    }
  }
  // One block plus room for the pad byte.
  static char buffer[kCopyBlock + 1];
  int64_t remaining = size;
  while (remaining > static_cast<int64_t>(kCopyBlock - 1)) {
    if (std::fread(buffer, kCopyBlock, 1, source) != 1) return CopyReadFailed;
    if (std::fwrite(buffer, kCopyBlock, 1, output) != 1) return CopyWriteFailed;
    remaining -= kCopyBlock;
  }
  if (remaining <= 0) return CopyOk;
  size_t count = static_cast<size_t>(remaining);
  if (std::fread(buffer, count, 1, source) != 1) return CopyReadFailed;
  if (count % 2 && pad) buffer[count++] = '\n';
  if (std::fwrite(buffer, count, 1, output) != 1) return CopyWriteFailed;
  return CopyOk;
}

namespace {

void writeHeaderOf(Archive& archive, ArchiveMember& member) {
  writeMemberHeader(archive, HeaderRecord{member.name, member.nameOffset, member.date, member.size});
}

}  // namespace

void writeMember(Archive& archive, ArchiveMember& member) {
  if (member.size == 0) {
    writeHeaderOf(archive, member);
    return;
  }
  writeMemberData(archive, member, writeHeaderOf);
}

void completeWrite(Archive& archive) {
  // A new archive that replaces an old one is made durable before the old
  // one is removed. One that replaces nothing is written as compilers write
  // their outputs: a power cut could take nothing away.
  FILE* out = outputFile(archive);
  bool ok = std::fflush(out) == 0 && (!archive.renamedOld || fsync(fileno(out)) == 0);
  STREAM_HANDLE* handle = archive.output;
  archive.output = nullptr;
  ok = closeFile(handle) == 0 && ok;
  if (!ok) reportArchiveError(archive, WriteError, "Cannot write archive: '%s'", archive.finalPath);
  if (archive.renamedOld) syncDirectoryOf(archive.hostFinalPath);
  endMemberData(archive);
  archive.outputCreated = false;
  if (archive.input) {
    if (archive.ownsInput) closeFile(archive.input);
    archive.input = nullptr;
    archive.ownsInput = false;
  }
  if (archive.renamedOld) std::remove(archive.hostSetAsidePath);
  archive.renamedOld = false;
  archive.writeInProgress = false;
  activeWrite = nullptr;
}

namespace {

// Writeback of the new archive is started every this many bytes.
constexpr uint64_t kWritebackStep = uint64_t{2} << 20;

// Starts writing to the disk what the stream has handed to the system since
// the last start: the sync that makes the archive durable then waits for
// the last few megabytes, not for the whole file written after the copy.
void startWriteback(Archive& archive, uint64_t& started, uint64_t written) {
  // The stream's buffer may still hold up to its size of the latest bytes.
  uint64_t handedOver = written > kOutputBuffer ? written - kOutputBuffer : 0;
  if (handedOver < started + kWritebackStep) return;
  // Only a hint: a file system that cannot take it is synced at the end all
  // the same.
  (void)sync_file_range(fileno(outputFile(archive)), static_cast<off_t>(started),
                        static_cast<off_t>(handedOver - started), SYNC_FILE_RANGE_WRITE);
  started = handedOver;
}

}  // namespace

bool writeArchive(Archive& archive, int32_t requested) {
  beginWrite(archive, requested);
  std::string nameTable = buildNameTable(archive);
  collectSymbols(archive, static_cast<uint32_t>(nameTable.size()));
  writeSymbolTable(archive);
  writeNameTable(archive, nameTable);
  off_t position = ftello(outputFile(archive));
  uint64_t written = position > 0 ? static_cast<uint64_t>(position) : 0, started = 0;
  for (ArchiveMember* m = archive.members; m; m = m->next) {
    writeMember(archive, *m);
    written += kHeaderSize + roundUpEven(static_cast<uint32_t>(m->size));
    // Only a write that will be synced gains from starting early.
    if (archive.renamedOld) startWriteback(archive, started, written);
  }
  completeWrite(archive);
  return true;
}

void abandonWrite(Archive& archive) {
  if (!archive.writeInProgress) return;
  endMemberData(archive);
  if (archive.output) {
    closeFile(archive.output);
    archive.output = nullptr;
  }
  if (archive.input && archive.ownsInput) closeFile(archive.input);
  archive.input = nullptr;
  undoOnDisk(archive);
  if (activeWrite == &archive) activeWrite = nullptr;
}

void abandonActiveWriteFromSignal(int /*signo*/) { undoActiveWrite(); }
