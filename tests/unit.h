// What the unit tests share: a piece of a test run in a child process with
// its output and exit status captured, scratch files, and objects compiled
// at test time.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <type_traits>

namespace unit {

inline std::string slurp(const std::string& path) {
  std::ostringstream all;
  all << std::ifstream(path, std::ios::binary).rdbuf();
  return all.str();
}

inline void spit(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

// A path in a directory of this test program's own, removed when it ends
// (children that exit leave it alone).
inline std::string scratch(const std::string& name) {
  static const struct Dir {
    std::string path = (std::filesystem::temp_directory_path() / "zolt-unit-XXXXXX").string();
    pid_t owner = mkdtemp(path.data()) ? getpid() : 0;
    ~Dir() {
      if (getpid() == owner) std::filesystem::remove_all(path);
    }
  } dir;
  return dir.path + "/" + name;
}

struct Ran {
  int status;  // the exit status, or 128 + the signal that ended the child
  std::string out, err;
};

// Runs `body` in a child, so that exits, aborts and process-wide settings
// stay out of the test program.
inline Ran inChild(const std::function<void()>& body) {
  static int children = 0;
  const std::string out = scratch("child" + std::to_string(++children)), err = out + ".err";
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(open(out.c_str(), O_WRONLY | O_CREAT, 0600), 1), dup2(open(err.c_str(), O_WRONLY | O_CREAT, 0600), 2);
    body();
    std::fflush(nullptr), _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), slurp(out), slurp(err)};
}

// Values joined by blanks, numbers in decimal. Written as Seq{a(), b()}, the
// calls are made in the order given, as they are in any braced list.
struct Seq {
  std::string text;
  template <typename... T> Seq(const T&... values) {
    bool first = true;
    ((text += (first ? "" : " ") + str(values), first = false), ...);
  }
  template <typename T> static std::string str(const T& v) {
    if constexpr (std::is_arithmetic_v<T>) return std::to_string(+v);
    else return std::string(v);
  }
};

// An application error as it is printed when it fits on its line.
inline std::string appError(const std::string& text) {
  return "DIAG/user_msg_api:175:internal error #99924: (" + text + ")\n";
}

// The object file that `compiler` (with its flags) makes of C `source`;
// empty when it cannot.
inline std::string compile(const std::string& source, const std::string& compiler = "gcc -c") {
  static int sources = 0;
  const std::string c = scratch("source" + std::to_string(++sources) + ".c");
  spit(c, source);
  return std::system((compiler + " -fcommon -o " + c + ".o " + c + " 2>/dev/null").c_str()) ? "" : slurp(c + ".o");
}

}  // namespace unit
