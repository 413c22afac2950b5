#include "archiver/argument_index.h"

#include <cctype>

#include "support/paths.h"

std::string foldName(const char* name) {
  std::string folded = name;
  for (char& c : folded) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return folded;
}

ArgumentIndex::ArgumentIndex(CommandLine& commandLine)
    : commandLine_(commandLine), next_(static_cast<size_t>(commandLine.fileCount), -1) {
  std::unordered_map<std::string, int32_t> last;
  first_.reserve(static_cast<size_t>(commandLine.fileCount));
  for (int32_t i = 0; i < commandLine.fileCount; ++i) {
    const char* base = commandLine.files[i] ? baseName(commandLine.files[i]) : nullptr;
    if (!base) continue;
    std::string key = foldName(base);
    auto [it, inserted] = last.try_emplace(key, i);
    if (inserted)
      first_.emplace(std::move(key), i);
    else
      next_[static_cast<size_t>(it->second)] = i, it->second = i;
  }
}

const char* ArgumentIndex::take(const char* memberName) {
  auto it = first_.find(foldName(memberName));
  if (it == first_.end()) return nullptr;
  // Arguments cleared by other means are skipped for good.
  for (int32_t i = it->second; i >= 0; i = next_[static_cast<size_t>(i)]) {
    char* file = commandLine_.files[i];
    it->second = next_[static_cast<size_t>(i)];
    if (file) {
      commandLine_.files[i] = nullptr;
      return file;
    }
  }
  return nullptr;
}
