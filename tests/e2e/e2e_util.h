// Shared pieces of the end-to-end tests: running the built zolt in a
// scratch directory, the texts it prints, and archive bytes built by hand.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/test_util.h"

namespace e2e {

using testutil::exists;
using testutil::header;
using testutil::listDir;
using testutil::member;
using testutil::nameTable;
using testutil::rawHeader;
using testutil::readFile;
using testutil::RunResult;
using testutil::TempDir;
using testutil::writeFile;

constexpr char kMagic[] = "!<arch>\n";
constexpr char kErr[] = "  -->  error: ";

// The two header lines of a table of contents.
constexpr char kListHead[] =
    "\n      SIZE   DATE                        FILE NAME"
    "\n  --------   ------------------------    -----------------\n";

inline std::string errLine(const std::string& message) { return kErr + message + "\n"; }
inline std::string building(const std::string& archive) {
  return "  ==>  building archive '" + archive + "'\n";
}
inline std::string created(const std::string& archive) {
  return "  ==>  new archive '" + archive + "'\n" + building(archive);
}
inline std::string listLine(long size, const std::string& date, const std::string& name) {
  char line[256];
  std::snprintf(line, sizeof line, "  %8ld   %s    %s\n", size, date.c_str(), name.c_str());
  return line;
}

// Runs zolt with `args` in `cwd`. Dates are listed in UTC.
inline RunResult zolt(const std::vector<std::string>& args, const std::string& cwd,
                      const std::string& input = "") {
  setenv("TZ", "UTC", 1);
  std::vector<std::string> argv{testutil::zoltPath()};
  argv.insert(argv.end(), args.begin(), args.end());
  return testutil::run(argv, cwd, input);
}

// Runs zolt through /bin/sh so that a shell command (typically a ulimit)
// applies to zolt alone: sh -c '<prefix>; exec zolt args...'.
inline RunResult zoltAfter(const std::string& prefix, const std::vector<std::string>& args,
                           const std::string& cwd) {
  setenv("TZ", "UTC", 1);
  std::vector<std::string> argv{"/bin/sh", "-c", prefix + "; exec \"$0\" \"$@\"",
                                testutil::zoltPath()};
  argv.insert(argv.end(), args.begin(), args.end());
  return testutil::run(argv, cwd);
}

// A file with the given contents and modification time.
inline void makeFile(const std::string& path, const std::string& bytes, long mtime) {
  writeFile(path, bytes);
  testutil::setMtime(path, mtime);
}

// Names in `dir` that look like the writer's set-aside files ({GUID}).
inline std::vector<std::string> guidFiles(const std::string& dir) {
  static const std::regex guid(
      R"(\{[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}\})");
  std::vector<std::string> found;
  for (const auto& name : listDir(dir))
    if (std::regex_match(name, guid)) found.push_back(name);
  return found;
}

inline mode_t fileMode(const std::string& path) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0) return 0;
  return st.st_mode & 07777;
}

// Checks standard output, standard error and the status of one run.
#define EXPECT_RUN(run, expectedOut, expectedErr, expectedStatus) \
  do {                                                           \
    const ::testutil::RunResult& r_ = (run);                     \
    EXPECT_EQ(r_.out, expectedOut);                              \
    EXPECT_EQ(r_.err, expectedErr);                              \
    EXPECT_EQ(r_.status, expectedStatus);                        \
  } while (0)

// A test with its own scratch directory, in which zolt runs.
class ZoltTest : public testing::Test {
protected:
  TempDir dir;
  RunResult z(const std::vector<std::string>& args) { return zolt(args, dir.path()); }
  std::string read(const std::string& name) const { return readFile(dir.file(name)); }
  void make(const std::string& name, const std::string& bytes, long mtime) {
    makeFile(dir.file(name), bytes, mtime);
  }
  void mkdir(const std::string& name) { ASSERT_EQ(testutil::shell("mkdir -p " + name, dir.path()).status, 0); }
};

}  // namespace e2e
