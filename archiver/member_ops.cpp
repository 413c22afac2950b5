#include "archiver/member_ops.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "archiver/archive_writer.h"
#include "archiver/argument_index.h"
#include "support/host_path.h"
#include "support/paths.h"

namespace {

bool skipped = false;
std::unique_ptr<ArgumentIndex> argumentIndex;
CommandLine* indexedCommandLine = nullptr;

struct FileStatus {
  int32_t date = 0;        // the file's own date, for the update test
  int32_t storedDate = 0;  // the date the member takes
  int32_t size = 0;
};

// SOURCE_DATE_EPOCH, read once: the latest date a member may take from a
// file, so that the same inputs give the same archive whenever they were
// touched. -1 when the variable is unset or not a plain decimal number.
int64_t latestStoredDate() {
  static const int64_t latest = [] {
    const char* text = std::getenv("SOURCE_DATE_EPOCH");
    // Digits only: no sign, no blank, nothing after them.
    if (!text || *text < '0' || *text > '9') return int64_t{-1};
    int64_t value = 0;
    const char* end = text + std::strlen(text);
    auto [stop, error] = std::from_chars(text, end, value);
    return error == std::errc() && stop == end ? value : int64_t{-1};
  }();
  return latest;
}

void takeStatus(const struct stat& st, FileStatus& status) {
  status.date = static_cast<int32_t>(st.st_mtime);
  int64_t latest = latestStoredDate();
  status.storedDate = latest >= 0 && st.st_mtime > latest ? static_cast<int32_t>(latest)
                                                          : status.date;
  // A file too big for the 32-bit size must not wrap to a small size and be
  // cut short: it is kept large, so the writer refuses it.
  status.size = st.st_size > INT32_MAX ? INT32_MAX : static_cast<int32_t>(st.st_size);
}

// Whether the file exists (as fileExists decides, trailing separators
// ignored) and, if so, its date and size (0 when the path as given cannot
// be examined). One status call in the common case.
bool existingFileStatus(const char* path, FileStatus& status) {
  status = FileStatus();
  std::string host = hostPath(path);
  size_t end = host.find_last_not_of('/');
  bool trailing = end != host.size() - 1;
  struct stat st;
  if (stat(trailing ? host.substr(0, end + 1).c_str() : host.c_str(), &st) != 0) return false;
  // With trailing separators the path as given is examined once more.
  if (!trailing || stat(host.c_str(), &st) == 0) takeStatus(st, status);
  return true;
}

// The file that supplies or receives a member: the paired argument, or,
// with no arguments at all, the member's own name.
const char* pairedFile(CommandLine& commandLine, const ArchiveMember& member) {
  if (commandLine.fileCount == 0) return member.name;
  return matchArgument(commandLine, member.name);
}

// A member name that would land outside the current directory.
bool isUnsafeName(const char* name) {
  if (!*name || name[0] == '/' || name[0] == '\\') return true;
  const char* component = name;
  for (const char* p = name;; ++p) {
    if (*p == '/' || *p == '\\' || *p == '\0') {
      if (p - component == 2 && component[0] == '.' && component[1] == '.') return true;
      if (!*p) return false;
      component = p + 1;
    }
  }
}

}  // namespace

const char* matchArgument(CommandLine& commandLine, const char* memberName) {
  if (indexedCommandLine != &commandLine) {
    argumentIndex = std::make_unique<ArgumentIndex>(commandLine);
    indexedCommandLine = &commandLine;
  }
  return argumentIndex->take(memberName);
}

void finishWrite(CommandLine& commandLine, Archive& archive) {
  if (!commandLine.quiet) printStatus("  ==>  building archive '%s'\n", archive.path);
  writeArchive(archive, commandLine.format);
  if (commandLine.printSymbols)
    for (ArchiveSymbol* s = archive.symbols; s; s = s->next)
      printStatus("  ==>  symbol defined: '%s'\n", s->name);
}

void addFiles(CommandLine& commandLine, Archive& archive) {
  if (!archive.members && commandLine.fileCount > 0 && !commandLine.quiet)
    printStatus("  ==>  new archive '%s'\n", commandLine.archiveName);
  for (int32_t i = 0; i < commandLine.fileCount; ++i) {
    char* path = commandLine.files[i];
    FileStatus status;
    if (!path || !existingFileStatus(path, status)) continue;
    if (commandLine.verbose) printStatus("  ==>  %s '%s'\n", "add", path);
    auto* member = newMember(archive);
    member->name = baseName(path);
    member->sourcePath = path;
    member->date = status.storedDate;
    member->size = status.size;
    appendMember(archive, member);
    commandLine.files[i] = nullptr;
  }
  finishWrite(commandLine, archive);
}

void replaceMembers(CommandLine& commandLine, Archive& archive) {
  if (!archive.members) {
    addFiles(commandLine, archive);
    return;
  }
  for (ArchiveMember* m = archive.members; m; m = m->next) {
    const char* file = pairedFile(commandLine, *m);
    FileStatus status;
    if (!file || !existingFileStatus(file, status)) continue;
    if (commandLine.updateOnly && !(status.date > m->date)) continue;
    if (commandLine.verbose) printStatus("  ==>  %s '%s'\n", "replace", m->name);
    m->sourcePath = file;
    m->date = status.storedDate;
    m->size = status.size;
    m->dataOffset = 0;
  }
  addFiles(commandLine, archive);
}

void deleteMembers(CommandLine& commandLine, Archive& archive) {
  if (commandLine.fileCount == 0) return;
  for (ArchiveMember* m = archive.members; m;) {
    ArchiveMember* next = m->next;
    if (matchArgument(commandLine, m->name)) {
      if (commandLine.verbose) printStatus("  ==>  %s '%s'\n", "delete", m->name);
      unlinkMember(archive, m);
    }
    m = next;
  }
  finishWrite(commandLine, archive);
}

namespace {

// Members below this size are read whole and written with one call.
constexpr int32_t kWholeExtractLimit = 1 << 20;

// The target opened for writing, truncated; -1 when it is the archive
// itself, however spelled or linked, which is never written over. A file
// that did not exist is created without another look.
int openTarget(const struct stat& archiveFile, const ArchiveMember& member, const char* target) {
  std::string host = hostPath(target);
  int fd = open(host.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (fd < 0 && errno == EEXIST) {
    struct stat existing;
    if (stat(host.c_str(), &existing) == 0 && existing.st_dev == archiveFile.st_dev &&
        existing.st_ino == archiveFile.st_ino) {
      std::fflush(stdout);
      std::fprintf(stderr, "  -->  error: member '%s' not extracted: it would overwrite the archive\n",
                   member.name);
      skipped = true;
      return -1;
    }
    fd = open(host.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  }
  if (fd < 0) fatalError("cannot create '%s'", target);
  return fd;
}

// A small member goes out with write and close alone: its data comes
// through the archive's read-ahead window, and a stream of its own would
// only add a status call and a seek. The failures are the streamed ones.
void extractSmallMember(CommandLine& commandLine, Archive& archive, const ArchiveMember& member,
                        const char* target, int fd) {
  static std::vector<char> bytes;
  if (commandLine.verbose) printStatus("  ==>  %s '%s'\n", "extract", target);
  size_t size = static_cast<size_t>(member.size > 0 ? member.size : 0);
  bytes.resize(size + 1);
  if (!readMemberData(archive, member, bytes.data())) fatalError("read error");
  if (!write_full(fd, bytes.data(), size) || close(fd) != 0) fatalError("write error");
}

}  // namespace

void extractMembers(CommandLine& commandLine, Archive& archive) {
  struct stat archiveFile;
  if (fstat(fileno(archive.input->stream), &archiveFile) != 0) archiveFile = {};
  for (ArchiveMember* m = archive.members; m; m = m->next) {
    const char* target = pairedFile(commandLine, *m);
    if (!target) continue;
    // Without file arguments, names come from the archive: none may reach
    // outside the current directory.
    if (commandLine.fileCount == 0 && isUnsafeName(m->name)) {
      std::fflush(stdout);
      std::fprintf(stderr, "  -->  error: unsafe member name '%s' not extracted\n", m->name);
      skipped = true;
      continue;
    }
    int fd = openTarget(archiveFile, *m, target);
    if (fd < 0) continue;
    if (m->size < kWholeExtractLimit) {
      extractSmallMember(commandLine, archive, *m, target, fd);
      continue;
    }
    FILE* out = fdopen(fd, "wb");
    if (!out) fatalError("cannot create '%s'", target);
    FILE* in = archive.input->stream;
    if (fseeko(in, static_cast<off_t>(m->dataOffset), SEEK_SET) != 0)
      reportArchiveError(archive, DataReadError, "Cannot read file: '%s'", archive.path);
    if (commandLine.verbose) printStatus("  ==>  %s '%s'\n", "extract", target);
    int result = copyData(in, out, m->size, false);
    if (result == CopyWriteFailed) fatalError("write error");
    if (result == CopyReadFailed) fatalError("read error");
    // Buffered data reaches the disk at close; a failure there is a write error too.
    if (std::fclose(out) != 0) fatalError("write error");
  }
}

void formatDate(int32_t date, char out[32]) {
  static const char* const days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static const char* const months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  time_t t = static_cast<time_t>(static_cast<int64_t>(date));
  struct tm tm;
  if (!localtime_r(&t, &tm)) {
    std::snprintf(out, 32, "%-24s", "???");
    return;
  }
  // As "%.3s %.3s%3d %.2d:%.2d:%.2d %d" would print it, built by hand.
  auto two = [](char* p, int v) {
    p[0] = static_cast<char>('0' + v / 10 % 10);
    p[1] = static_cast<char>('0' + v % 10);
  };
  std::memcpy(out, days[tm.tm_wday % 7], 3);
  out[3] = ' ';
  std::memcpy(out + 4, months[tm.tm_mon % 12], 3);
  out[7] = ' ';
  two(out + 8, tm.tm_mday);
  if (tm.tm_mday < 10) out[8] = ' ';
  out[10] = ' ';
  two(out + 11, tm.tm_hour);
  out[13] = ':';
  two(out + 14, tm.tm_min);
  out[16] = ':';
  two(out + 17, tm.tm_sec);
  out[19] = ' ';
  char* end = std::to_chars(out + 20, out + 31, 1900 + tm.tm_year).ptr;
  *end = '\0';
}

void listMembers(CommandLine& commandLine, Archive& archive) {
  std::fputs("\n      SIZE   DATE                        FILE NAME", stdout);
  std::fputs("\n  --------   ------------------------    -----------------\n", stdout);
  // Each line as "  %8ld   %s    %s\n" would print it, built by hand and
  // handed to the stream in blocks: a library's listing is often tens of
  // thousands of lines.
  std::string text;
  char date[32] = "";
  size_t dateLength = 0;
  int32_t lastDate = 0;
  for (ArchiveMember* m = archive.members; m; m = m->next) {
    if (!pairedFile(commandLine, *m)) continue;
    // Members added together share their date: it is converted once.
    if (m->date != lastDate || dateLength == 0) {
      formatDate(m->date, date);
      dateLength = std::strlen(date);
      lastDate = m->date;
    }
    char size[24];
    auto end = std::to_chars(size, size + sizeof size, static_cast<long>(m->size)).ptr;
    size_t digits = static_cast<size_t>(end - size);
    text.append("  ");
    if (digits < 8) text.append(8 - digits, ' ');
    text.append(size, digits).append("   ").append(date, dateLength).append("    ").append(m->name);
    text.push_back('\n');
    if (text.size() >= size_t{64} * 1024) {
      std::fwrite(text.data(), 1, text.size(), stdout);
      text.clear();
    }
  }
  std::fwrite(text.data(), 1, text.size(), stdout);
}

bool membersSkipped() { return skipped; }
