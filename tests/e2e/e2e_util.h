// Shared pieces of the end-to-end tests: running the built zolt, and
// building archive bytes by hand, one header field at a time.
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

using testutil::RunResult;

constexpr char kMagic[] = "!<arch>\n";
constexpr char kErr[] = "  -->  error: ";

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

// One 60-byte member header. Every field is given as the text it holds,
// left-justified and blank-padded to its width.
inline std::string rawHeader(const std::string& name,   // 16 bytes at offset 0
                             const std::string& date,   // 12 bytes at offset 16
                             const std::string& uid,    // 6 bytes at offset 28
                             const std::string& gid,    // 6 bytes at offset 34
                             const std::string& mode,   // 8 bytes at offset 40
                             const std::string& size,   // 10 bytes at offset 48
                             const std::string& terminator = "`\n") {  // 2 bytes at 58
  auto pad = [](const std::string& text, size_t width) {
    std::string out = text.substr(0, width);
    out.resize(width, ' ');
    return out;
  };
  return pad(name, 16) + pad(date, 12) + pad(uid, 6) + pad(gid, 6) + pad(mode, 8) +
         pad(size, 10) + pad(terminator, 2);
}

// A header as zolt writes it: gid 0, mode "0".
inline std::string header(const std::string& nameField, long date, long uid, long size) {
  return rawHeader(nameField, std::to_string(date), std::to_string(uid), "0", "0",
                   std::to_string(size));
}

// Header, data, and the newline pad after odd-sized data.
inline std::string member(const std::string& nameField, long date, const std::string& data,
                          long uid = 0) {
  std::string out = header(nameField, date, uid, static_cast<long>(data.size())) + data;
  if (data.size() % 2) out += '\n';
  return out;
}

// A name table member ("//" or "<filenames>/") holding `text`.
inline std::string nameTable(const std::string& nameField, const std::string& text,
                             long uid = 0) {
  return header(nameField, 0, uid, static_cast<long>(text.size())) + text;
}

// A file with the given contents and modification time.
inline void makeFile(const std::string& path, const std::string& bytes, long mtime) {
  testutil::writeFile(path, bytes);
  testutil::setMtime(path, mtime);
}

// Names in `dir` that look like the writer's set-aside files ({GUID}).
inline std::vector<std::string> guidFiles(const std::string& dir) {
  static const std::regex guid(
      R"(\{[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}\})");
  std::vector<std::string> found;
  for (const auto& name : testutil::listDir(dir))
    if (std::regex_match(name, guid)) found.push_back(name);
  return found;
}

inline mode_t fileMode(const std::string& path) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0) return 0;
  return st.st_mode & 07777;
}

// The two header lines of a table of contents.
constexpr char kListHead[] =
    "\n      SIZE   DATE                        FILE NAME"
    "\n  --------   ------------------------    -----------------\n";

}  // namespace e2e
