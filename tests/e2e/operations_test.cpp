// Add, replace, update, delete, extract and list: pairing of arguments with
// members, status lines, member data and padding, and how file arguments
// are spelled.
#include <sys/stat.h>

#include "e2e/e2e_util.h"

namespace {

using namespace e2e;

constexpr long kDate = 1700000000;  // Tue Nov 14 22:13:20 2023 UTC
const std::string kDay = "Tue Nov 14 22:13:";

long mtimeOf(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? static_cast<long>(st.st_mtime) : -1;
}

std::string lines(const std::string& verb, const std::vector<std::string>& names) {
  std::string out;
  for (const auto& n : names) out += "  ==>  " + verb + " '" + n + "'\n";
  return out;
}

struct Operations : ZoltTest {};

TEST_F(Operations, StatusLinesQuietAndVerbose) {
  make("a.o", "aaa", kDate);
  make("b.o", "bb", kDate);
  EXPECT_RUN(z({"rv", "lib", "a.o"}),
             "  ==>  new archive 'lib.lib'\n  ==>  add 'a.o'\n" + building("lib.lib"), "", 0);
  EXPECT_RUN(z({"rv", "lib", "b.o", "a.o"}),
             "  ==>  replace 'a.o'\n  ==>  add 'b.o'\n" + building("lib.lib"), "", 0);
  EXPECT_RUN(z({"rq", "lib", "a.o"}), "", "", 0);
  // Verbose does not depend on quiet.
  EXPECT_RUN(z({"rqv", "lib", "a.o"}), "  ==>  replace 'a.o'\n", "", 0);
  EXPECT_RUN(z({"aqv", "new", "a.o"}), "  ==>  add 'a.o'\n", "", 0);
  EXPECT_RUN(z({"xv", "lib", "out/B.O"}), "", errLine("cannot create 'out/B.O'"), 1);
  mkdir("out");
  EXPECT_RUN(z({"xv", "lib", "out/B.O", "a.o"}), lines("extract", {"a.o", "out/B.O"}), "", 0);
  EXPECT_EQ(read("out/B.O"), "bb");
  EXPECT_RUN(z({"dv", "lib", "A.O"}), "  ==>  delete 'a.o'\n" + building("lib.lib"), "", 0);
  EXPECT_RUN(z({"dqv", "lib", "b.o"}), "  ==>  delete 'b.o'\n", "", 0);
  EXPECT_EQ(read("lib.lib"), kMagic);
  EXPECT_RUN(z({"tqv", "new"}), kListHead + listLine(3, kDay + "20 2023", "a.o"), "", 0);
}

TEST_F(Operations, MemberDataAndPadding) {
  std::string block(4096, '\0');
  for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 7 + 1);
  const std::string big = block + "Z", nul("\0\n\0", 3);
  make("odd.o", "odd", kDate);
  make("even.o", "even", kDate + 1);
  make("empty.o", "", kDate + 2);
  make("block.o", block, kDate + 3);
  make("big.o", big, kDate + 4);
  make("nul.o", nul, kDate + 5);
  EXPECT_EQ(z({"aq", "lib", "odd.o", "even.o", "empty.o", "block.o", "big.o", "nul.o"}).status, 0);
  std::string expected = kMagic + member("odd.o/", kDate, "odd") +
                         member("even.o/", kDate + 1, "even") + header("empty.o/", kDate + 2, 0, 0) +
                         member("block.o/", kDate + 3, block) + member("big.o/", kDate + 4, big) +
                         member("nul.o/", kDate + 5, nul);
  EXPECT_EQ(read("lib.lib"), expected);
  // Kept members are copied unchanged by a rewrite.
  make("even.o", "EVEN", kDate + 9);
  z({"rq", "lib", "even.o"});
  expected.replace(8 + 64, 64, member("even.o/", kDate + 9, "EVEN"));
  EXPECT_EQ(read("lib.lib"), expected);
  // Extraction copies the data without the pad byte.
  mkdir("out");
  EXPECT_EQ(z({"x", "lib", "out/odd.o", "out/empty.o", "out/block.o", "out/big.o", "out/nul.o"}).status, 0);
  EXPECT_EQ(read("out/odd.o"), "odd");
  EXPECT_TRUE(exists(dir.file("out/empty.o")));
  EXPECT_EQ(read("out/empty.o"), "");
  EXPECT_EQ(read("out/block.o"), block);
  EXPECT_EQ(read("out/big.o"), big);
  EXPECT_EQ(read("out/nul.o"), nul);
  EXPECT_EQ(z({"t", "lib"}).out,
            kListHead + listLine(3, kDay + "20 2023", "odd.o") + listLine(4, kDay + "29 2023", "even.o") +
                listLine(0, kDay + "22 2023", "empty.o") + listLine(4096, kDay + "23 2023", "block.o") +
                listLine(4097, kDay + "24 2023", "big.o") + listLine(3, kDay + "25 2023", "nul.o"));
}

TEST_F(Operations, PairingIgnoresCaseAndDirectories) {
  make("a.o", "first", kDate);
  make("b.o", "bee", kDate);
  ASSERT_EQ(z({"aq", "lib", "a.o", "b.o"}).status, 0);
  mkdir("dir");
  EXPECT_RUN(z({"x", "lib", "dir/A.O"}), "", "", 0);
  EXPECT_EQ(listDir(dir.file("dir")), std::vector<std::string>{"A.O"});
  EXPECT_EQ(read("dir/A.O"), "first");
  // Listing pairs the same way; a name must match whole.
  EXPECT_RUN(z({"t", "lib", "x/B.o", "a", "a.o.o"}), kListHead + listLine(3, kDay + "20 2023", "b.o"),
             errLine("'a' not found") + errLine("'a.o.o' not found"), 1);
  // A base name may follow a backslash or a colon as well.
  EXPECT_RUN(z({"t", "lib", "q\\A.o", "c:B.O"}),
             kListHead + listLine(5, kDay + "20 2023", "a.o") + listLine(3, kDay + "20 2023", "b.o"),
             "", 0);
  EXPECT_RUN(z({"dq", "lib", "some/where/B.O"}), "", "", 0);
  EXPECT_EQ(read("lib.lib"), kMagic + member("a.o/", kDate, "first"));
}

TEST_F(Operations, DuplicateMembers) {
  make("a.o", "one", kDate);
  ASSERT_EQ(z({"aq", "lib", "a.o"}).status, 0);
  make("a.o", "two!", kDate + 1);
  ASSERT_EQ(z({"aq", "lib", "a.o"}).status, 0);
  EXPECT_EQ(read("lib.lib"), kMagic + member("a.o/", kDate, "one") + member("a.o/", kDate + 1, "two!"));
  // Extracting everything: the later member overwrites the earlier.
  testutil::shell("mkdir out && cp lib.lib out/", dir.path());
  EXPECT_RUN(zolt({"xv", "lib"}, dir.file("out")), lines("extract", {"a.o", "a.o"}), "", 0);
  EXPECT_EQ(read("out/a.o"), "two!");
  // One argument pairs with one member: the first.
  make("a.o", "three", kDate + 2);
  EXPECT_RUN(z({"rv", "lib", "a.o"}), "  ==>  replace 'a.o'\n" + building("lib.lib"), "", 0);
  EXPECT_EQ(read("lib.lib"),
            kMagic + member("a.o/", kDate + 2, "three") + member("a.o/", kDate + 1, "two!"));
  // Two arguments of that name pair with both, in order; the third is added.
  EXPECT_RUN(z({"rqv", "lib", "a.o", "./a.o", "A.O"}),
             lines("replace", {"a.o", "a.o"}) + lines("add", {"a.o"}), "", 0);
  const std::string three = member("a.o/", kDate + 2, "three");
  EXPECT_EQ(read("lib.lib"), kMagic + three + three + three);
  // Extracting by name: the second argument takes the second member.
  make("b.o", "b", kDate + 3);
  ASSERT_EQ(z({"rq", "dup", "a.o", "b.o"}).status, 0);
  make("a.o", "newer", kDate + 4);
  ASSERT_EQ(z({"aq", "dup", "a.o"}).status, 0);
  mkdir("out/second out/1.a.o");
  EXPECT_RUN(z({"x", "dup", "out/1.a.o/../a.o", "out/second/a.o"}), "", "", 0);
  EXPECT_EQ(read("out/a.o"), "three");
  EXPECT_EQ(read("out/second/a.o"), "newer");
  // Deleting by one name removes the first of them only.
  z({"dq", "dup", "a.o"});
  EXPECT_EQ(read("dup.lib"), kMagic + member("b.o/", kDate + 3, "b") + member("a.o/", kDate + 4, "newer"));
}

TEST_F(Operations, ReplaceAndUpdate) {
  make("a.o", "a1", kDate);
  make("b.o", "b1", kDate);
  make("c.o", "c1", kDate);
  ASSERT_EQ(z({"rq", "lib", "a.o", "b.o", "c.o"}).status, 0);
  // With no file arguments every member is refreshed from the current
  // directory where a file of its name exists.
  make("a.o", "a22", kDate + 5);
  testutil::shell("rm b.o", dir.path());
  EXPECT_RUN(z({"rv", "lib"}), lines("replace", {"a.o", "c.o"}) + building("lib.lib"), "", 0);
  const std::string refreshed = kMagic + member("a.o/", kDate + 5, "a22") +
                                member("b.o/", kDate, "b1") + member("c.o/", kDate, "c1");
  EXPECT_EQ(read("lib.lib"), refreshed);
  // A member whose file is missing is left alone, and not reported.
  EXPECT_RUN(z({"rv", "lib", "b.o"}), building("lib.lib"), "", 0);
  EXPECT_EQ(read("lib.lib"), refreshed);
  // Update: equal or older times replace nothing; a newer one does.
  make("c.o", "c333", kDate);
  make("a.o", "a4444", kDate + 4);
  EXPECT_RUN(z({"uv", "lib", "a.o", "c.o"}), building("lib.lib"), "", 0);
  EXPECT_RUN(z({"ruv", "lib"}), building("lib.lib"), "", 0);
  EXPECT_EQ(read("lib.lib"), refreshed);
  make("c.o", "c333", kDate + 1);
  make("d.o", "d", kDate + 7);
  EXPECT_RUN(z({"ruv", "lib", "c.o", "d.o", "a.o"}),
             "  ==>  replace 'c.o'\n  ==>  add 'd.o'\n" + building("lib.lib"), "", 0);
  EXPECT_EQ(read("lib.lib"), kMagic + member("a.o/", kDate + 5, "a22") + member("b.o/", kDate, "b1") +
                                 member("c.o/", kDate + 1, "c333") + member("d.o/", kDate + 7, "d"));
}

TEST_F(Operations, DeleteWithoutFilesAndExtractEverything) {
  make("a.o", "alpha", kDate);
  make("b.o", "beta", kDate);
  ASSERT_EQ(z({"rq", "lib", "a.o", "b.o"}).status, 0);
  const std::string before = read("lib.lib");
  // Deleting nothing leaves the archive untouched, its time included.
  testutil::setMtime(dir.file("lib.lib"), 1000000000);
  EXPECT_RUN(z({"dv", "lib"}), "", "", 0);
  EXPECT_EQ(read("lib.lib"), before);
  EXPECT_EQ(mtimeOf(dir.file("lib.lib")), 1000000000);
  testutil::shell("mkdir out && mv lib.lib out/", dir.path());
  EXPECT_RUN(zolt({"x", "lib"}, dir.file("out")), "", "", 0);
  EXPECT_EQ(listDir(dir.file("out")), (std::vector<std::string>{"a.o", "b.o", "lib.lib"}));
  EXPECT_EQ(read("out/a.o"), "alpha");
  EXPECT_EQ(read("out/b.o"), "beta");
  // The extracted file's time is not set from the member's date.
  EXPECT_NE(mtimeOf(dir.file("out/a.o")), kDate);
}

TEST_F(Operations, UnsafeMemberNamesAreNotExtracted) {
  // Zolt runs two levels down, and the absolute names point into the
  // scratch directory too, so that nothing lands elsewhere even if a name
  // got through.
  mkdir("work/here/sub");
  const std::string here = dir.file("work/here");
  std::string slashed = dir.file("abs_long.o");  // "/" written as "|"
  std::string backslashed = dir.file("root_long.o");
  for (size_t i = 0; i < slashed.size(); ++i)
    if (slashed[i] == '/') slashed[i] = '|';
  for (char& c : backslashed)
    if (c == '/') c = '\\';
  const std::string table = "..|..|escape_long_name.o/\n" + slashed + "/\n" + backslashed + "/\n";
  const std::string third = std::to_string(26 + slashed.size() + 2);
  writeFile(here + "/lib.lib",
            kMagic + nameTable("//", table.size() % 2 ? table + "\n" : table) +
                member("/26", 1, "abs") + member("ok.o/", 2, "ok") + member("../up.o/", 3, "up") +
                member("/0", 4, "esc") + member("", 5, "empty") + member("sub/in.o/", 6, "in") +
                member("a\\..\\b.o/", 7, "bs") + member("..x.o/", 8, "dots") +
                member("/" + third, 9, "root"));
  std::string err;
  for (const std::string& name : {dir.file("abs_long.o"), std::string("../up.o"),
                                  std::string("../../escape_long_name.o"), std::string(),
                                  std::string("a\\..\\b.o"), backslashed})
    err += errLine("unsafe member name '" + name + "' not extracted");
  EXPECT_RUN(zolt({"xv", "lib"}, here), lines("extract", {"ok.o", "sub/in.o", "..x.o"}), err, 1);
  EXPECT_EQ(listDir(here), (std::vector<std::string>{"..x.o", "lib.lib", "ok.o", "sub"}));
  EXPECT_EQ(readFile(here + "/sub/in.o"), "in");
  EXPECT_EQ(readFile(here + "/..x.o"), "dots");
  EXPECT_EQ(listDir(dir.path()), std::vector<std::string>{"work"});
  EXPECT_EQ(listDir(dir.file("work")), std::vector<std::string>{"here"});
  // A file argument names its target explicitly and is used as given.
  mkdir("work/here/deep/er");
  EXPECT_RUN(zolt({"x", "lib", "deep/er/../OK.O"}, here), "", "", 0);
  EXPECT_EQ(readFile(here + "/deep/OK.O"), "ok");
}

TEST_F(Operations, PercentInNamesIsNeverAFormat) {
  const std::string name = "a%s%%b%d%%%c.lib";
  writeFile(dir.file(name), kMagic + member("x.o/", 1, "x") + "junk");
  // Archive errors print "%%" as "%" and every other "%" as it stands.
  EXPECT_RUN(z({"t", name}), "", errLine("Cannot read member header: 'a%s%b%d%%c.lib'"), 1);
  // The front end's own messages print names as they are.
  EXPECT_RUN(z({"t", "%s%%x"}), "", errLine("cannot open archive: '%s%%x.lib'"), 1);
  make("%n%s.o", "p", kDate);
  EXPECT_RUN(z({"rv", "p%d", "%n%s.o", "%x%%.o"}),
             "  ==>  new archive 'p%d.lib'\n  ==>  add '%n%s.o'\n" + building("p%d.lib"),
             errLine("'%x%%.o' not found"), 1);
  EXPECT_EQ(read("p%d.lib"), kMagic + member("%n%s.o/", kDate, "p"));
}

TEST_F(Operations, FileArgumentsTakeTheirOnDiskSpelling) {
  mkdir("sub");
  make("sub/File.o", "file", kDate);
  EXPECT_RUN(z({"rv", "lib", "SUB/FILE.O"}),
             "  ==>  new archive 'lib.lib'\n  ==>  add 'sub/File.o'\n" + building("lib.lib"), "", 0);
  EXPECT_EQ(read("lib.lib"), kMagic + member("File.o/", kDate, "file"));
  // Backslashes separate as well, and are kept in the text.
  make("sub/File.o", "FILE", kDate + 1);
  EXPECT_RUN(z({"rv", "lib", "Sub\\file.O"}), "  ==>  replace 'File.o'\n" + building("lib.lib"), "", 0);
  // An exact spelling wins; otherwise the first match in byte order.
  make("sub/file.O", "other", kDate + 2);
  EXPECT_RUN(z({"av", "lib", "sub\\FILE.O", "sub/file.O", "sub/nosuch/X.O", "SUB/NoSuch.o"}),
             lines("add", {"sub\\File.o", "sub/file.O"}) + building("lib.lib"),
             errLine("'sub/nosuch/X.O' not found") + errLine("'sub/NoSuch.o' not found"), 1);
  const std::string file = member("File.o/", kDate + 1, "FILE");
  EXPECT_EQ(read("lib.lib"), kMagic + file + file + member("file.O/", kDate + 2, "other"));
}

TEST_F(Operations, LinksAndPermissionsAreKept) {
  make("a.o", "a", kDate);
  make("b.o", "b", kDate);
  testutil::shell("mkdir real && ln -s real/target.a lib.a", dir.path());
  // A link to a file that does not exist yet: the new archive is made
  // through it.
  EXPECT_EQ(z({"rq", "lib.a", "a.o"}).status, 0);
  ASSERT_TRUE(exists(dir.file("real/target.a")));
  testutil::shell("chmod 640 real/target.a", dir.path());
  EXPECT_EQ(z({"rq", "lib.a", "b.o"}).status, 0);
  struct stat st;
  ASSERT_EQ(lstat(dir.file("lib.a").c_str(), &st), 0);
  EXPECT_TRUE(S_ISLNK(st.st_mode));
  EXPECT_EQ(read("real/target.a"), kMagic + member("a.o/", kDate, "a") + member("b.o/", kDate, "b"));
  EXPECT_EQ(fileMode(dir.file("real/target.a")), 0640u);
  EXPECT_EQ(listDir(dir.path()), (std::vector<std::string>{"a.o", "b.o", "lib.a", "real"}));
  // A chain of links, followed to the end.
  testutil::shell("ln -s lib.a chain.a", dir.path());
  EXPECT_EQ(z({"dq", "chain.a", "a.o"}).status, 0);
  ASSERT_EQ(lstat(dir.file("chain.a").c_str(), &st), 0);
  EXPECT_TRUE(S_ISLNK(st.st_mode));
  EXPECT_EQ(read("real/target.a"), kMagic + member("b.o/", kDate, "b"));
  EXPECT_EQ(listDir(dir.file("real")), std::vector<std::string>{"target.a"});
  // Special bits are not carried over; a new archive follows the umask.
  testutil::shell("chmod 4755 real/target.a", dir.path());
  z({"rq", "chain.a", "a.o"});
  EXPECT_EQ(fileMode(dir.file("real/target.a")), 0755u);
  EXPECT_EQ(zoltAfter("umask 027", {"rq", "fresh", "a.o"}, dir.path()).status, 0);
  EXPECT_EQ(fileMode(dir.file("fresh.lib")), 0640u);
  testutil::shell("chmod 600 fresh.lib", dir.path());
  zoltAfter("umask 0", {"rq", "fresh", "b.o"}, dir.path());
  EXPECT_EQ(fileMode(dir.file("fresh.lib")), 0600u);
}

}  // namespace

// Small member files are kept from the symbol pass for the write: in memory
// up to a budget, then in an unnamed file. Members on both sides of the
// budget and of the whole-read limit, odd and even, must come out exact.
TEST_F(Operations, ManyMegabytesOfMembersComeOutExact) {
  const size_t mib = size_t{1} << 20;
  std::vector<std::string> names;
  std::string expected = kMagic;
  for (int i = 0; i < 40; ++i) {
    // 1 MiB - 1, 1 MiB exactly (the largest read whole) and 1 MiB + 1.
    size_t size = mib - 1 + size_t(i % 3);
    std::string data(size, char('a' + i % 26));
    data[size / 2] = char(i);
    std::string name = "m" + std::to_string(100 + i) + ".o";
    make(name, data, kDate + i);
    names.push_back(name);
    expected += member(name + "/", kDate + i, data);
  }
  std::vector<std::string> args{"rq", "big"};
  args.insert(args.end(), names.begin(), names.end());
  ASSERT_EQ(z(args).status, 0);
  EXPECT_TRUE(read("big.lib") == expected) << "the archive differs from its members";
  // Rewritten with half the members replaced, the rest copied from the
  // old archive, then extracted: the same bytes.
  std::vector<std::string> half{"rq", "big"};
  for (size_t i = 0; i < names.size(); i += 2) half.push_back(names[i]);
  ASSERT_EQ(z(half).status, 0);
  EXPECT_TRUE(read("big.lib") == expected);
  mkdir("out");
  std::vector<std::string> extract{"xq", "big"};
  for (const auto& n : names) extract.push_back("out/" + n);
  ASSERT_EQ(z(extract).status, 0);
  for (const auto& n : names) EXPECT_TRUE(read("out/" + n) == read(n)) << n;
  EXPECT_TRUE(guidFiles(dir.path()).empty());
}

// Large members are copied by the kernel; between two file systems (members
// in a RAM disk, the archive on disk) by another call than within one.
TEST_F(Operations, LargeMembersCopiedAcrossFileSystems) {
  char pattern[] = "/dev/shm/zolt-test-XXXXXX";
  if (!exists("/dev/shm") || !mkdtemp(pattern)) GTEST_SKIP() << "no /dev/shm";
  const std::string shm = pattern;
  std::string data(3 * 1024 * 1024 + 1, 'q');
  for (size_t i = 0; i < data.size(); i += 4099) data[i] = char(i);
  writeFile(shm + "/large.o", data);
  testutil::setMtime(shm + "/large.o", kDate);
  RunResult made = z({"rq", "lib", shm + "/large.o"});
  unlink((shm + "/large.o").c_str());
  RunResult extracted = zolt({"xq", dir.file("lib.lib")}, shm);
  std::string copy = exists(shm + "/large.o") ? readFile(shm + "/large.o") : "";
  testutil::shell("rm -rf " + shm, "");
  EXPECT_EQ(made.status, 0);
  EXPECT_TRUE(read("lib.lib") == kMagic + member("large.o/", kDate, data));
  EXPECT_EQ(extracted.status, 0);
  EXPECT_TRUE(copy == data);
}
