// The three archive layouts, byte for byte: name fields, the "//" and
// "<filenames>/" name tables, cut names, escaping, and which layout a
// rewrite keeps.
#include "e2e/e2e_util.h"

namespace {

using namespace e2e;

const std::string k15 = "fifteen_chars.o";       // 15 characters: fits the field
const std::string k16 = "sixteen_chars_.o";      // 16 characters: a long name
const std::string k20 = "twenty_character_n.o";  // 20 characters
constexpr long kDate = 1600000000;

std::string shortMember() { return member(k15 + "/", kDate, "fifteen"); }

// The listing of the three files made by the fixture, under the names given.
std::string listed(const std::string& n16, const std::string& n20) {
  return kListHead + listLine(7, "Sun Sep 13 12:26:40 2020", k15) +
         listLine(8, "Sun Sep 13 12:26:41 2020", n16) + listLine(9, "Sun Sep 13 12:26:42 2020", n20);
}

// Lines of a listing of members dated in the first seconds of 1970.
std::string early(const std::vector<std::pair<long, std::string>>& members) {
  std::string out = kListHead;
  for (size_t i = 0; i < members.size(); ++i)
    out += listLine(members[i].first, "Thu Jan  1 00:00:0" + std::to_string(i + 1) + " 1970",
                    members[i].second);
  return out;
}

// Three files with names of 15, 16 and 20 characters; odd, even, odd sizes.
struct Layouts : ZoltTest {
  Layouts() {
    make(k15, "fifteen", kDate);
    make(k16, "sixteen!", kDate + 1);
    make(k20, "twenty!!!", kDate + 2);
  }
};

TEST_F(Layouts, PosixNameTable) {
  EXPECT_EQ(z({"r", "lib", k15, k16, k20}).status, 0);
  const std::string text = k16 + "/\n" + k20 + "/\n";  // 18 + 22 bytes: even, no pad
  const std::string members = shortMember() + member("/0", kDate + 1, "sixteen!") +
                              member("/18", kDate + 2, "twenty!!!");
  EXPECT_EQ(read("lib.lib"), kMagic + nameTable("//", text) + members);
  EXPECT_RUN(z({"t", "lib"}), listed(k16, k20), "", 0);
  // An odd-length table gets one newline more.
  make("seventeen_chars.o", "", kDate + 3);
  EXPECT_EQ(z({"a", "lib", "seventeen_chars.o"}).status, 0);
  EXPECT_EQ(read("lib.lib"), kMagic + nameTable("//", text + "seventeen_chars.o/\n\n") + members +
                                 header("/40", kDate + 3, 0, 0));
}

TEST_F(Layouts, QvLongNameTable) {
  EXPECT_EQ(z({"r1", "lib", k15, k16, k20}).status, 0);
  // A leading newline, so that no name has offset 0; 41 bytes, padded to 42.
  const std::string text = "\n" + k16 + "/\n" + k20 + "/\n\n";
  const std::string expected = kMagic + nameTable("<filenames>/", text, 1) + shortMember() +
                               member("sixteen_chars_./", kDate + 1, "sixteen!", 1) +
                               member("twenty_characte/", kDate + 2, "twenty!!!", 19);
  EXPECT_EQ(read("lib.lib"), expected);
  EXPECT_RUN(z({"t", "lib"}), listed(k16, k20), "", 0);
  // A rewrite without a digit keeps the layout.
  EXPECT_EQ(z({"r", "lib"}).status, 0);
  EXPECT_EQ(read("lib.lib"), expected);
  // A header whose uid is 0 keeps its field name, even next to a long name
  // of the same stem.
  const std::string mixed = kMagic + nameTable("<filenames>/", "\nlong_member_name_1.o/\n\n", 1) +
                            member("long_member_nam/", 1, "one", 1) +
                            member("long_member_nam/", 2, "two!", 0);
  writeFile(dir.file("mixed.a"), mixed);
  EXPECT_RUN(z({"t", "mixed.a"}), early({{3, "long_member_name_1.o"}, {4, "long_member_nam"}}), "", 0);
  EXPECT_EQ(z({"r", "mixed.a"}).status, 0);
  EXPECT_EQ(read("mixed.a"), mixed);
}

TEST_F(Layouts, OriginalCutsLongNames) {
  EXPECT_EQ(z({"r0", "lib", k15, k16, k20}).status, 0);
  const std::string members = shortMember() + member("sixteen_chars_./", kDate + 1, "sixteen!") +
                              member("twenty_characte/", kDate + 2, "twenty!!!");
  EXPECT_EQ(read("lib.lib"), kMagic + members);
  EXPECT_RUN(z({"t", "lib"}), listed("sixteen_chars_.", "twenty_characte"), "", 0);
  // Without a name table the archive has no recorded layout, so a rewrite
  // without a digit is Posix; the cut names are short and need no table.
  EXPECT_RUN(z({"rv", "lib", k16}), "  ==>  add '" + k16 + "'\n" + building("lib.lib"), "", 0);
  EXPECT_EQ(read("lib.lib"),
            kMagic + nameTable("//", k16 + "/\n") + members + member("/0", kDate + 1, "sixteen!"));
}

TEST_F(Layouts, DigitsAndInheritedLayout) {
  // The later digit wins.
  z({"r20", "cut", k16});
  EXPECT_EQ(read("cut.lib"), kMagic + member("sixteen_chars_./", kDate + 1, "sixteen!"));
  z({"0r1", "lib", k16});
  const std::string qv = kMagic + nameTable("<filenames>/", "\n" + k16 + "/\n\n", 1) +
                         member("sixteen_chars_./", kDate + 1, "sixteen!", 1);
  EXPECT_EQ(read("lib.lib"), qv);
  // Kept by an add without a digit.
  z({"a", "lib", k15});
  EXPECT_EQ(read("lib.lib"), qv + shortMember());
  // Switched to Posix by a digit, then kept.
  z({"a2", "lib", k20});
  const std::string posix = kMagic + nameTable("//", k16 + "/\n" + k20 + "/\n") +
                            member("/0", kDate + 1, "sixteen!") + shortMember() +
                            member("/18", kDate + 2, "twenty!!!");
  EXPECT_EQ(read("lib.lib"), posix);
  EXPECT_EQ(z({"r", "lib"}).status, 0);
  EXPECT_EQ(read("lib.lib"), posix);
  // Short names only: Posix writes no table, QvLongName a table of two newlines.
  z({"r", "short", k15});
  EXPECT_EQ(read("short.lib"), kMagic + shortMember());
  z({"r1", "short"});
  const std::string qvShort = kMagic + nameTable("<filenames>/", "\n\n", 1) + shortMember();
  EXPECT_EQ(read("short.lib"), qvShort);
  z({"r", "short"});
  EXPECT_EQ(read("short.lib"), qvShort);
}

TEST_F(Layouts, DeletingEveryMember) {
  for (const std::string digit : {"2", "0", "1"}) {
    const std::string name = "lib" + digit;
    EXPECT_EQ(z({"q" + digit + "r", name, k15, k16}).status, 0);
    // The Original layout has kept only the first 15 characters of the long name.
    EXPECT_RUN(z({"d", name, digit == "0" ? "sixteen_chars_." : k16, k15}),
               building(name + ".lib"), "", 0);
    EXPECT_EQ(read(name + ".lib"), kMagic + (digit == "1" ? nameTable("<filenames>/", "\n\n", 1) : ""))
        << digit;
    EXPECT_RUN(z({"t", name}), kListHead, "", 0);
  }
  // An archive that is the magic alone has no members, and adding to it
  // announces a new archive.
  EXPECT_RUN(z({"a", "lib2", k15}), created("lib2.lib"), "", 0);
  EXPECT_EQ(read("lib2.lib"), kMagic + shortMember());
}

TEST_F(Layouts, EscapedNamesInTheTable) {
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
  EXPECT_RUN(z({"t", "lib"}),
             early({{1, "dir/sub/long_name_x.o"}, {2, "pipe|name_is_long.o"},
                    {3, "a|b/c_long_name.o"}, {4, "x/\\y_long_name.o"}}),
             "", 0);
  // Rewritten: names with a separator are escaped again; a "|" in a name
  // without one is stored as it is; a run of "/" and "\" gives "||".
  EXPECT_RUN(z({"r", "lib"}), building("lib.lib"), "", 0);
  const std::string text2 = "dir|sub|long_name_x.o/\n"  // offset 0
                            "pipe|name_is_long.o/\n"    // offset 23
                            "a||b|c_long_name.o/\n"     // offset 44
                            "x||y_long_name.o/\n";      // offset 64, 82 bytes
  EXPECT_EQ(read("lib.lib"), kMagic + nameTable("//", text2) + member("/0", 1, "1") +
                                 member("/23", 2, "22") + member("/44", 3, "333") +
                                 member("/64", 4, "4444"));
  const std::string rewritten = early({{1, "dir/sub/long_name_x.o"}, {2, "pipe/name_is_long.o"},
                                       {3, "a|b/c_long_name.o"}, {4, "x|y_long_name.o"}});
  EXPECT_RUN(z({"t", "lib"}), rewritten, "", 0);
  // A run of one separator collapses to one "|".
  writeFile(dir.file("runs.lib"),
            kMagic + nameTable("//", "a\\\\\\b_long_name_x.o/\n\n") + member("/0", 1, "1"));
  z({"r", "runs"});
  EXPECT_EQ(read("runs.lib"),
            kMagic + nameTable("//", "a|b_long_name_x.o/\n\n") + member("/0", 1, "1"));
  EXPECT_RUN(z({"t", "runs"}), early({{1, "a/b_long_name_x.o"}}), "", 0);
  // In QvLongName the header keeps the first 15 characters of the name as
  // it was, so names with separators read back after a rewrite.
  EXPECT_EQ(z({"r1", "lib"}).status, 0);
  EXPECT_EQ(read("lib.lib"),
            kMagic +
                nameTable("<filenames>/",
                          "\ndir|sub|long_name_x.o/\npipe|name_is_long.o/\na||b|c_long_name.o/\n\n", 1) +
                member("dir/sub/long_na/", 1, "1", 1) + member("pipe/name_is_lo/", 2, "22", 24) +
                member("a|b/c_long_name/", 3, "333", 45) + member("x|y_long_name.o/", 4, "4444"));
  EXPECT_RUN(z({"t", "lib"}), rewritten, "", 0);
}

TEST_F(Layouts, SpecialNamesOnlyAtTheFront) {
  // "/" and "//" after the first ordinary member are ordinary members; the
  // special headers may leave date and uid blank.
  writeFile(dir.file("lib.lib"), kMagic + rawHeader("/", "", "", "", "", "4") +
                                     std::string("\0\0\0\0", 4) +
                                     rawHeader("//", "", "", "", "", "18") + "long_name_abcd.o/\n" +
                                     member("/0", 1, "x") + member("//", 2, "ab") + member("/", 3, "c"));
  EXPECT_RUN(z({"t", "lib"}), early({{1, "long_name_abcd.o"}, {2, "//"}, {1, "/"}}), "", 0);
  // Only "/" and nothing else: no members.
  writeFile(dir.file("sym.lib"),
            kMagic + rawHeader("/", "0", "0", "0", "0", "4") + std::string("\0\0\0\0", 4));
  EXPECT_RUN(z({"t", "sym"}), kListHead, "", 0);
}

}  // namespace
