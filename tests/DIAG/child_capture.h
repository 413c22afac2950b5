// Runs a piece of the program in a forked child with its standard output
// and standard error captured, so that output, exit status and process-wide
// state (settings, error count) can be checked without touching the test
// process.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

namespace testutil {

struct ChildResult {
  int status = -1;  // exit status, or 128 + signal number
  std::string out;
  std::string err;
};

inline std::string slurp(FILE* f) {
  std::string text;
  std::rewind(f);
  char buf[4096];
  for (size_t n; (n = std::fread(buf, 1, sizeof buf, f)) > 0;) text.append(buf, n);
  std::fclose(f);
  return text;
}

// The child ends with status 0 when `body` returns.
inline ChildResult inChild(const std::function<void()>& body) {
  ChildResult result;
  FILE* out = std::tmpfile();
  FILE* err = std::tmpfile();
  if (!out || !err) return result;
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    dup2(fileno(out), 1);
    dup2(fileno(err), 2);
    body();
    std::fflush(nullptr);
    _exit(0);
  }
  int status = 0;
  if (pid > 0 && waitpid(pid, &status, 0) == pid) {
    if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
    else if (WIFSIGNALED(status)) result.status = 128 + WTERMSIG(status);
  }
  result.out = slurp(out);
  result.err = slurp(err);
  return result;
}

}  // namespace testutil
