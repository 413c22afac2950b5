// Helpers shared by every test program: scratch directories, child
// processes with captured output, files made at test time, and archive
// bytes built by hand.
#pragma once

#include <sys/types.h>

#include <functional>
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

// A child process whose standard streams are pipes held by the test.
struct Child {
  pid_t pid = -1;
  int in = -1, out = -1, err = -1;
};

// Forks; the child runs `body` with its streams redirected and ends with
// status 0 when `body` returns.
Child forkChild(const std::function<void()>& body);
// Starts argv (the file `program`, else argv[0] looked up on PATH) in `cwd`.
Child spawn(const std::vector<std::string>& argv, const std::string& cwd = "",
            const std::string& program = "");
// Feeds `input`, collects the output until both streams end, and reaps.
RunResult finish(Child& child, const std::string& input = "");

// Runs argv[0] with the given arguments in directory `cwd` (empty: the
// current one), with `input` on standard input. No shell is involved.
RunResult run(const std::vector<std::string>& argv, const std::string& cwd = "",
              const std::string& input = "");
// Runs a piece of this program in a child, so that output, exit status and
// process-wide state can be checked without touching the test process.
RunResult inChild(const std::function<void()>& body);

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

// One 60-byte member header. Every field is given as the text it holds,
// left-justified and blank-padded to its width (16, 12, 6, 6, 8, 10, 2).
std::string rawHeader(const std::string& name, const std::string& date, const std::string& uid,
                      const std::string& gid, const std::string& mode, const std::string& size,
                      const std::string& terminator = "`\n");
// A header as zolt writes it: gid 0, mode "0".
std::string header(const std::string& nameField, long date, long uid, long size);
// Header, data, and the newline pad after odd-sized data.
std::string member(const std::string& nameField, long date, const std::string& data,
                   long uid = 0);
// A name table member ("//" or "<filenames>/") holding `text`.
std::string nameTable(const std::string& nameField, const std::string& text, long uid = 0);

// An application error as the diagnostics print it when it fits one line.
std::string appError(const std::string& text);

}  // namespace testutil
