// Add, replace, update, delete, extract and list: pairing of arguments with
// members, status lines, member data and padding, and how file arguments
// are spelled.
#include <sys/stat.h>

#include "e2e/e2e_util.h"

namespace {

using namespace e2e;
using testutil::exists;
using testutil::listDir;
using testutil::readFile;
using testutil::TempDir;
using testutil::writeFile;

constexpr long kDate = 1700000000;  // Tue Nov 14 22:13:20 2023 UTC

std::string listLine(long size, const std::string& date, const std::string& name) {
  char line[256];
  std::snprintf(line, sizeof line, "  %8ld   %s    %s\n", size, date.c_str(), name.c_str());
  return line;
}

long mtimeOf(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? static_cast<long>(st.st_mtime) : -1;
}

TEST(Operations, StatusLinesQuietAndVerbose) {
  TempDir dir;
  makeFile(dir.file("a.o"), "aaa", kDate);
  makeFile(dir.file("b.o"), "bb", kDate);
  RunResult r = zolt({"rv", "lib", "a.o"}, dir.path());
  EXPECT_EQ(r.out,
            "  ==>  new archive 'lib.lib'\n"
            "  ==>  add 'a.o'\n"
            "  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  r = zolt({"rv", "lib", "b.o", "a.o"}, dir.path());
  EXPECT_EQ(r.out,
            "  ==>  replace 'a.o'\n"
            "  ==>  add 'b.o'\n"
            "  ==>  building archive 'lib.lib'\n");
  r = zolt({"rq", "lib", "a.o"}, dir.path());
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.status, 0);
  // Verbose does not depend on quiet.
  r = zolt({"rqv", "lib", "a.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  replace 'a.o'\n");
  r = zolt({"aqv", "new", "a.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  add 'a.o'\n");
  r = zolt({"xv", "lib", "out/B.O"}, dir.path());
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, std::string(kErr) + "cannot create 'out/B.O'\n");
  EXPECT_EQ(r.status, 1);
  testutil::shell("mkdir out", dir.path());
  r = zolt({"xv", "lib", "out/B.O", "a.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  extract 'a.o'\n  ==>  extract 'out/B.O'\n");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("out/B.O")), "bb");
  r = zolt({"dv", "lib", "A.O"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  delete 'a.o'\n  ==>  building archive 'lib.lib'\n");
  r = zolt({"dqv", "lib", "b.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  delete 'b.o'\n");
  EXPECT_EQ(readFile(dir.file("lib.lib")), kMagic);
  r = zolt({"tqv", "new"}, dir.path());
  EXPECT_EQ(r.out, kListHead + listLine(3, "Tue Nov 14 22:13:20 2023", "a.o"));
}

TEST(Operations, MemberDataAndPadding) {
  TempDir dir;
  std::string block(4096, '\0');
  for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 7 + 1);
  const std::string big = block + "Z";
  makeFile(dir.file("odd.o"), "odd", kDate);
  makeFile(dir.file("even.o"), "even", kDate + 1);
  makeFile(dir.file("empty.o"), "", kDate + 2);
  makeFile(dir.file("block.o"), block, kDate + 3);
  makeFile(dir.file("big.o"), big, kDate + 4);
  makeFile(dir.file("nul.o"), std::string("\0\n\0", 3), kDate + 5);
  RunResult r = zolt({"aq", "lib", "odd.o", "even.o", "empty.o", "block.o", "big.o", "nul.o"},
           dir.path());
  EXPECT_EQ(r.status, 0);
  const std::string expected = kMagic + member("odd.o/", kDate, "odd") +
                               member("even.o/", kDate + 1, "even") +
                               header("empty.o/", kDate + 2, 0, 0) +
                               member("block.o/", kDate + 3, block) +
                               member("big.o/", kDate + 4, big) +
                               member("nul.o/", kDate + 5, std::string("\0\n\0", 3));
  EXPECT_EQ(readFile(dir.file("lib.lib")), expected);
  // Kept members are copied unchanged by a rewrite.
  makeFile(dir.file("even.o"), "EVEN", kDate + 9);
  r = zolt({"rq", "lib", "even.o"}, dir.path());
  std::string rewritten = expected;
  rewritten.replace(8 + 64, 64, member("even.o/", kDate + 9, "EVEN"));
  EXPECT_EQ(readFile(dir.file("lib.lib")), rewritten);
  // Extraction copies the data without the pad byte.
  testutil::shell("mkdir out", dir.path());
  r = zolt({"x", "lib", "out/odd.o", "out/empty.o", "out/block.o", "out/big.o", "out/nul.o"},
           dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("out/odd.o")), "odd");
  EXPECT_EQ(readFile(dir.file("out/empty.o")), "");
  EXPECT_TRUE(exists(dir.file("out/empty.o")));
  EXPECT_EQ(readFile(dir.file("out/block.o")), block);
  EXPECT_EQ(readFile(dir.file("out/big.o")), big);
  EXPECT_EQ(readFile(dir.file("out/nul.o")), std::string("\0\n\0", 3));
  r = zolt({"t", "lib"}, dir.path());
  EXPECT_EQ(r.out, kListHead + listLine(3, "Tue Nov 14 22:13:20 2023", "odd.o") +
                       listLine(4, "Tue Nov 14 22:13:29 2023", "even.o") +
                       listLine(0, "Tue Nov 14 22:13:22 2023", "empty.o") +
                       listLine(4096, "Tue Nov 14 22:13:23 2023", "block.o") +
                       listLine(4097, "Tue Nov 14 22:13:24 2023", "big.o") +
                       listLine(3, "Tue Nov 14 22:13:25 2023", "nul.o"));
}

TEST(Operations, PairingIgnoresCaseAndDirectories) {
  TempDir dir;
  makeFile(dir.file("a.o"), "first", kDate);
  makeFile(dir.file("b.o"), "bee", kDate);
  ASSERT_EQ(zolt({"aq", "lib", "a.o", "b.o"}, dir.path()).status, 0);
  testutil::shell("mkdir dir", dir.path());
  RunResult r = zolt({"x", "lib", "dir/A.O"}, dir.path());
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(listDir(dir.file("dir")), std::vector<std::string>{"A.O"});
  EXPECT_EQ(readFile(dir.file("dir/A.O")), "first");
  // Listing pairs the same way; a name must match whole.
  r = zolt({"t", "lib", "x/B.o", "a", "a.o.o"}, dir.path());
  EXPECT_EQ(r.out, kListHead + listLine(3, "Tue Nov 14 22:13:20 2023", "b.o"));
  EXPECT_EQ(r.err, std::string(kErr) + "'a' not found\n" + kErr + "'a.o.o' not found\n");
  EXPECT_EQ(r.status, 1);
  // A base name may follow a backslash or a colon as well.
  r = zolt({"t", "lib", "q\\A.o", "c:B.O"}, dir.path());
  EXPECT_EQ(r.out, kListHead + listLine(5, "Tue Nov 14 22:13:20 2023", "a.o") +
                       listLine(3, "Tue Nov 14 22:13:20 2023", "b.o"));
  EXPECT_EQ(r.status, 0);
  r = zolt({"t", "lib", "nosuch.o"}, dir.path());
  EXPECT_EQ(r.out, kListHead);
  EXPECT_EQ(r.err, std::string(kErr) + "'nosuch.o' not found\n");
  EXPECT_EQ(r.status, 1);
  r = zolt({"dq", "lib", "some/where/B.O"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("lib.lib")), kMagic + member("a.o/", kDate, "first"));
}

TEST(Operations, DuplicateMembers) {
  TempDir dir;
  makeFile(dir.file("a.o"), "one", kDate);
  ASSERT_EQ(zolt({"aq", "lib", "a.o"}, dir.path()).status, 0);
  makeFile(dir.file("a.o"), "two!", kDate + 1);
  ASSERT_EQ(zolt({"aq", "lib", "a.o"}, dir.path()).status, 0);
  EXPECT_EQ(readFile(dir.file("lib.lib")),
            kMagic + member("a.o/", kDate, "one") + member("a.o/", kDate + 1, "two!"));
  // Extracting everything: the later member overwrites the earlier.
  testutil::shell("mkdir out", dir.path());
  testutil::shell("cp lib.lib out/", dir.path());
  RunResult r = zolt({"xv", "lib"}, dir.file("out"));
  EXPECT_EQ(r.out, "  ==>  extract 'a.o'\n  ==>  extract 'a.o'\n");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("out/a.o")), "two!");
  // One argument pairs with one member: the first.
  makeFile(dir.file("a.o"), "three", kDate + 2);
  r = zolt({"rv", "lib", "a.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  replace 'a.o'\n  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(readFile(dir.file("lib.lib")),
            kMagic + member("a.o/", kDate + 2, "three") + member("a.o/", kDate + 1, "two!"));
  // Two arguments of that name pair with both, in order; the third is added.
  r = zolt({"rqv", "lib", "a.o", "./a.o", "A.O"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  replace 'a.o'\n  ==>  replace 'a.o'\n  ==>  add 'a.o'\n");
  EXPECT_EQ(readFile(dir.file("lib.lib")),
            kMagic + member("a.o/", kDate + 2, "three") + member("a.o/", kDate + 2, "three") +
                member("a.o/", kDate + 2, "three"));
  // Extracting by name: the second argument takes the second member.
  makeFile(dir.file("b.o"), "b", kDate + 3);
  ASSERT_EQ(zolt({"rq", "dup", "a.o", "b.o"}, dir.path()).status, 0);
  makeFile(dir.file("a.o"), "newer", kDate + 4);
  ASSERT_EQ(zolt({"aq", "dup", "a.o"}, dir.path()).status, 0);
  testutil::shell("mkdir out/second out/1.a.o", dir.path());
  r = zolt({"x", "dup", "out/1.a.o/../a.o", "out/second/a.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("out/a.o")), "three");
  EXPECT_EQ(readFile(dir.file("out/second/a.o")), "newer");
  // Deleting by one name removes the first of them only.
  r = zolt({"dq", "dup", "a.o"}, dir.path());
  EXPECT_EQ(readFile(dir.file("dup.lib")),
            kMagic + member("b.o/", kDate + 3, "b") + member("a.o/", kDate + 4, "newer"));
}

TEST(Operations, ReplaceAndUpdate) {
  TempDir dir;
  makeFile(dir.file("a.o"), "a1", kDate);
  makeFile(dir.file("b.o"), "b1", kDate);
  makeFile(dir.file("c.o"), "c1", kDate);
  ASSERT_EQ(zolt({"rq", "lib", "a.o", "b.o", "c.o"}, dir.path()).status, 0);
  const std::string original = kMagic + member("a.o/", kDate, "a1") +
                               member("b.o/", kDate, "b1") + member("c.o/", kDate, "c1");
  ASSERT_EQ(readFile(dir.file("lib.lib")), original);
  // With no file arguments every member is refreshed from the current
  // directory where a file of its name exists.
  makeFile(dir.file("a.o"), "a22", kDate + 5);
  testutil::shell("rm b.o", dir.path());
  RunResult r = zolt({"rv", "lib"}, dir.path());
  EXPECT_EQ(r.out,
            "  ==>  replace 'a.o'\n  ==>  replace 'c.o'\n  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  const std::string refreshed = kMagic + member("a.o/", kDate + 5, "a22") +
                                member("b.o/", kDate, "b1") + member("c.o/", kDate, "c1");
  EXPECT_EQ(readFile(dir.file("lib.lib")), refreshed);
  // A member whose file is missing is left alone, and not reported.
  r = zolt({"rv", "lib", "b.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("lib.lib")), refreshed);
  // Update: equal or older times replace nothing; a newer one does.
  makeFile(dir.file("c.o"), "c333", kDate);
  makeFile(dir.file("a.o"), "a4444", kDate + 4);
  r = zolt({"uv", "lib", "a.o", "c.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("lib.lib")), refreshed);
  r = zolt({"ruv", "lib"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(readFile(dir.file("lib.lib")), refreshed);
  makeFile(dir.file("c.o"), "c333", kDate + 1);
  makeFile(dir.file("d.o"), "d", kDate + 7);
  r = zolt({"ruv", "lib", "c.o", "d.o", "a.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  replace 'c.o'\n  ==>  add 'd.o'\n  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("lib.lib")),
            kMagic + member("a.o/", kDate + 5, "a22") + member("b.o/", kDate, "b1") +
                member("c.o/", kDate + 1, "c333") + member("d.o/", kDate + 7, "d"));
}

TEST(Operations, DeleteWithoutFilesDoesNothing) {
  TempDir dir;
  makeFile(dir.file("a.o"), "a", kDate);
  ASSERT_EQ(zolt({"rq", "lib", "a.o"}, dir.path()).status, 0);
  const std::string before = readFile(dir.file("lib.lib"));
  testutil::setMtime(dir.file("lib.lib"), 1000000000);
  RunResult r = zolt({"dv", "lib"}, dir.path());
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("lib.lib")), before);
  EXPECT_EQ(mtimeOf(dir.file("lib.lib")), 1000000000);
  EXPECT_EQ(listDir(dir.path()), (std::vector<std::string>{"a.o", "lib.lib"}));
}

TEST(Operations, ExtractEverything) {
  TempDir dir;
  makeFile(dir.file("a.o"), "alpha", kDate);
  makeFile(dir.file("b.o"), "beta", kDate);
  ASSERT_EQ(zolt({"rq", "lib", "a.o", "b.o"}, dir.path()).status, 0);
  testutil::shell("mkdir out && mv lib.lib out/", dir.path());
  RunResult r = zolt({"x", "lib"}, dir.file("out"));
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(listDir(dir.file("out")), (std::vector<std::string>{"a.o", "b.o", "lib.lib"}));
  EXPECT_EQ(readFile(dir.file("out/a.o")), "alpha");
  EXPECT_EQ(readFile(dir.file("out/b.o")), "beta");
  // The extracted file's time is not set from the member's date.
  EXPECT_NE(mtimeOf(dir.file("out/a.o")), kDate);
}

TEST(Operations, UnsafeMemberNamesAreNotExtracted) {
  TempDir dir;
  // Zolt runs two levels down, and the absolute names point into the
  // scratch directory too, so that nothing lands elsewhere even if a name
  // got through.
  testutil::shell("mkdir -p work/here/sub", dir.path());
  const std::string here = dir.file("work/here");
  std::string slashed = dir.file("abs_long.o");  // "/" written as "|"
  for (char& c : slashed)
    if (c == '/') c = '|';
  std::string backslashed = dir.file("root_long.o");
  for (char& c : backslashed)
    if (c == '/') c = '\\';
  const std::string table = "..|..|escape_long_name.o/\n" + slashed + "/\n" + backslashed + "/\n";
  const std::string second = std::to_string(26);
  const std::string third = std::to_string(26 + slashed.size() + 2);
  writeFile(here + "/lib.lib",
            kMagic + nameTable("//", table.size() % 2 ? table + "\n" : table) +
                member("/" + second, 1, "abs") + member("ok.o/", 2, "ok") +
                member("../up.o/", 3, "up") + member("/0", 4, "esc") + member("", 5, "empty") +
                member("sub/in.o/", 6, "in") + member("a\\..\\b.o/", 7, "bs") +
                member("..x.o/", 8, "dots") + member("/" + third, 9, "root"));
  RunResult r = zolt({"xv", "lib"}, here);
  EXPECT_EQ(r.out, "  ==>  extract 'ok.o'\n  ==>  extract 'sub/in.o'\n  ==>  extract '..x.o'\n");
  EXPECT_EQ(r.err, std::string(kErr) + "unsafe member name '" + dir.file("abs_long.o") +
                       "' not extracted\n" + kErr + "unsafe member name '../up.o' not extracted\n" +
                       kErr + "unsafe member name '../../escape_long_name.o' not extracted\n" +
                       kErr + "unsafe member name '' not extracted\n" + kErr +
                       "unsafe member name 'a\\..\\b.o' not extracted\n" + kErr +
                       "unsafe member name '" + backslashed + "' not extracted\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(listDir(here), (std::vector<std::string>{"..x.o", "lib.lib", "ok.o", "sub"}));
  EXPECT_EQ(readFile(here + "/sub/in.o"), "in");
  EXPECT_EQ(readFile(here + "/..x.o"), "dots");
  EXPECT_EQ(listDir(dir.path()), std::vector<std::string>{"work"});
  EXPECT_EQ(listDir(dir.file("work")), std::vector<std::string>{"here"});
  // A file argument names its target explicitly and is used as given.
  testutil::shell("mkdir -p deep/er", here);
  r = zolt({"x", "lib", "deep/er/../OK.O"}, here);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(here + "/deep/OK.O"), "ok");
}

TEST(Operations, PercentInNamesIsNeverAFormat) {
  TempDir dir;
  const std::string name = "a%s%%b%d%%%c.lib";
  writeFile(dir.file(name), kMagic + member("x.o/", 1, "x") + "junk");
  // Archive errors print "%%" as "%" and every other "%" as it stands.
  RunResult r = zolt({"t", name}, dir.path());
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, std::string(kErr) + "Cannot read member header: 'a%s%b%d%%c.lib'\n");
  EXPECT_EQ(r.status, 1);
  // The front end's own messages print names as they are.
  r = zolt({"t", "%s%%x"}, dir.path());
  EXPECT_EQ(r.err, std::string(kErr) + "cannot open archive: '%s%%x.lib'\n");
  makeFile(dir.file("%n%s.o"), "p", kDate);
  r = zolt({"rv", "p%d", "%n%s.o", "%x%%.o"}, dir.path());
  EXPECT_EQ(r.out,
            "  ==>  new archive 'p%d.lib'\n  ==>  add '%n%s.o'\n"
            "  ==>  building archive 'p%d.lib'\n");
  EXPECT_EQ(r.err, std::string(kErr) + "'%x%%.o' not found\n");
  EXPECT_EQ(readFile(dir.file("p%d.lib")), kMagic + member("%n%s.o/", kDate, "p"));
}

TEST(Operations, FileArgumentsTakeTheirOnDiskSpelling) {
  TempDir dir;
  testutil::shell("mkdir sub", dir.path());
  makeFile(dir.file("sub/File.o"), "file", kDate);
  RunResult r = zolt({"rv", "lib", "SUB/FILE.O"}, dir.path());
  EXPECT_EQ(r.out,
            "  ==>  new archive 'lib.lib'\n  ==>  add 'sub/File.o'\n"
            "  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("lib.lib")), kMagic + member("File.o/", kDate, "file"));
  // Backslashes separate as well, and are kept in the text.
  makeFile(dir.file("sub/File.o"), "FILE", kDate + 1);
  r = zolt({"rv", "lib", "Sub\\file.O"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  replace 'File.o'\n  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(readFile(dir.file("lib.lib")), kMagic + member("File.o/", kDate + 1, "FILE"));
  // An exact spelling wins; otherwise the first match in byte order.
  makeFile(dir.file("sub/file.O"), "other", kDate + 2);
  r = zolt({"av", "lib", "sub\\FILE.O", "sub/file.O", "sub/nosuch/X.O", "SUB/NoSuch.o"},
           dir.path());
  EXPECT_EQ(r.out,
            "  ==>  add 'sub\\File.o'\n  ==>  add 'sub/file.O'\n"
            "  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.err, std::string(kErr) + "'sub/nosuch/X.O' not found\n" + kErr +
                       "'sub/NoSuch.o' not found\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(readFile(dir.file("lib.lib")),
            kMagic + member("File.o/", kDate + 1, "FILE") + member("File.o/", kDate + 1, "FILE") +
                member("file.O/", kDate + 2, "other"));
}

TEST(Operations, LinksAndPermissionsAreKept) {
  TempDir dir;
  makeFile(dir.file("a.o"), "a", kDate);
  makeFile(dir.file("b.o"), "b", kDate);
  testutil::shell("mkdir real && ln -s real/target.a lib.a", dir.path());
  // A link to a file that does not exist yet: the new archive is made
  // through it.
  RunResult r = zolt({"rq", "lib.a", "a.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  ASSERT_TRUE(exists(dir.file("real/target.a")));
  testutil::shell("chmod 640 real/target.a", dir.path());
  r = zolt({"rq", "lib.a", "b.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  struct stat st;
  ASSERT_EQ(lstat(dir.file("lib.a").c_str(), &st), 0);
  EXPECT_TRUE(S_ISLNK(st.st_mode));
  EXPECT_EQ(readFile(dir.file("real/target.a")),
            kMagic + member("a.o/", kDate, "a") + member("b.o/", kDate, "b"));
  EXPECT_EQ(fileMode(dir.file("real/target.a")), 0640u);
  EXPECT_EQ(listDir(dir.file("real")), std::vector<std::string>{"target.a"});
  EXPECT_EQ(listDir(dir.path()), (std::vector<std::string>{"a.o", "b.o", "lib.a", "real"}));
  // A chain of links, followed to the end.
  testutil::shell("ln -s lib.a chain.a", dir.path());
  r = zolt({"dq", "chain.a", "a.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  ASSERT_EQ(lstat(dir.file("chain.a").c_str(), &st), 0);
  EXPECT_TRUE(S_ISLNK(st.st_mode));
  EXPECT_EQ(readFile(dir.file("real/target.a")), kMagic + member("b.o/", kDate, "b"));
  EXPECT_EQ(listDir(dir.file("real")), std::vector<std::string>{"target.a"});
  // Special bits are not carried over; a new archive follows the umask.
  testutil::shell("chmod 4755 real/target.a", dir.path());
  r = zolt({"rq", "chain.a", "a.o"}, dir.path());
  EXPECT_EQ(fileMode(dir.file("real/target.a")), 0755u);
  r = zoltAfter("umask 027", {"rq", "fresh", "a.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(fileMode(dir.file("fresh.lib")), 0640u);
  testutil::shell("chmod 600 fresh.lib", dir.path());
  r = zoltAfter("umask 0", {"rq", "fresh", "b.o"}, dir.path());
  EXPECT_EQ(fileMode(dir.file("fresh.lib")), 0600u);
}

}  // namespace
