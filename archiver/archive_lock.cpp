#include "archiver/archive_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "support/host_path.h"
#include "support/paths.h"

namespace {

std::string directory;  // of the archive and its set-aside copy
int directoryFd = -1;   // open only while held

// Waits for the lock. False when the file system refuses it.
bool takeLock(int fd, int operation) {
  while (flock(fd, operation) != 0)
    if (errno != EINTR) return false;
  return true;
}

void releaseDirectory() {
  if (directoryFd >= 0) close(directoryFd);
  directoryFd = -1;
}

void holdDirectory(int operation) {
  if (directoryFd < 0) directoryFd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directoryFd >= 0 && !takeLock(directoryFd, operation)) releaseDirectory();
}

}  // namespace

STREAM_HANDLE* openLockedArchive(const char* path, bool writes) {
  std::string file = resolvedHostPath(path);
  directory = hostDirectory(file);
  int operation = writes ? LOCK_EX : LOCK_SH;
  int directoryOperation = LOCK_SH;
  for (;;) {
    holdDirectory(directoryOperation);
    STREAM_HANDLE* archive = openFile(path, "rb");
    if (!archive) {
      bool creates = writes && errno == ENOENT;
      if (creates && directoryOperation == LOCK_SH) {
        // This run will create the archive: nobody else may meanwhile.
        directoryOperation = LOCK_EX;
        continue;
      }
      if (!creates) releaseDirectory();
      return nullptr;
    }
    int fd = fileno(archive->stream);
    struct stat held;
    // Under the directory, a file that is free is the whole archive.
    if (fstat(fd, &held) != 0 || !S_ISREG(held.st_mode) || flock(fd, operation | LOCK_NB) == 0 ||
        errno != EWOULDBLOCK) {
      releaseDirectory();
      return archive;
    }
    releaseDirectory();
    if (!takeLock(fd, operation)) return archive;
    holdDirectory(LOCK_SH);
    struct stat named;
    bool stillNamed = fstat(fd, &held) == 0 && stat(file.c_str(), &named) == 0 &&
                      held.st_dev == named.st_dev && held.st_ino == named.st_ino;
    releaseDirectory();
    if (stillNamed) {
      // The file may have grown while its writer held it.
      archive->known_size = held.st_size;
      return archive;
    }
    closeFile(archive);
    directoryOperation = LOCK_SH;
  }
}

void beginNameChange() { holdDirectory(LOCK_EX); }

void endNameChange(int fd) {
  // A descriptor of its own, so that the lock outlives the stream's close.
  int kept = fcntl(fd, F_DUPFD_CLOEXEC, 0);
  if (kept >= 0 && !takeLock(kept, LOCK_EX)) close(kept);
  releaseDirectory();
}
