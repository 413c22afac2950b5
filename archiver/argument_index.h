// Pairing file arguments with member names in time proportional to their
// number: the arguments with the same folded base name are chained in
// argument order, so that the first uncleared match is always the one taken.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "archiver/command_line.h"

class ArgumentIndex {
public:
  explicit ArgumentIndex(CommandLine& commandLine);
  // Clears and returns the first uncleared argument matching `memberName`.
  const char* take(const char* memberName);

private:
  CommandLine& commandLine_;
  // Folded base name -> position of its first argument not yet taken.
  std::unordered_map<std::string, int32_t> first_;
  // Position -> next position with the same folded base name, or -1.
  std::vector<int32_t> next_;
};

std::string foldName(const char* name);
