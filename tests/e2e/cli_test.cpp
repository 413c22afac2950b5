// The command line: usage and help texts, the version banner, the option
// word and the front end's error lines.
#include "e2e/e2e_util.h"

namespace {

using namespace e2e;

const std::string kTitle = "Zq4 Archiver                            v1.0.0.LTS\n";
const std::string kUsage = kTitle +
                           "Copyright (c) 2025-2026 The zolt developers. All rights reserved.\n"
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

struct Cli : ZoltTest {};

TEST_F(Cli, UsageHelpAndRefusedCommandLines) {
  writeFile(dir.file("a.o"), "abc");
  mkdir("dir.lib");
  writeFile(dir.file("text.a"), "just some text, long enough to hold a header or two\n");
  writeFile(dir.file("short.lib"), "!<arch>");
  const std::string one = "only one of [arxdt] allowed", noArchive = "must specify an archive";
  struct Case {
    std::vector<std::string> args;
    std::string out, error;
  };
  const Case cases[] = {
      {{}, kUsage, ""},
      // An option word without a command letter.
      {{"v", "lib"}, kUsage, ""},
      {{"-", "lib", "a.o"}, kUsage, ""},
      {{"2qs", "lib"}, kUsage, ""},
      // Help comes as soon as the letter is seen; the archive is not touched.
      {{"h"}, kHelp, ""},
      {{"-?"}, kHelp, ""},
      {{"H", "lib"}, kHelp, ""},
      {{"rh", "lib", "a.o"}, kHelp, ""},
      {{"zh", "lib"}, "", "bad option 'z'"},  // a bad letter before the h wins
      {{"r"}, "", noArchive},
      {{"-tv"}, "", noArchive},
      {{"rz", "lib"}, "", "bad option 'z'"},
      {{"r3", "lib"}, "", "bad option '3'"},
      {{"r/", "lib"}, "", "bad option '/'"},
      // The dashes are skipped and "t" is taken before the "o" is refused.
      {{"-t--toolversion", "lib"}, "", "bad option 'o'"},
      // Only the exact word: other spellings are walked letter by letter.
      {{"--TOOLVERSION", "lib"}, "", "bad option 'O'"},
      {{"ax", "lib"}, "", one},
      {{"tD", "lib"}, "", one},
      // "u" is a replace as well; the word is checked before the archive name.
      {{"ua", "lib"}, "", one},
      {{"xu", "lib"}, "", one},
      {{"ad"}, "", one},
      // Reading commands need an archive; something that exists but cannot
      // be read is never replaced by a new, empty archive.
      {{"t", "lib", "a.o"}, "", "cannot open archive: 'lib.lib'"},
      {{"x", "lib", "a.o"}, "", "cannot open archive: 'lib.lib'"},
      {{"d", "lib", "a.o"}, "", "cannot open archive: 'lib.lib'"},
      {{"t", "dir"}, "", "cannot open archive: 'dir.lib'"},
      {{"r", "dir", "a.o"}, "", "cannot open archive: 'dir.lib'"},
      {{"a", "dir", "a.o"}, "", "cannot open archive: 'dir.lib'"},
      {{"t", "text.a", "a.o"}, "", "'text.a' is not an archive"},
      {{"x", "text.a", "a.o"}, "", "'text.a' is not an archive"},
      {{"d", "text.a", "a.o"}, "", "'text.a' is not an archive"},
      {{"t", "short"}, "", "'short.lib' is not an archive"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.args));
    EXPECT_RUN(z(c.args), c.out, c.error.empty() ? "" : errLine(c.error), 1);
  }
  EXPECT_EQ(listDir(dir.path()),
            (std::vector<std::string>{"a.o", "dir.lib", "short.lib", "text.a"}));
}

TEST_F(Cli, ToolVersionPrintsTwoLines) {
  RunResult r = z({"--toolversion"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_TRUE(std::regex_match(r.out, std::regex(kTitle + "Build Number [0-9A-Za-z-]+\n")))
      << r.out;
  // Anything after it is never looked at; the same word from a command file.
  EXPECT_RUN(z({"--toolversion", "lib", "x.o"}), r.out, "", 0);
  writeFile(dir.file("cmds"), "--toolversion lib\n");
  EXPECT_RUN(z({"@cmds"}), r.out, "", 0);
  EXPECT_EQ(listDir(dir.path()), std::vector<std::string>{"cmds"});
}

TEST_F(Cli, AcceptedOptionWords) {
  make("a.o", "abc", 1700000000);
  // "u" alone is a replace with update; a repeated letter is harmless.
  EXPECT_RUN(z({"u", "lib", "a.o"}), created("lib.lib"), "", 0);
  const std::string archive = read("lib.lib");
  EXPECT_EQ(archive, kMagic + member("a.o/", 1700000000, "abc"));
  EXPECT_RUN(z({"-R-U-r", "lib", "a.o"}), building("lib.lib"), "", 0);
  // A digit with a command that does not write has no effect.
  EXPECT_RUN(z({"2x", "lib"}), "", "", 0);
  EXPECT_RUN(z({"0T", "lib"}), kListHead + listLine(3, "Tue Nov 14 22:13:20 2023", "a.o"), "", 0);
  EXPECT_EQ(read("lib.lib"), archive);
}

TEST_F(Cli, ArchiveNameGetsDefaultExtension) {
  writeFile(dir.file("a.o"), "a");
  mkdir("dir.d");
  for (const char* name : {"mylib", "my.lib.a", "dir.d/lib", "dir.d\\other", "plain."})
    EXPECT_RUN(z({"rq", name, "a.o"}), "", "", 0);
  EXPECT_TRUE(exists(dir.file("mylib.lib")));
  EXPECT_TRUE(exists(dir.file("my.lib.a")));
  EXPECT_TRUE(exists(dir.file("plain.")));
  EXPECT_EQ(z({"t", "dir.d/lib"}).status, 0);
  // The status line names the archive as given, with the extension added.
  EXPECT_RUN(z({"r", "dir.d\\other", "a.o"}), building("dir.d\\other.lib"), "", 0);
  EXPECT_EQ(listDir(dir.file("dir.d")), (std::vector<std::string>{"lib.lib", "other.lib"}));
}

TEST_F(Cli, FilesNeverUsedAreReportedAtTheEnd) {
  make("a.o", "abcd", 1700000000);
  EXPECT_RUN(z({"r", "lib", "nosuch.o", "a.o", "missing.o"}), created("lib.lib"),
             errLine("'nosuch.o' not found") + errLine("'missing.o' not found"), 1);
  // On the command line an argument beginning with "-" is a file name.
  EXPECT_RUN(z({"a", "lib", "-v"}), building("lib.lib"), errLine("'-v' not found"), 1);
  // Deleting and extracting report names that matched no member.
  EXPECT_RUN(z({"d", "lib", "zz.o"}), building("lib.lib"), errLine("'zz.o' not found"), 1);
  EXPECT_RUN(z({"x", "lib", "zz.o", "a.o"}), "", errLine("'zz.o' not found"), 1);
  EXPECT_EQ(read("lib.lib"), kMagic + member("a.o/", 1700000000, "abcd"));
}

}  // namespace
