#include "support/host_path.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>

std::string hostPath(const char* path) {
  std::string p = path ? path : "";
  std::replace(p.begin(), p.end(), '\\', '/');
  return p;
}

std::string resolvedHostPath(const char* path) {
  std::string host = hostPath(path);
  struct stat st;
  if (lstat(host.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return host;
  char* real = realpath(host.c_str(), nullptr);
  if (!real) return host;
  std::string resolved = real;
  std::free(real);
  return resolved;
}

std::string hostDirectory(const std::string& hostFile) {
  size_t slash = hostFile.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : hostFile.substr(0, slash);
}
