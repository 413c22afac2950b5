#include "support/fatal_signal.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "DIAG/user_msg_api.h"
#include "common/test_util.h"

namespace {

using testutil::inChild;
using testutil::RunResult;

const char* toolName = "bin/zolt";

void handler(int signo) { fatal_signal(signo, toolName, nullptr); }

void hook(int signo) {
  std::fprintf(stderr, "[hook %d]", signo);
}

const std::string kAdvice =
    "This failure is caused by a defect in the Zq4 Archiver. Customer support\n"
    "may be able to suggest a workaround to avoid it.\n"
    "\n"
    "Upgrading to the newest version of the compiler may fix this problem.\n"
    "\n"
    "Please report this problem on the Zq4 toolchain support forum.\n"
    "\n"
    "We need to see this ENTIRE error message and a complete, reproducible\n"
    "test case including ALL of the command-line options.\n"
    "\n";

TEST(FatalSignal, EachSignalHasItsReportAndStatusTwo) {
  const std::string internal = "\nINTERNAL ERROR: bin/zolt ";
  struct Case {
    void (*fire)();
    bool withHook;
    std::string err;
  };
  const Case cases[] = {
      {[] { raise_fatal(SIGSEGV); }, false,
       internal + "experienced a segmentation fault\n\n" + kAdvice},
      {[] { std::abort(); }, true,
       internal + "had an internal inconsistency and aborted\n\n" + kAdvice + "[hook 6]"},
      {[] { std::raise(SIGBUS); }, false, internal + "experienced a fatal internal fault\n\n" + kAdvice},
      // Interrupt and terminate are short, and run the hook first.
      {[] { std::raise(SIGINT); }, true, "[hook 2][bin/zolt forced exit]\n"},
      {[] { std::raise(SIGQUIT); }, false, "[bin/zolt forced exit]\n"},
      {[] { std::raise(SIGTERM); }, false, "[bin/zolt received a terminate signal]\n"},
  };
  for (const Case& c : cases) {
    RunResult r = inChild([&] {
      install_fatal_handler(handler, c.withHook ? hook : nullptr);
      c.fire();
    });
    EXPECT_EQ(r.status, 2) << c.err;
    EXPECT_EQ(r.err, c.err);
  }
}

TEST(FatalSignal, DetailLineAndUnknownNames) {
  RunResult r = inChild([] { fatal_signal(SIGFPE, nullptr, "detail %d", 42); });
  EXPECT_EQ(r.status, 2);
  // The detail format passes the same plausibility test as the name.
  EXPECT_EQ(r.err, "\nINTERNAL ERROR: unknown received a floating point exception\n"
                   "                  detail 42\n\n" + kAdvice);
  r = inChild([] { fatal_signal(SIGILL, reinterpret_cast<const char*>(100000), nullptr); });
  EXPECT_EQ(r.err, "\nINTERNAL ERROR: unknown executed an illegal instruction\n\n" + kAdvice);
}

TEST(FatalSignal, FileSizeLimitIsIgnoredSoWritesFail) {
  RunResult r = inChild([] {
    install_fatal_handler(handler, nullptr);
    std::raise(SIGXFSZ);
    std::fputs("survived", stderr);
    _exit(0);
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "survived");
}

TEST(FatalSignal, DieEndsInTheHandlerWithoutExitHandlers) {
  RunResult r = inChild([] {
    install_fatal_handler(handler, nullptr);
    std::atexit([] { std::fputs("exit handler ran\n", stderr); });
    user_msg_die(user_msg_reporter(), "OF_MACHINE::flags", "Not an ELF section");
  });
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "DIAG/user_msg_api:213:internal fatal error #99926: (OF_MACHINE::flags: Not an\n"
                   "   ELF section)\n\nINTERNAL ERROR: bin/zolt had an internal inconsistency and aborted\n\n" +
                       kAdvice);
}

}  // namespace
