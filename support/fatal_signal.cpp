#include "support/fatal_signal.h"

#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <unistd.h>

namespace {

FatalCleanupHook cleanupHook = nullptr;
char detailBuffer[2048];

// Tool names at implausibly low addresses are treated as absent; the
// comparison is on the low 32 bits, as the report has always done.
bool plausiblePointer(const void* p) {
  return p != nullptr &&
         static_cast<uint32_t>(reinterpret_cast<uintptr_t>(p)) >= 100001u;
}

[[noreturn]] void endNow() { _exit(2); }

}  // namespace

void install_fatal_handler(void (*handler)(int), FatalCleanupHook hook) {
  cleanupHook = hook;
  for (int signo : {SIGILL, SIGABRT, SIGFPE, SIGSEGV, SIGBUS, SIGTERM, SIGINT, SIGQUIT})
    std::signal(signo, handler);
  // A file-size limit must make a write fail (and be undone), not kill us.
  std::signal(SIGXFSZ, SIG_IGN);
}

void set_fatal_cleanup_hook(FatalCleanupHook hook) { cleanupHook = hook; }

const char* fault_description(int signo) {
  switch (signo) {
    case SIGILL: return "executed an illegal instruction";
    case SIGFPE: return "received a floating point exception";
    case SIGSEGV: return "experienced a segmentation fault";
    case SIGABRT: return "had an internal inconsistency and aborted";
    default: return "experienced a fatal internal fault";
  }
}

void print_defect_advice() {
  std::fputs(
      "This failure is caused by a defect in the Zq4 Archiver. Customer support\n"
      "may be able to suggest a workaround to avoid it.\n"
      "\n"
      "Upgrading to the newest version of the compiler may fix this problem.\n"
      "\n"
      "Please report this problem on the Zq4 toolchain support forum.\n"
      "\n"
      "We need to see this ENTIRE error message and a complete, reproducible\n"
      "test case including ALL of the command-line options.\n",
      stderr);
  // Only the compiler stages and the linker ask for extra files here.
  std::fputs("\n", stderr);
}

void fatal_signal(int signo, const char* tool_name, const char* detail_format, ...) {
  const bool named = plausiblePointer(tool_name);
  const char* name = named ? tool_name : "unknown";
  const bool hasDetail = plausiblePointer(detail_format);

  if (signo == SIGINT || signo == SIGQUIT || signo == SIGTERM) {
    // The clean-up (undoing an archive write) comes first, so that nothing
    // half-written is left under the archive's name.
    if (cleanupHook) cleanupHook(signo);
    std::fprintf(stderr, signo == SIGTERM ? "[%s received a terminate signal]\n"
                                          : "[%s forced exit]\n", name);
    std::fflush(stderr);
    endNow();
  }

  if (hasDetail) {
    va_list args;
    va_start(args, detail_format);
    std::vsnprintf(detailBuffer, sizeof detailBuffer, detail_format, args);
    va_end(args);
    detailBuffer[sizeof detailBuffer - 1] = '\0';
  }
  // Kept from the first report: a fault during the report shows the first cause.
  static const char* const description = fault_description(signo);
  std::fprintf(stderr, "\nINTERNAL ERROR: %s %s\n", name, description);
  if (hasDetail && detailBuffer[0] != '\0')
    std::fprintf(stderr, "                  %s\n", detailBuffer);
  std::fputs("\n", stderr);
  std::fflush(nullptr);
  print_defect_advice();
  std::fflush(nullptr);
  if (cleanupHook) cleanupHook(signo);
  endNow();
}

void raise_fatal(int signo) {
  std::raise(signo);
  // No handler installed (or it returned): end the same way regardless.
  std::signal(signo, SIG_DFL);
  std::raise(signo);
  _exit(2);
}
