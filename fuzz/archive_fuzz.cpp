// Bytes as an archive: opened, its special members and members read, and
// listed as the table of contents would. Every reader error is turned into
// an exception so that one input cannot end the run.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <stdexcept>

#include "archiver/archive.h"
#include "archiver/member_ops.h"

namespace {

[[noreturn]] void throwError(Archive&, ArchiveError, const char* message) {
  throw std::runtime_error(message);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The reader measures its file, so the bytes go into a real one.
  int fd = memfd_create("archive", 0);
  if (fd < 0) return 0;
  if (write(fd, data, size) != static_cast<ssize_t>(size)) {
    close(fd);
    return 0;
  }
  FILE* file = fdopen(fd, "rb");
  if (!file) {
    close(fd);
    return 0;
  }
  STREAM_HANDLE* stream = stream_adopt(file, "fuzz.lib", "rb");
  Archive archive;
  initArchive(archive, "fuzz.lib", stream, throwError);
  try {
    if (isArchive(archive)) {
      loadSpecialMembers(archive, true);
      loadMembers(archive);
      size_t total = 0;
      for (ArchiveMember* m = archive.members; m; m = m->next) {
        char date[32];
        formatDate(m->date, date);
        total += std::snprintf(nullptr, 0, "  %8ld   %s    %s\n", static_cast<long>(m->size),
                               date, m->name);
      }
      if (total == SIZE_MAX) std::abort();
    }
  } catch (const std::runtime_error&) {
  }
  stream_close(stream);
  zone_release(&archive.zone);
  return 0;
}
