// Helpers shared by every test program: scratch directories, running
// commands with captured output, and files made at test time.
#pragma once

#include <string>
#include <vector>

namespace testutil {

// A fresh directory under the system's temporary directory, removed with
// everything in it when the object goes away.
class TempDir {
public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
  std::string path_;
};

struct RunResult {
  int status = -1;         // exit status, or 128 + signal number
  std::string out;         // standard output
  std::string err;         // standard error
};

// Runs argv[0] with the given arguments in directory `cwd` (empty: the
// current one), with `input` on standard input. No shell is involved.
RunResult run(const std::vector<std::string>& argv, const std::string& cwd = "",
              const std::string& input = "");

// Runs a shell command line; for tests that need pipes or redirections.
RunResult shell(const std::string& command, const std::string& cwd = "");

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes);
bool exists(const std::string& path);
// Names in a directory, sorted, without "." and "..".
std::vector<std::string> listDir(const std::string& path);
// Sets a file's modification time (seconds since 1970).
void setMtime(const std::string& path, long seconds);

// True when a program of that name is on PATH.
bool haveTool(const std::string& name);

// Compiles C source text to an object file with `compiler` and extra flags
// (for example {"--target=mips-linux-gnu"}); fails the test on error.
std::string compileC(const std::string& dir, const std::string& name,
                     const std::string& source, const std::string& compiler = "gcc",
                     const std::vector<std::string>& flags = {});

// Path of the built zolt binary.
std::string zoltPath();

}  // namespace testutil
