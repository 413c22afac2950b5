#include "archiver/archive_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "support/host_path.h"

namespace {

// Waits for the lock. False when the file system refuses it.
bool takeLock(int fd, int operation) {
  while (flock(fd, operation) != 0)
    if (errno != EINTR) return false;
  return true;
}

}  // namespace

void lockArchive(const char* path, bool writes) {
  // The write replaces the archive's file, so the file cannot carry the
  // lock; the directory that holds it and its set-aside copy can. The
  // descriptor stays open until the process ends, and the lock with it.
  std::string directory = hostDirectory(resolvedHostPath(path));
  int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  if (!takeLock(fd, writes ? LOCK_EX : LOCK_SH)) close(fd);
}
