// Pairing file arguments with member names in time proportional to their
// number: the arguments with the same base name (without regard to case)
// are chained in argument order, so that the first uncleared match is
// always the one taken.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "archiver/command_line.h"

class ArgumentIndex {
public:
  explicit ArgumentIndex(CommandLine& commandLine);
  // Clears and returns the first uncleared argument matching `memberName`.
  const char* take(const char* memberName);

private:
  struct FoldedHash {
    size_t operator()(const char* name) const;
  };
  struct FoldedEqual {
    bool operator()(const char* a, const char* b) const;
  };

  CommandLine& commandLine_;
  // Base name (pointing into the argument itself) -> position of its first
  // argument not yet taken.
  std::unordered_map<const char*, int32_t, FoldedHash, FoldedEqual> first_;
  // Position -> next position with the same base name, or -1.
  std::vector<int32_t> next_;
};
