// The three archive layouts, byte for byte: name fields, the "//" and
// "<filenames>/" name tables, cut names, escaping, and which layout a
// rewrite keeps.
#include "e2e/e2e_util.h"

namespace {

using namespace e2e;
using testutil::readFile;
using testutil::TempDir;
using testutil::writeFile;

const std::string k15 = "fifteen_chars.o";       // 15 characters: fits the field
const std::string k16 = "sixteen_chars_.o";      // 16 characters: a long name
const std::string k20 = "twenty_character_n.o";  // 20 characters
constexpr long kDate = 1600000000;

// Three files with names of 15, 16 and 20 characters; odd, even, odd sizes.
void makeNamedFiles(TempDir& dir) {
  makeFile(dir.file(k15), "fifteen", kDate);
  makeFile(dir.file(k16), "sixteen!", kDate + 1);
  makeFile(dir.file(k20), "twenty!!!", kDate + 2);
}

std::string shortMember() { return member(k15 + "/", kDate, "fifteen"); }

RunResult listing(TempDir& dir) { return zolt({"t", "lib"}, dir.path()); }

std::string listLine(long size, const std::string& date, const std::string& name) {
  char line[256];
  std::snprintf(line, sizeof line, "  %8ld   %s    %s\n", size, date.c_str(), name.c_str());
  return line;
}

TEST(Layouts, PosixNameTable) {
  TempDir dir;
  makeNamedFiles(dir);
  RunResult r = zolt({"r", "lib", k15, k16, k20}, dir.path());
  EXPECT_EQ(r.status, 0);
  const std::string text = k16 + "/\n" + k20 + "/\n";  // 18 + 22 bytes: even, no pad
  EXPECT_EQ(readFile(dir.file("lib.lib")),
            kMagic + nameTable("//", text) + shortMember() +
                member("/0", kDate + 1, "sixteen!") + member("/18", kDate + 2, "twenty!!!"));
  r = listing(dir);
  EXPECT_EQ(r.out, kListHead + listLine(7, "Sun Sep 13 12:26:40 2020", k15) +
                       listLine(8, "Sun Sep 13 12:26:41 2020", k16) +
                       listLine(9, "Sun Sep 13 12:26:42 2020", k20));
  EXPECT_EQ(r.status, 0);
  // An odd-length table gets one newline more.
  makeFile(dir.file("seventeen_chars.o"), "", kDate + 3);
  r = zolt({"a", "lib", "seventeen_chars.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  const std::string text2 = text + "seventeen_chars.o/\n\n";
  EXPECT_EQ(readFile(dir.file("lib.lib")),
            kMagic + nameTable("//", text2) + shortMember() +
                member("/0", kDate + 1, "sixteen!") + member("/18", kDate + 2, "twenty!!!") +
                header("/40", kDate + 3, 0, 0));
}

TEST(Layouts, QvLongNameTable) {
  TempDir dir;
  makeNamedFiles(dir);
  RunResult r = zolt({"r1", "lib", k15, k16, k20}, dir.path());
  EXPECT_EQ(r.status, 0);
  // A leading newline, so that no name has offset 0; 41 bytes, padded to 42.
  const std::string text = "\n" + k16 + "/\n" + k20 + "/\n\n";
  const std::string expected = kMagic + nameTable("<filenames>/", text, 1) + shortMember() +
                               member("sixteen_chars_./", kDate + 1, "sixteen!", 1) +
                               member("twenty_characte/", kDate + 2, "twenty!!!", 19);
  EXPECT_EQ(readFile(dir.file("lib.lib")), expected);
  r = listing(dir);
  EXPECT_EQ(r.out, kListHead + listLine(7, "Sun Sep 13 12:26:40 2020", k15) +
                       listLine(8, "Sun Sep 13 12:26:41 2020", k16) +
                       listLine(9, "Sun Sep 13 12:26:42 2020", k20));
  // A rewrite without a digit keeps the layout.
  r = zolt({"r", "lib"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("lib.lib")), expected);
  // A header whose uid is 0 keeps its field name, even next to a long name
  // of the same stem.
  const std::string text2 = "\nlong_member_name_1.o/\n\n";
  const std::string mixed = kMagic + nameTable("<filenames>/", text2, 1) +
                            member("long_member_nam/", 5, "one", 1) +
                            member("long_member_nam/", 6, "two!", 0);
  writeFile(dir.file("mixed.a"), mixed);
  r = zolt({"t", "mixed.a"}, dir.path());
  EXPECT_EQ(r.out, kListHead + listLine(3, "Thu Jan  1 00:00:05 1970", "long_member_name_1.o") +
                       listLine(4, "Thu Jan  1 00:00:06 1970", "long_member_nam"));
  r = zolt({"r", "mixed.a"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("mixed.a")), mixed);
}

TEST(Layouts, OriginalCutsLongNames) {
  TempDir dir;
  makeNamedFiles(dir);
  RunResult r = zolt({"r0", "lib", k15, k16, k20}, dir.path());
  EXPECT_EQ(r.status, 0);
  const std::string expected = kMagic + shortMember() +
                               member("sixteen_chars_./", kDate + 1, "sixteen!") +
                               member("twenty_characte/", kDate + 2, "twenty!!!");
  EXPECT_EQ(readFile(dir.file("lib.lib")), expected);
  r = listing(dir);
  EXPECT_EQ(r.out, kListHead + listLine(7, "Sun Sep 13 12:26:40 2020", k15) +
                       listLine(8, "Sun Sep 13 12:26:41 2020", "sixteen_chars_.") +
                       listLine(9, "Sun Sep 13 12:26:42 2020", "twenty_characte"));
  // Without a name table the archive has no recorded layout, so a rewrite
  // without a digit is Posix; the cut names are short and need no table.
  r = zolt({"rv", "lib", k16}, dir.path());
  EXPECT_EQ(r.out, "  ==>  add '" + k16 + "'\n  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(readFile(dir.file("lib.lib")),
            kMagic + nameTable("//", k16 + "/\n") + expected.substr(8) +
                member("/0", kDate + 1, "sixteen!"));
}

TEST(Layouts, DigitsAndInheritedLayout) {
  TempDir dir;
  makeNamedFiles(dir);
  // The later digit wins.
  RunResult r = zolt({"r20", "cut", k16}, dir.path());
  EXPECT_EQ(readFile(dir.file("cut.lib")),
            kMagic + member("sixteen_chars_./", kDate + 1, "sixteen!"));
  r = zolt({"0r1", "lib", k16}, dir.path());
  const std::string qv = kMagic + nameTable("<filenames>/", "\n" + k16 + "/\n\n", 1) +
                         member("sixteen_chars_./", kDate + 1, "sixteen!", 1);
  EXPECT_EQ(readFile(dir.file("lib.lib")), qv);
  // Kept by an add without a digit.
  r = zolt({"a", "lib", k15}, dir.path());
  EXPECT_EQ(readFile(dir.file("lib.lib")), qv + shortMember());
  // Switched to Posix by a digit, then kept.
  r = zolt({"a2", "lib", k20}, dir.path());
  const std::string posix = kMagic + nameTable("//", k16 + "/\n" + k20 + "/\n") +
                            member("/0", kDate + 1, "sixteen!") + shortMember() +
                            member("/18", kDate + 2, "twenty!!!");
  EXPECT_EQ(readFile(dir.file("lib.lib")), posix);
  r = zolt({"r", "lib"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("lib.lib")), posix);
  // Short names only: Posix writes no table, QvLongName a table of two newlines.
  r = zolt({"r", "short", k15}, dir.path());
  EXPECT_EQ(readFile(dir.file("short.lib")), kMagic + shortMember());
  r = zolt({"r1", "short"}, dir.path());
  const std::string qvShort = kMagic + nameTable("<filenames>/", "\n\n", 1) + shortMember();
  EXPECT_EQ(readFile(dir.file("short.lib")), qvShort);
  r = zolt({"r", "short"}, dir.path());
  EXPECT_EQ(readFile(dir.file("short.lib")), qvShort);
}

TEST(Layouts, DeletingEveryMember) {
  TempDir dir;
  makeNamedFiles(dir);
  for (const char* digit : {"2", "0", "1"}) {
    std::string name = std::string("lib") + digit;
    RunResult r = zolt({std::string("q") + digit + "r", name, k15, k16}, dir.path());
    EXPECT_EQ(r.status, 0);
    // The Original layout has kept only the first 15 characters of the long name.
    const std::string longName = std::string(digit) == "0" ? "sixteen_chars_." : k16;
    r = zolt({"d", name, longName, k15}, dir.path());
    EXPECT_EQ(r.out, "  ==>  building archive '" + name + ".lib'\n");
    EXPECT_EQ(r.status, 0);
    std::string expected = kMagic;
    if (std::string(digit) == "1") expected += nameTable("<filenames>/", "\n\n", 1);
    EXPECT_EQ(readFile(dir.file(name + ".lib")), expected) << digit;
    r = zolt({"t", name}, dir.path());
    EXPECT_EQ(r.out, kListHead);
    EXPECT_EQ(r.status, 0);
  }
  // An archive that is the magic alone has no members, and adding to it
  // announces a new archive.
  RunResult r = zolt({"a", "lib2", k15}, dir.path());
  EXPECT_EQ(r.out, "  ==>  new archive 'lib2.lib'\n  ==>  building archive 'lib2.lib'\n");
  EXPECT_EQ(readFile(dir.file("lib2.lib")), kMagic + shortMember());
}

TEST(Layouts, EscapedNamesInTheTable) {
  TempDir dir;
  // As another tool might write them: "|" for a separator, "||" for "|",
  // and one backslash left as it is.
  const std::string text = "dir|sub|long_name_x.o/\n"  // offset 0
                           "pipe||name_is_long.o/\n"   // offset 23
                           "a||b|c_long_name.o/\n"     // offset 45
                           "x|\\y_long_name.o/\n"      // offset 65
                           "\n";                       // 83 bytes, padded to 84
  writeFile(dir.file("lib.lib"), kMagic + nameTable("//", text) + member("/0", 1, "1") +
                                     member("/23", 2, "22") + member("/45", 3, "333") +
                                     member("/65", 4, "4444"));
  RunResult r = listing(dir);
  EXPECT_EQ(r.out, kListHead + listLine(1, "Thu Jan  1 00:00:01 1970", "dir/sub/long_name_x.o") +
                       listLine(2, "Thu Jan  1 00:00:02 1970", "pipe|name_is_long.o") +
                       listLine(3, "Thu Jan  1 00:00:03 1970", "a|b/c_long_name.o") +
                       listLine(4, "Thu Jan  1 00:00:04 1970", "x/\\y_long_name.o"));
  EXPECT_EQ(r.status, 0);
  // Rewritten: names with a separator are escaped again; a "|" in a name
  // without one is stored as it is; a run of "/" and "\" gives "||".
  r = zolt({"r", "lib"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.status, 0);
  const std::string text2 = "dir|sub|long_name_x.o/\n"  // offset 0
                            "pipe|name_is_long.o/\n"    // offset 23
                            "a||b|c_long_name.o/\n"     // offset 44
                            "x||y_long_name.o/\n";      // offset 64, 82 bytes
  EXPECT_EQ(readFile(dir.file("lib.lib")),
            kMagic + nameTable("//", text2) + member("/0", 1, "1") + member("/23", 2, "22") +
                member("/44", 3, "333") + member("/64", 4, "4444"));
  r = listing(dir);
  EXPECT_EQ(r.out, kListHead + listLine(1, "Thu Jan  1 00:00:01 1970", "dir/sub/long_name_x.o") +
                       listLine(2, "Thu Jan  1 00:00:02 1970", "pipe/name_is_long.o") +
                       listLine(3, "Thu Jan  1 00:00:03 1970", "a|b/c_long_name.o") +
                       listLine(4, "Thu Jan  1 00:00:04 1970", "x|y_long_name.o"));
  // A run of one separator collapses to one "|".
  writeFile(dir.file("runs.lib"),
            kMagic + nameTable("//", "a\\\\\\b_long_name_x.o/\n\n") + member("/0", 1, "1"));
  r = zolt({"r", "runs"}, dir.path());
  EXPECT_EQ(readFile(dir.file("runs.lib")),
            kMagic + nameTable("//", "a|b_long_name_x.o/\n\n") + member("/0", 1, "1"));
  r = zolt({"t", "runs"}, dir.path());
  EXPECT_EQ(r.out, kListHead + listLine(1, "Thu Jan  1 00:00:01 1970", "a/b_long_name_x.o"));
  // In QvLongName the header keeps the first 15 characters of the name as
  // it was, so names with separators read back after a rewrite.
  r = zolt({"r1", "lib"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("lib.lib")),
            kMagic +
                nameTable("<filenames>/",
                          "\ndir|sub|long_name_x.o/\npipe|name_is_long.o/\na||b|c_long_name.o/\n\n", 1) +
                member("dir/sub/long_na/", 1, "1", 1) + member("pipe/name_is_lo/", 2, "22", 24) +
                member("a|b/c_long_name/", 3, "333", 45) + member("x|y_long_name.o/", 4, "4444"));
  r = listing(dir);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, kListHead + listLine(1, "Thu Jan  1 00:00:01 1970", "dir/sub/long_name_x.o") +
                       listLine(2, "Thu Jan  1 00:00:02 1970", "pipe/name_is_long.o") +
                       listLine(3, "Thu Jan  1 00:00:03 1970", "a|b/c_long_name.o") +
                       listLine(4, "Thu Jan  1 00:00:04 1970", "x|y_long_name.o"));
}

TEST(Layouts, SpecialNamesOnlyAtTheFront) {
  TempDir dir;
  // "/" and "//" after the first ordinary member are ordinary members; the
  // special headers may leave date and uid blank.
  const std::string archive =
      kMagic + rawHeader("/", "", "", "", "", "4") + std::string("\0\0\0\0", 4) +
      rawHeader("//", "", "", "", "", "18") + "long_name_abcd.o/\n" + member("/0", 7, "x") +
      member("//", 8, "ab") + member("/", 9, "c");
  writeFile(dir.file("lib.lib"), archive);
  RunResult r = listing(dir);
  EXPECT_EQ(r.out, kListHead + listLine(1, "Thu Jan  1 00:00:07 1970", "long_name_abcd.o") +
                       listLine(2, "Thu Jan  1 00:00:08 1970", "//") +
                       listLine(1, "Thu Jan  1 00:00:09 1970", "/"));
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  // Only "/" and nothing else: no members.
  writeFile(dir.file("sym.lib"),
            kMagic + rawHeader("/", "0", "0", "0", "0", "4") + std::string("\0\0\0\0", 4));
  r = zolt({"t", "sym"}, dir.path());
  EXPECT_EQ(r.out, kListHead);
  EXPECT_EQ(r.status, 0);
}

}  // namespace
