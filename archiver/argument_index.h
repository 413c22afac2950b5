// Pairing file arguments with member names in time proportional to their
// number: a map from the folded base name to the argument positions, in
// order, so that the first uncleared match is always the one taken.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <unordered_map>

#include "archiver/command_line.h"

class ArgumentIndex {
public:
  explicit ArgumentIndex(CommandLine& commandLine);
  // Clears and returns the first uncleared argument matching `memberName`.
  const char* take(const char* memberName);

private:
  CommandLine& commandLine_;
  std::unordered_map<std::string, std::deque<int32_t>> positions_;
};

std::string foldName(const char* name);
