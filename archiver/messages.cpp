// The two ways the archiver speaks to its user: status lines on standard
// output and fatal errors on standard error.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "archiver/command_line.h"

void fatalError(const char* format, ...) {
  std::fflush(stdout);
  std::fputs("  -->  error: ", stderr);
  va_list args;
  va_start(args, format);
  std::vfprintf(stderr, format, args);
  va_end(args);
  std::fputc('\n', stderr);
  std::exit(1);
}

void printStatus(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::vprintf(format, args);
  va_end(args);
}
