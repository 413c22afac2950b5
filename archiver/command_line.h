// The parsed request of one run: the command, the layout, the flags, the
// archive name and the file arguments.
#pragma once

#include <cstdint>
#include <string>

constexpr int ARCHIVE_NAME_MAX = 495;
constexpr int FILE_LIST_GROWTH = 100;

// Single bits, so that two commands in one option word show as more than
// one bit set.
enum ArchiveCommand : uint32_t {
  Add = 1,
  Delete = 2,
  Replace = 4,
  Table = 8,
  Extract = 16,
};

// The digit on the command line is one less than the value: 0 means that
// no digit was given.
enum ArchiveFormat : int32_t {
  Unset = 0,
  Original = 1,
  QvLongName = 2,
  Posix = 3,
};

struct CommandLine {
  uint32_t command = 0;
  int32_t format = Unset;
  uint8_t updateOnly = 0;
  uint8_t printSymbols = 0;
  uint8_t verbose = 0;
  uint8_t quiet = 0;
  char archiveName[ARCHIVE_NAME_MAX + 8] = {};  // room for the ".lib" default
  char** files = nullptr;   // canonicalised; an entry is null once used
  int32_t fileCount = 0;
  int32_t fileCapacity = 0;
};

CommandLine* parseCommandLine(int argc, char** argv);
void parseOptionWord(CommandLine& commandLine, const char* word);
[[noreturn]] void printUsage(bool withHelp);

// Writes "  -->  error: ", the formatted text and a newline on standard
// error and ends the process with status 1.
[[noreturn]] void fatalError(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Formatted print to standard output, for the "  ==>  " status lines.
void printStatus(const char* format, ...) __attribute__((format(printf, 1, 2)));
