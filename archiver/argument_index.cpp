#include "archiver/argument_index.h"

#include <cctype>

#include "support/paths.h"

size_t ArgumentIndex::FoldedHash::operator()(const char* name) const {
  size_t hash = 14695981039346656037ull;
  for (const char* p = name; *p; ++p)
    hash = (hash ^ static_cast<size_t>(std::tolower(static_cast<unsigned char>(*p)))) *
           1099511628211ull;
  return hash;
}

bool ArgumentIndex::FoldedEqual::operator()(const char* a, const char* b) const {
  return compareNoCase(a, b) == 0;
}

ArgumentIndex::ArgumentIndex(CommandLine& commandLine)
    : commandLine_(commandLine), next_(static_cast<size_t>(commandLine.fileCount), -1) {
  first_.reserve(static_cast<size_t>(commandLine.fileCount));
  // Backwards, so that each name's chain ends up in argument order.
  for (int32_t i = commandLine.fileCount - 1; i >= 0; --i) {
    const char* base = commandLine.files[i] ? baseName(commandLine.files[i]) : nullptr;
    if (!base) continue;
    auto [it, inserted] = first_.try_emplace(base, i);
    if (!inserted) {
      next_[static_cast<size_t>(i)] = it->second;
      it->second = i;
    }
  }
}

const char* ArgumentIndex::take(const char* memberName) {
  auto it = first_.find(memberName);
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
