#include "support/fatal_signal.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <functional>
#include <string>

#include <gtest/gtest.h>

namespace {

struct ChildResult {
  int status;
  std::string err;
};

// Runs `body` in a child with its standard error captured.
ChildResult inChild(const std::function<void()>& body) {
  int fds[2];
  if (pipe(fds) != 0) return {-1, ""};
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    dup2(fds[1], 2);
    close(fds[0]);
    body();
    _exit(99);
  }
  close(fds[1]);
  std::string err;
  char buf[4096];
  ssize_t n;
  while ((n = read(fds[0], buf, sizeof buf)) > 0) err.append(buf, static_cast<size_t>(n));
  close(fds[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), err};
}

const char* toolName = "bin/zolt";
int hookSignal = 0;

void handler(int signo) { fatal_signal(signo, toolName, nullptr); }

void hook(int signo) {
  hookSignal = signo;
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

TEST(FatalSignal, FaultsEndWithTheInternalErrorReportAndStatusTwo) {
  ChildResult r = inChild([] {
    install_fatal_handler(handler, nullptr);
    raise_fatal(SIGSEGV);
  });
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "\nINTERNAL ERROR: bin/zolt experienced a segmentation fault\n\n" + kAdvice);

  r = inChild([] {
    install_fatal_handler(handler, hook);
    std::abort();
  });
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "\nINTERNAL ERROR: bin/zolt had an internal inconsistency and aborted\n\n" +
                       kAdvice + "[hook 6]");

  r = inChild([] {
    install_fatal_handler(handler, nullptr);
    std::raise(SIGBUS);
  });
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "\nINTERNAL ERROR: bin/zolt experienced a fatal internal fault\n\n" + kAdvice);
}

TEST(FatalSignal, InterruptAndTerminateAreShortAndRunTheHookFirst) {
  ChildResult r = inChild([] {
    install_fatal_handler(handler, hook);
    std::raise(SIGINT);
  });
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "[hook 2][bin/zolt forced exit]\n");
  r = inChild([] {
    install_fatal_handler(handler, nullptr);
    std::raise(SIGQUIT);
  });
  EXPECT_EQ(r.err, "[bin/zolt forced exit]\n");
  r = inChild([] {
    install_fatal_handler(handler, nullptr);
    std::raise(SIGTERM);
  });
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "[bin/zolt received a terminate signal]\n");
}

TEST(FatalSignal, DetailLineAndUnknownNames) {
  ChildResult r = inChild([] { fatal_signal(SIGFPE, nullptr, "detail %d", 42); });
  EXPECT_EQ(r.status, 2);
  // The detail format passes the same plausibility test as the name.
  EXPECT_EQ(r.err, "\nINTERNAL ERROR: unknown received a floating point exception\n"
                   "                  detail 42\n\n" + kAdvice);
  r = inChild([] { fatal_signal(SIGILL, reinterpret_cast<const char*>(100000), nullptr); });
  EXPECT_EQ(r.err, "\nINTERNAL ERROR: unknown executed an illegal instruction\n\n" + kAdvice);
}

TEST(FatalSignal, FileSizeLimitIsIgnoredSoWritesFail) {
  ChildResult r = inChild([] {
    install_fatal_handler(handler, nullptr);
    std::raise(SIGXFSZ);
    std::fputs("survived", stderr);
    _exit(0);
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "survived");
}

}  // namespace
