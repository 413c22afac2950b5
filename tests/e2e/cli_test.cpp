// The command line: usage and help texts, the version banner, the option
// word and the front end's error lines.
#include <regex>

#include "e2e/e2e_util.h"

namespace {

using namespace e2e;
using testutil::exists;
using testutil::readFile;
using testutil::TempDir;
using testutil::writeFile;

const std::string kTitle = "Zq4 Archiver                            v1.0.0.LTS\n";
const std::string kBanner =
    kTitle + "Copyright (c) 2025-2026 The zolt developers. All rights reserved.\n";
const std::string kUsage = kBanner +
                           "\n Syntax : zolt [arxdt][quvsh][012] archive files ...\n"
                           "          zolt @command_file\n";
const std::string kHelp = kUsage +
                          "\n Commands : (only one may be selected)"
                          "\n    a - Add file                   r - Replace file"
                          "\n    x - Extract file               d - Delete file"
                          "\n    t - Print table of contents\n"
                          "\n Options :"
                          "\n    q - Quiet mode - Normal status messages suppressed"
                          "\n    u - Update with newer files (use with 'r' command)"
                          "\n    s - Print symbol table contents"
                          "\n    v - Verbose"
                          "\n    h - This help\n"
                          "\n Output format options:"
                          "\n    0 - Original AR format"
                          "\n    1 - QV long-name format (obsolescent)"
                          "\n    2 - POSIX format (default for newly created files)\n\n";

void expectUsage(const RunResult& r, const std::string& text) {
  EXPECT_EQ(r.out, text);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 1);
}

void expectError(const RunResult& r, const std::string& message) {
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, std::string(kErr) + message + "\n");
  EXPECT_EQ(r.status, 1);
}

TEST(Cli, ShortUsageWhenNothingToDo) {
  TempDir dir;
  expectUsage(zolt({}, dir.path()), kUsage);
  // An option word without a command letter.
  expectUsage(zolt({"v", "lib"}, dir.path()), kUsage);
  expectUsage(zolt({"-", "lib", "a.o"}, dir.path()), kUsage);
  expectUsage(zolt({"2qs", "lib"}, dir.path()), kUsage);
  EXPECT_TRUE(testutil::listDir(dir.path()).empty());
}

TEST(Cli, HelpTextEndsWithStatusOne) {
  TempDir dir;
  expectUsage(zolt({"h"}, dir.path()), kHelp);
  expectUsage(zolt({"-?"}, dir.path()), kHelp);
  expectUsage(zolt({"H", "lib"}, dir.path()), kHelp);
  // Help comes as soon as the letter is seen; the archive is not touched.
  writeFile(dir.file("a.o"), "abc");
  expectUsage(zolt({"rh", "lib", "a.o"}, dir.path()), kHelp);
  EXPECT_FALSE(exists(dir.file("lib.lib")));
  // A bad letter before the h wins.
  expectError(zolt({"zh", "lib"}, dir.path()), "bad option 'z'");
}

TEST(Cli, ToolVersionPrintsTwoLines) {
  TempDir dir;
  RunResult r = zolt({"--toolversion"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_TRUE(std::regex_match(r.out, std::regex(kTitle + "Build Number [0-9A-Za-z-]+\n")))
      << r.out;
  // The version field starts in column 41.
  EXPECT_EQ(r.out.find("v1.0.0.LTS"), 40u);
  // Anything after it is never looked at.
  RunResult again = zolt({"--toolversion", "lib", "x.o"}, dir.path());
  EXPECT_EQ(again.out, r.out);
  EXPECT_EQ(again.status, 0);
  // The same word from a command file.
  writeFile(dir.file("cmds"), "--toolversion lib\n");
  RunResult fromFile = zolt({"@cmds"}, dir.path());
  EXPECT_EQ(fromFile.out, r.out);
  EXPECT_EQ(fromFile.status, 0);
  // Only the exact word: other spellings are walked letter by letter.
  expectError(zolt({"--TOOLVERSION", "lib"}, dir.path()), "bad option 'O'");
  EXPECT_TRUE(testutil::listDir(dir.path()) == std::vector<std::string>{"cmds"});
}

TEST(Cli, OptionWordErrors) {
  TempDir dir;
  expectError(zolt({"r"}, dir.path()), "must specify an archive");
  expectError(zolt({"-tv"}, dir.path()), "must specify an archive");
  expectError(zolt({"rz", "lib"}, dir.path()), "bad option 'z'");
  expectError(zolt({"r3", "lib"}, dir.path()), "bad option '3'");
  expectError(zolt({"r/", "lib"}, dir.path()), "bad option '/'");
  // The dashes are skipped and "t" is taken before the "o" is refused.
  expectError(zolt({"-t--toolversion", "lib"}, dir.path()), "bad option 'o'");
  expectError(zolt({"ax", "lib"}, dir.path()), "only one of [arxdt] allowed");
  expectError(zolt({"tD", "lib"}, dir.path()), "only one of [arxdt] allowed");
  // "u" is a replace as well.
  expectError(zolt({"ua", "lib"}, dir.path()), "only one of [arxdt] allowed");
  expectError(zolt({"xu", "lib"}, dir.path()), "only one of [arxdt] allowed");
  // The word is checked before the archive name is needed.
  expectError(zolt({"ad"}, dir.path()), "only one of [arxdt] allowed");
  EXPECT_TRUE(testutil::listDir(dir.path()).empty());
}

TEST(Cli, AcceptedOptionWords) {
  TempDir dir;
  makeFile(dir.file("a.o"), "abc", 1700000000);
  // "u" alone is a replace with update; "ur" the same; a repeated letter is harmless.
  RunResult r = zolt({"u", "lib", "a.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  new archive 'lib.lib'\n  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  const std::string archive = readFile(dir.file("lib.lib"));
  EXPECT_EQ(archive, kMagic + member("a.o/", 1700000000, "abc"));
  r = zolt({"-R-U-r", "lib", "a.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.status, 0);
  // A digit with a command that does not write has no effect.
  r = zolt({"2x", "lib"}, dir.path());
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.status, 0);
  r = zolt({"0T", "lib"}, dir.path());
  EXPECT_EQ(r.out, std::string(kListHead) +
                       "         3   Tue Nov 14 22:13:20 2023    a.o\n");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("lib.lib")), archive);
}

TEST(Cli, ArchiveMustExistForReadingCommands) {
  TempDir dir;
  for (const char* command : {"t", "x", "d"})
    expectError(zolt({command, "lib", "a.o"}, dir.path()), "cannot open archive: 'lib.lib'");
  testutil::shell("mkdir dir.lib", dir.path());
  expectError(zolt({"t", "dir"}, dir.path()), "cannot open archive: 'dir.lib'");
  // Something that exists but cannot be read is never replaced by a new,
  // empty archive.
  for (const char* command : {"r", "a"})
    expectError(zolt({command, "dir", "a.o"}, dir.path()), "cannot open archive: 'dir.lib'");
  writeFile(dir.file("text.a"), "just some text, long enough to hold a header or two\n");
  for (const char* command : {"t", "x", "d"})
    expectError(zolt({command, "text.a", "a.o"}, dir.path()), "'text.a' is not an archive");
  writeFile(dir.file("short.lib"), "!<arch>");
  expectError(zolt({"t", "short"}, dir.path()), "'short.lib' is not an archive");
  EXPECT_FALSE(exists(dir.file("lib.lib")));
}

TEST(Cli, ArchiveNameGetsDefaultExtension) {
  TempDir dir;
  writeFile(dir.file("a.o"), "a");
  testutil::shell("mkdir dir.d", dir.path());
  for (const char* name : {"mylib", "my.lib.a", "dir.d/lib", "dir.d\\other", "plain."}) {
    RunResult r = zolt({"rq", name, "a.o"}, dir.path());
    EXPECT_EQ(r.status, 0) << name;
    EXPECT_EQ(r.out, "");
  }
  EXPECT_TRUE(exists(dir.file("mylib.lib")));
  EXPECT_TRUE(exists(dir.file("my.lib.a")));
  EXPECT_TRUE(exists(dir.file("dir.d/lib.lib")));
  EXPECT_TRUE(exists(dir.file("dir.d/other.lib")));
  EXPECT_TRUE(exists(dir.file("plain.")));
  RunResult r = zolt({"t", "dir.d/lib"}, dir.path());
  EXPECT_EQ(r.status, 0);
  // The status line names the archive as given, with the extension added.
  r = zolt({"r", "dir.d\\other", "a.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  building archive 'dir.d\\other.lib'\n");
  EXPECT_EQ(testutil::listDir(dir.file("dir.d")),
            (std::vector<std::string>{"lib.lib", "other.lib"}));
}

TEST(Cli, FilesNeverUsedAreReportedAtTheEnd) {
  TempDir dir;
  makeFile(dir.file("a.o"), "abcd", 1700000000);
  RunResult r = zolt({"r", "lib", "nosuch.o", "a.o", "missing.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  new archive 'lib.lib'\n  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.err, std::string(kErr) + "'nosuch.o' not found\n" + kErr +
                       "'missing.o' not found\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(readFile(dir.file("lib.lib")), kMagic + member("a.o/", 1700000000, "abcd"));
  // On the command line an argument beginning with "-" is a file name.
  r = zolt({"a", "lib", "-v"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.err, std::string(kErr) + "'-v' not found\n");
  EXPECT_EQ(r.status, 1);
  // Deleting and extracting report names that matched no member.
  r = zolt({"d", "lib", "zz.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.err, std::string(kErr) + "'zz.o' not found\n");
  EXPECT_EQ(r.status, 1);
  r = zolt({"x", "lib", "zz.o", "a.o"}, dir.path());
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, std::string(kErr) + "'zz.o' not found\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(readFile(dir.file("lib.lib")), kMagic + member("a.o/", 1700000000, "abcd"));
}

}  // namespace
