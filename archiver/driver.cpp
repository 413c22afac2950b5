#include "archiver/driver.h"

#include <cstdio>
#include <cstdlib>

#include "archiver/archive_writer.h"
#include "archiver/member_ops.h"
#include "support/fatal_signal.h"

namespace {

char** programArguments = nullptr;

void onFatalSignal(int signo) {
  fatal_signal(signo, programArguments ? programArguments[0] : nullptr, nullptr);
}

}  // namespace

void printCollapsingPercents(FILE* stream, const char* text) {
  for (const char* p = text; *p; ++p) {
    std::fputc(*p, stream);
    if (p[0] == '%' && p[1] == '%') ++p;
  }
}

void archiveErrorExit(Archive& archive, ArchiveError /*kind*/, const char* message) {
  abandonWrite(archive);
  std::fflush(stdout);
  std::fputs("  -->  error: ", stderr);
  // The text has been formatted once already; it is never a format again.
  printCollapsingPercents(stderr, message);
  std::fputc('\n', stderr);
  std::exit(1);
}

void runCommand(CommandLine& commandLine, Archive& archive) {
  switch (commandLine.command) {
    case Add: addFiles(commandLine, archive); break;
    case Replace: replaceMembers(commandLine, archive); break;
    case Delete: deleteMembers(commandLine, archive); break;
    case Table: listMembers(commandLine, archive); break;
    case Extract: extractMembers(commandLine, archive); break;
    default: break;
  }
}

int reportUnmatchedFiles(CommandLine& commandLine) {
  int status = 0;
  for (int32_t i = 0; i < commandLine.fileCount; ++i) {
    if (!commandLine.files[i]) continue;
    std::fflush(stdout);
    std::fprintf(stderr, "  -->  error: '%s' not found\n", commandLine.files[i]);
    status = 1;
  }
  return status;
}

int zoltMain(int argc, char** argv) {
  // First of all, so that every way of dying is reported, and a write in
  // progress is undone.
  install_fatal_handler(onFatalSignal, abandonActiveWriteFromSignal);
  programArguments = argv;
  CommandLine* commandLine = parseCommandLine(argc, argv);
  Archive* archive = openArchive(*commandLine, archiveErrorExit);
  runCommand(*commandLine, *archive);
  int status = reportUnmatchedFiles(*commandLine);
  if (membersSkipped()) status = 1;
  std::exit(status);
}
