// Command files: white space, comments, quotes, escapes, token growth and
// the two fatal messages of the token reader.
//
// Most cases list an empty archive with the tokens as file arguments: each
// token that names no member comes back in a "not found" line, which shows
// its exact text.
#include "e2e/e2e_util.h"

namespace {

using namespace e2e;

std::string notFound(const std::vector<std::string>& names) {
  std::string out;
  for (const auto& n : names) out += errLine("'" + n + "' not found");
  return out;
}

struct CommandFile : ZoltTest {
  // Lists the empty archive lib.lib with a command file holding `text`.
  RunResult listWith(const std::string& text) {
    writeFile(dir.file("lib.lib"), kMagic);
    writeFile(dir.file("cmds"), text);
    return z({"@cmds"});
  }
};

TEST_F(CommandFile, CommentsQuotesEscapesAndTokenLengths) {
  EXPECT_RUN(listWith("/* a block\n   comment */ t lib  # a line comment\n"
                      "; a semicolon comment\n"
                      "   # an indented comment line\n"
                      "ab/*x*/cd \"p q\"r \"\" s \"\"t a\\\"b c\\\\d e\\f\n"
                      "\"a;b #c /*d*/\" \"x -y\"#z \"\\\"q\\\\\\w\"\n"),
             kListHead,
             notFound({"abcd", "p qr", "s", "t", "a\"b", "c\\d", "e\\f", "a;b #c /*d*/", "x -y#z",
                       "\"q\\\\w"}),
             1);
  // "x#1" ends at the "#" and goes on after the newline; "-D#1" keeps its
  // "#" and is dropped as an option; "a.o;x" followed by "b.o" on the next
  // line is one token.
  EXPECT_RUN(listWith("t lib x#1\ny -D#1 a.o;x\nb.o\n"
                      "\"-y x\"#comment\nw k\n"
                      "m # spaced comments are harmless\nn\n"),
             "  -->  warning: option -D#1 ignored in file list\n"
             "  -->  warning: option -y xw ignored in file list\n" + std::string(kListHead),
             notFound({"xy", "a.ob.o", "k", "m", "n"}), 1);
  // Tokens grow past every buffer size; many of them.
  std::vector<std::string> names;
  std::string text = "t lib";
  for (size_t length : {78, 79, 80, 81, 159, 160, 161, 200, 1000}) {
    names.push_back(std::string(length, 'n'));
    names.back()[0] = 'a' + static_cast<char>(names.size());
  }
  for (int i = 0; i < 250; ++i) names.push_back("f" + std::to_string(i) + ".o");
  for (size_t i = 0; i < names.size(); ++i) text += (i % 7 ? " " : "\n") + names[i];
  EXPECT_RUN(listWith(text), kListHead, notFound(names), 1);
}

TEST_F(CommandFile, OptionsInTheFileListAreIgnored) {
  make("a.o", "abc", 1700000000);
  make("-v", "minus", 1700000000);
  writeFile(dir.file("cmds"), "r lib -v a.o -q\n");
  EXPECT_RUN(z({"@cmds"}),
             "  -->  warning: option -v ignored in file list\n"
             "  -->  warning: option -q ignored in file list\n" + created("lib.lib"),
             "", 0);
  EXPECT_EQ(read("lib.lib"), kMagic + member("a.o/", 1700000000, "abc"));
}

TEST_F(CommandFile, AtFormsAndExtraArguments) {
  make("a.o", "abc", 1700000000);
  make("b.o", "b", 1700000001);
  writeFile(dir.file("cmds"), "rq lib a.o\n");
  // Arguments after the command file are ignored.
  EXPECT_RUN(z({"@cmds", "b.o", "nosuch.o"}), "", "", 0);
  EXPECT_EQ(read("lib.lib"), kMagic + member("a.o/", 1700000000, "abc"));
  writeFile(dir.file("cmds2"), "aq lib b.o\n");
  EXPECT_EQ(z({"-@cmds2", "a.o"}).status, 0);
  EXPECT_EQ(read("lib.lib"),
            kMagic + member("a.o/", 1700000000, "abc") + member("b.o/", 1700000001, "b"));
  // CRLF line ends read as plain ones.
  writeFile(dir.file("crlf"), "t\r\nlib\r\nb.o\r\nnosuch.o\r\n");
  EXPECT_RUN(z({"@crlf"}), kListHead + listLine(1, "Tue Nov 14 22:13:21 2023", "b.o"),
             notFound({"nosuch.o"}), 1);
  // A command file that cannot be opened; a directory is none either.
  mkdir("subdir");
  for (const std::string name : {"nosuch", "subdir", "subdir/", "cmds/"})
    for (const char* form : {"@", "-@"})
      EXPECT_RUN(z({form + name, "lib"}), "", errLine("cannot open '" + name + "'"), 1);
}

TEST_F(CommandFile, MissingWordsGiveUsageOrErrors) {
  RunResult usage = z({});
  for (const char* text : {"", "  \n\t\n", "/* only */ ; comments\n# here\n", "r\n",
                           "--toolversion\n", "\"\"\n", "v lib a.o\n"}) {
    writeFile(dir.file("cmds"), text);
    EXPECT_RUN(z({"@cmds"}), usage.out, "", 1);
  }
  // The option word is checked once both words are there.
  writeFile(dir.file("cmds"), "zz lib\n");
  EXPECT_RUN(z({"@cmds"}), "", errLine("bad option 'z'"), 1);
  EXPECT_EQ(listDir(dir.path()), std::vector<std::string>{"cmds"});
}

TEST_F(CommandFile, UnterminatedCommentOrQuote) {
  const std::string comment = ">> Unterminated comment in command file; aborting!\n";
  const std::string quote = ">> Unterminated quote in command file; aborting\n";
  const std::string start = quote + "   Quote starts at \"";
  const std::pair<std::string, std::string> cases[] = {
      {"t lib /* never closed *\n", comment},
      {"t lib a/*", comment},
      {"t lib \"abc def", start + "abc def\n"},
      {"t lib x\"abc\n\n\n", start + "abc\n"},
      {"t lib \"a\tb\nc;d", start + "a\\tb\\nc;d\n"},
      {"t lib \"0123456789012345678901234567\n\nmore text", start + "0123456789012345678901234567\n"},
      {"t lib \"012345678901234567890123456789 and more", start + "012345678901234567890123456789\n"},
      {"t lib \"\n", quote},
      {"t lib \"\\\"q", start + "q\n"},
  };
  for (const auto& [text, err] : cases) {
    SCOPED_TRACE(text);
    EXPECT_RUN(listWith(text), "", err, 255);
  }
}

}  // namespace
