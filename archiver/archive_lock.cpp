#include "archiver/archive_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "support/host_path.h"

namespace {

int directoryFd = -1;

// Waits for the lock. False when the file system refuses it.
bool takeLock(int fd, int operation) {
  while (flock(fd, operation) != 0)
    if (errno != EINTR) return false;
  return true;
}

void holdDirectory(int operation) {
  if (directoryFd >= 0 && !takeLock(directoryFd, operation)) {
    close(directoryFd);
    directoryFd = -1;
  }
}

void releaseDirectory() {
  if (directoryFd >= 0) flock(directoryFd, LOCK_UN);
}

bool stillNamed(int fd, const std::string& file) {
  struct stat held, named;
  return fstat(fd, &held) == 0 && stat(file.c_str(), &named) == 0 &&
         held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

}  // namespace

void lockArchive(const char* path, bool writes) {
  std::string file = resolvedHostPath(path);
  directoryFd = open(hostDirectory(file).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  int directoryMode = LOCK_SH;
  for (;;) {
    holdDirectory(directoryMode);
    // Never kept waiting by what is no file: a FIFO, say.
    int fd = open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0 && errno == ENOENT && writes && directoryMode == LOCK_SH) {
      // This run will create the archive: nobody else may meanwhile.
      directoryMode = LOCK_EX;
      continue;
    }
    if (fd < 0) {
      // Nothing to lock, and the open will fail the same way in a moment;
      // a run that creates the archive keeps the directory.
      if (directoryMode == LOCK_SH) releaseDirectory();
      return;
    }
    releaseDirectory();
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || !takeLock(fd, writes ? LOCK_EX : LOCK_SH)) {
      close(fd);
      return;
    }
    // Held until the process ends. A write that replaced the archive while
    // this run waited leaves it holding the old file: it starts again.
    if (stillNamed(fd, file)) return;
    close(fd);
    directoryMode = LOCK_SH;
  }
}

void beginNameChange() { holdDirectory(LOCK_EX); }

void endNameChange(int fd) {
  // A descriptor of its own, so that the lock outlives the stream's close.
  int held = fcntl(fd, F_DUPFD_CLOEXEC, 0);
  if (held >= 0 && !takeLock(held, LOCK_EX)) close(held);
  releaseDirectory();
}
