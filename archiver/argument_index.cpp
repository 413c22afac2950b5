#include "archiver/argument_index.h"

#include <cctype>

#include "support/paths.h"

std::string foldName(const char* name) {
  std::string folded = name;
  for (char& c : folded) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return folded;
}

ArgumentIndex::ArgumentIndex(CommandLine& commandLine) : commandLine_(commandLine) {
  for (int32_t i = 0; i < commandLine.fileCount; ++i) {
    const char* base = baseName(commandLine.files[i]);
    if (base) positions_[foldName(base)].push_back(i);
  }
}

const char* ArgumentIndex::take(const char* memberName) {
  auto it = positions_.find(foldName(memberName));
  if (it == positions_.end()) return nullptr;
  auto& queue = it->second;
  while (!queue.empty()) {
    int32_t index = queue.front();
    queue.pop_front();
    char* file = commandLine_.files[index];
    if (file) {
      commandLine_.files[index] = nullptr;
      return file;
    }
  }
  return nullptr;
}
