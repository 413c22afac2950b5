#include "support/host_path.h"

#include <algorithm>

std::string hostPath(const char* path) {
  std::string p = path ? path : "";
  std::replace(p.begin(), p.end(), '\\', '/');
  return p;
}
