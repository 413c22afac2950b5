#include "archiver/command_line.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "archiver/banner.h"
#include "archiver/command_file.h"
#include "support/checked_alloc.h"
#include "support/paths.h"

namespace {

void setArchiveName(CommandLine& commandLine, const char* name) {
  std::strncpy(commandLine.archiveName, name, ARCHIVE_NAME_MAX);
  commandLine.archiveName[ARCHIVE_NAME_MAX] = '\0';
  defaultExtension(commandLine.archiveName, ".lib", false);
}

void appendFile(CommandLine& commandLine, char* path) {
  if (commandLine.fileCount >= commandLine.fileCapacity) {
    commandLine.fileCapacity += FILE_LIST_GROWTH;
    commandLine.files = static_cast<char**>(
        xrealloc(commandLine.files, sizeof(char*) * static_cast<size_t>(commandLine.fileCapacity)));
  }
  commandLine.files[commandLine.fileCount++] = path;
}

void readCommandFile(CommandLine& commandLine, const char* name) {
  // A directory would open as a stream here and read as an empty file.
  STREAM_HANDLE* handle = openFile(name, "r");
  if (!handle) fatalError("cannot open '%s'", name);
  FILE* file = handle->stream;
  char* option = readCommandToken(file);
  char* archive = option ? readCommandToken(file) : nullptr;
  if (!archive) printUsage(false);
  // The archive name is taken before the option word here; the outcome is
  // the same as on the command line.
  setArchiveName(commandLine, archive);
  parseOptionWord(commandLine, option);
  std::free(option);
  std::free(archive);
  while (char* token = readCommandToken(file)) {
    char* path = canonicalPath(token);
    if (path[0] == '-') {
      printStatus("  -->  warning: option %s ignored in file list\n", token);
      std::free(path);
    } else {
      appendFile(commandLine, path);
    }
    std::free(token);
  }
  closeFile(handle);
}

}  // namespace

void printUsage(bool withHelp) {
  printBanner(stdout);
  std::printf("\n Syntax : %s [%s][%s][012] archive files ...\n", "zolt", "arxdt", "quvsh");
  std::printf("          %s @command_file\n", "zolt");
  if (withHelp) {
    std::fputs("\n Commands : (only one may be selected)", stdout);
    std::fputs("\n    a - Add file                   r - Replace file", stdout);
    std::fputs("\n    x - Extract file               d - Delete file", stdout);
    std::puts("\n    t - Print table of contents");
    std::fputs("\n Options :", stdout);
    std::fputs("\n    q - Quiet mode - Normal status messages suppressed", stdout);
    std::fputs("\n    u - Update with newer files (use with 'r' command)", stdout);
    std::fputs("\n    s - Print symbol table contents", stdout);
    std::fputs("\n    v - Verbose", stdout);
    std::puts("\n    h - This help");
    std::fputs("\n Output format options:", stdout);
    std::fputs("\n    0 - Original AR format", stdout);
    std::fputs("\n    1 - QV long-name format (obsolescent)", stdout);
    std::puts("\n    2 - POSIX format (default for newly created files)\n");
  }
  std::exit(1);
}

void parseOptionWord(CommandLine& commandLine, const char* word) {
  // "--version" is the name the rest of a Linux toolchain answers to.
  if (std::strcmp(word, "--toolversion") == 0 || std::strcmp(word, "--version") == 0) {
    printToolVersion(stdout);
    std::exit(0);
  }
  for (const char* p = word; *p; ++p) {
    switch (std::tolower(static_cast<unsigned char>(*p))) {
      case '-': break;
      case '0': commandLine.format = Original; break;
      case '1': commandLine.format = QvLongName; break;
      case '2': commandLine.format = Posix; break;
      case 'a': commandLine.command |= Add; break;
      case 'd': commandLine.command |= Delete; break;
      case 'r': commandLine.command |= Replace; break;
      case 't': commandLine.command |= Table; break;
      case 'x': commandLine.command |= Extract; break;
      case 'u':
        commandLine.updateOnly = 1;
        commandLine.command |= Replace;
        break;
      case 'q': commandLine.quiet = 1; break;
      case 's': commandLine.printSymbols = 1; break;
      case 'v': commandLine.verbose = 1; break;
      case 'h':
      case '?': printUsage(true);
      default: fatalError("bad option '%.1s'", p);
    }
  }
  if (commandLine.command == 0) printUsage(false);
  if ((commandLine.command & (commandLine.command - 1)) != 0)
    fatalError("only one of [arxdt] allowed");
}

CommandLine* parseCommandLine(int argc, char** argv) {
  auto* commandLine = new CommandLine;
  if (argc < 2) printUsage(false);
  const char* first = argv[1];
  if (first[0] == '@' || (first[0] == '-' && first[1] == '@')) {
    // Arguments after the command file are ignored.
    readCommandFile(*commandLine, first + (first[0] == '@' ? 1 : 2));
    return commandLine;
  }
  parseOptionWord(*commandLine, first);
  if (argc < 3) fatalError("must specify an archive");
  setArchiveName(*commandLine, argv[2]);
  for (int i = 3; i < argc; ++i) appendFile(*commandLine, canonicalPath(argv[i]));
  return commandLine;
}
