// Command files: white space, comments, quotes, escapes, token growth and
// the two fatal messages of the token reader.
//
// Most cases list an empty archive with the tokens as file arguments: each
// token that names no member comes back in a "not found" line, which shows
// its exact text.
#include "e2e/e2e_util.h"

namespace {

using namespace e2e;
using testutil::readFile;
using testutil::TempDir;
using testutil::writeFile;

std::string notFound(const std::vector<std::string>& names) {
  std::string out;
  for (const auto& n : names) out += std::string(kErr) + "'" + n + "' not found\n";
  return out;
}

// Lists the empty archive lib.lib with a command file holding `text`.
RunResult listWith(TempDir& dir, const std::string& text) {
  writeFile(dir.file("lib.lib"), kMagic);
  writeFile(dir.file("cmds"), text);
  return zolt({"@cmds"}, dir.path());
}

TEST(CommandFile, CommentsQuotesAndEscapes) {
  TempDir dir;
  RunResult r = listWith(dir,
                         "/* a block\n   comment */ t lib  # a line comment\n"
                         "; a semicolon comment\n"
                         "   # an indented comment line\n"
                         "ab/*x*/cd \"p q\"r \"\" s \"\"t a\\\"b c\\\\d e\\f\n"
                         "\"a;b #c /*d*/\" \"x -y\"#z \"\\\"q\\\\\\w\"\n");
  EXPECT_EQ(r.out, kListHead);
  EXPECT_EQ(r.err, notFound({"abcd", "p qr", "s", "t", "a\"b", "c\\d", "e\\f", "a;b #c /*d*/",
                             "x -y#z", "\"q\\\\w"}));
  EXPECT_EQ(r.status, 1);
}

TEST(CommandFile, LineCommentsContinueTheToken) {
  TempDir dir;
  // "x#1" ends at the "#" and goes on after the newline; "-D#1" keeps its
  // "#" and is dropped as an option; "a.o;x" followed by "b.o" on the next
  // line is one token.
  RunResult r = listWith(dir,
                         "t lib x#1\ny -D#1 a.o;x\nb.o\n"
                         "\"-y x\"#comment\nw k\n"
                         "m # spaced comments are harmless\nn\n");
  EXPECT_EQ(r.out, "  -->  warning: option -D#1 ignored in file list\n"
                   "  -->  warning: option -y xw ignored in file list\n" +
                       std::string(kListHead));
  EXPECT_EQ(r.err, notFound({"xy", "a.ob.o", "k", "m", "n"}));
  EXPECT_EQ(r.status, 1);
}

TEST(CommandFile, OptionsInTheFileListAreIgnored) {
  TempDir dir;
  makeFile(dir.file("a.o"), "abc", 1700000000);
  makeFile(dir.file("-v"), "minus", 1700000000);
  writeFile(dir.file("cmds"), "r lib -v a.o -q\n");
  RunResult r = zolt({"@cmds"}, dir.path());
  EXPECT_EQ(r.out,
            "  -->  warning: option -v ignored in file list\n"
            "  -->  warning: option -q ignored in file list\n"
            "  ==>  new archive 'lib.lib'\n"
            "  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("lib.lib")), kMagic + member("a.o/", 1700000000, "abc"));
}

TEST(CommandFile, LongTokensGrow) {
  TempDir dir;
  std::vector<std::string> names;
  std::string text = "t lib";
  for (size_t length : {78, 79, 80, 81, 159, 160, 161, 200, 1000}) {
    std::string name(length, 'n');
    name[0] = 'a' + static_cast<char>(names.size());
    names.push_back(name);
    text += " " + name;
  }
  RunResult r = listWith(dir, text);
  EXPECT_EQ(r.err, notFound(names));
  EXPECT_EQ(r.status, 1);
}

TEST(CommandFile, ManyFileArguments) {
  TempDir dir;
  std::vector<std::string> names;
  std::string text = "t lib\n";
  for (int i = 0; i < 250; ++i) {
    names.push_back("f" + std::to_string(i) + ".o");
    text += names.back() + (i % 7 ? " " : "\n");
  }
  RunResult r = listWith(dir, text);
  EXPECT_EQ(r.out, kListHead);
  EXPECT_EQ(r.err, notFound(names));
  EXPECT_EQ(r.status, 1);
}

TEST(CommandFile, AtFormsAndExtraArguments) {
  TempDir dir;
  makeFile(dir.file("a.o"), "abc", 1700000000);
  makeFile(dir.file("b.o"), "b", 1700000001);
  writeFile(dir.file("cmds"), "rq lib a.o\n");
  // Arguments after the command file are ignored.
  RunResult r = zolt({"@cmds", "b.o", "nosuch.o"}, dir.path());
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("lib.lib")), kMagic + member("a.o/", 1700000000, "abc"));
  writeFile(dir.file("cmds2"), "aq lib b.o\n");
  r = zolt({"-@cmds2", "a.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("lib.lib")), kMagic + member("a.o/", 1700000000, "abc") +
                                               member("b.o/", 1700000001, "b"));
  // CRLF line ends read as plain ones.
  writeFile(dir.file("crlf"), "t\r\nlib\r\nb.o\r\nnosuch.o\r\n");
  r = zolt({"@crlf"}, dir.path());
  EXPECT_EQ(r.out, std::string(kListHead) + "         1   Tue Nov 14 22:13:21 2023    b.o\n");
  EXPECT_EQ(r.err, notFound({"nosuch.o"}));
  EXPECT_EQ(r.status, 1);
  // A command file that cannot be opened; a directory is none either.
  testutil::shell("mkdir subdir", dir.path());
  for (const std::string name : {"nosuch", "subdir", "subdir/", "cmds/"}) {
    for (const char* form : {"@", "-@"}) {
      r = zolt({form + name, "lib"}, dir.path());
      EXPECT_EQ(r.out, "") << name;
      EXPECT_EQ(r.err, std::string(kErr) + "cannot open '" + name + "'\n");
      EXPECT_EQ(r.status, 1);
    }
  }
}

TEST(CommandFile, MissingWordsGiveUsageOrErrors) {
  TempDir dir;
  const std::string usageStart = "Zq4 Archiver";
  for (const char* text : {"", "  \n\t\n", "/* only */ ; comments\n# here\n", "r\n",
                           "--toolversion\n", "\"\"\n"}) {
    writeFile(dir.file("cmds"), text);
    RunResult r = zolt({"@cmds"}, dir.path());
    EXPECT_EQ(r.out.rfind(usageStart, 0), 0u) << text;
    EXPECT_NE(r.out.find("zolt @command_file\n"), std::string::npos) << text;
    EXPECT_EQ(r.out.find("Commands"), std::string::npos) << text;
    EXPECT_EQ(r.err, "") << text;
    EXPECT_EQ(r.status, 1) << text;
  }
  // The option word is checked once both words are there.
  writeFile(dir.file("cmds"), "zz lib\n");
  RunResult r = zolt({"@cmds"}, dir.path());
  EXPECT_EQ(r.err, std::string(kErr) + "bad option 'z'\n");
  EXPECT_EQ(r.status, 1);
  writeFile(dir.file("cmds"), "v lib a.o\n");
  r = zolt({"@cmds"}, dir.path());
  EXPECT_NE(r.out.find(" Syntax : zolt"), std::string::npos);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(testutil::listDir(dir.path()), std::vector<std::string>{"cmds"});
}

TEST(CommandFile, UnterminatedCommentOrQuote) {
  TempDir dir;
  const std::string quoteLine = ">> Unterminated quote in command file; aborting\n";
  struct Case {
    std::string text;
    std::string err;
  };
  const std::vector<Case> cases = {
      {"t lib /* never closed *\n", ">> Unterminated comment in command file; aborting!\n"},
      {"t lib a/*", ">> Unterminated comment in command file; aborting!\n"},
      {"t lib \"abc def", quoteLine + "   Quote starts at \"abc def\n"},
      {"t lib x\"abc\n\n\n", quoteLine + "   Quote starts at \"abc\n"},
      {"t lib \"a\tb\nc;d", quoteLine + "   Quote starts at \"a\\tb\\nc;d\n"},
      {"t lib \"0123456789012345678901234567\n\nmore text",
       quoteLine + "   Quote starts at \"0123456789012345678901234567\n"},
      {"t lib \"012345678901234567890123456789 and more",
       quoteLine + "   Quote starts at \"012345678901234567890123456789\n"},
      {"t lib \"\n", quoteLine},
      {"t lib \"\\\"q", quoteLine + "   Quote starts at \"q\n"},
  };
  for (const auto& c : cases) {
    RunResult r = listWith(dir, c.text);
    EXPECT_EQ(r.out, "") << c.text;
    EXPECT_EQ(r.err, c.err) << c.text;
    EXPECT_EQ(r.status, 255) << c.text;
  }
}

}  // namespace
