// Archives shared with the system's own archivers, in both directions.
#include "e2e/e2e_util.h"

namespace {

using namespace e2e;

const std::vector<std::string> kNames = {"long_object_file_name.o", "x.o",
                                         "another_rather_long_name.txt", "odd"};

// Makes the four input files in `dir`: an ELF object with a few symbols,
// a short one, a long-named text file and a file of odd length.
void makeInputs(TempDir& dir) {
  std::string obj = testutil::compileC(
      dir.path(), "long_object_file_name",
      "int shared_counter = 3;\nint bump(void) { return ++shared_counter; }\n");
  ASSERT_FALSE(obj.empty());
  testutil::shell("rm long_object_file_name.c", dir.path());
  makeFile(dir.file("x.o"), "tiny", 1700000000);
  makeFile(dir.file("another_rather_long_name.txt"), "text member\n", 1700000001);
  makeFile(dir.file("odd"), "odd", 1700000002);
}

std::string namesOf(const std::vector<std::string>& names) {
  std::string out;
  for (const auto& n : names) out += n + "\n";
  return out;
}

// The names column of a table of contents, one per line.
std::string listedNames(const std::string& listing) {
  std::string out;
  size_t pos = std::string(kListHead).size();
  while (pos < listing.size()) {
    size_t end = listing.find('\n', pos);
    std::string line = listing.substr(pos, end - pos);
    // "  %8ld   " + 24-character date + "    " + name
    out += line.substr(2 + 8 + 3 + 24 + 4) + "\n";
    pos = end + 1;
  }
  return out;
}

// Checks that zolt lists, extracts and updates an archive made by `tool`.
void readForeignArchive(const std::string& tool, const std::string& flags) {
  if (!testutil::haveTool(tool)) GTEST_SKIP() << tool << " not installed";
  TempDir dir;
  makeInputs(dir);
  std::vector<std::string> argv{tool, flags, "foreign.a"};
  argv.insert(argv.end(), kNames.begin(), kNames.end());
  RunResult made = testutil::run(argv, dir.path());
  ASSERT_EQ(made.status, 0) << made.err;

  RunResult r = zolt({"t", "foreign.a"}, dir.path());
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(listedNames(r.out), namesOf(kNames));
  EXPECT_NE(r.out.find("         4   "), std::string::npos);

  testutil::shell("mkdir out && cp foreign.a out/", dir.path());
  r = zolt({"x", "foreign.a"}, dir.file("out"));
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  for (const auto& name : kNames)
    EXPECT_EQ(readFile(dir.file("out/" + name)), readFile(dir.file(name))) << name;

  // Replace one member and add another; the system's archiver still reads it.
  makeFile(dir.file("x.o"), "tiny, but longer now", 1700000003);
  makeFile(dir.file("added_with_a_long_name.o"), "added", 1700000004);
  r = zolt({"rq", "foreign.a", "x.o", "added_with_a_long_name.o"}, dir.path());
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  std::vector<std::string> names = kNames;
  names.push_back("added_with_a_long_name.o");
  RunResult listed = testutil::run({tool, "t", "foreign.a"}, dir.path());
  EXPECT_EQ(listed.out, namesOf(names));
  r = zolt({"t", "foreign.a"}, dir.path());
  EXPECT_EQ(listedNames(r.out), namesOf(names));
  testutil::shell("rm -r out && mkdir out", dir.path());
  RunResult extracted = testutil::run({tool, "x", "../foreign.a"}, dir.file("out"));
  EXPECT_EQ(extracted.status, 0) << extracted.err;
  for (const auto& name : names)
    EXPECT_EQ(readFile(dir.file("out/" + name)), readFile(dir.file(name))) << name;
}

TEST(Interop, ReadsGnuArArchive) { readForeignArchive("ar", "rc"); }
TEST(Interop, ReadsGnuArArchiveWithSymbolTable) { readForeignArchive("ar", "rcs"); }
TEST(Interop, ReadsLlvmArArchive) { readForeignArchive("llvm-ar", "rc"); }
TEST(Interop, ReadsLlvmArArchiveWithSymbolTable) { readForeignArchive("llvm-ar", "rcs"); }

TEST(Interop, SystemArchiversReadZoltArchives) {
  TempDir dir;
  makeInputs(dir);
  std::vector<std::string> args{"rq", "mine.a"};
  args.insert(args.end(), kNames.begin(), kNames.end());
  ASSERT_EQ(zolt(args, dir.path()).status, 0);
  // Original layout: names are short enough to survive.
  ASSERT_EQ(zolt({"rq0", "short.a", "x.o", "odd"}, dir.path()).status, 0);
  for (const std::string tool : {"ar", "llvm-ar"}) {
    if (!testutil::haveTool(tool)) continue;
    SCOPED_TRACE(tool);
    RunResult listed = testutil::run({tool, "t", "mine.a"}, dir.path());
    EXPECT_EQ(listed.status, 0) << listed.err;
    EXPECT_EQ(listed.out, namesOf(kNames));
    listed = testutil::run({tool, "t", "short.a"}, dir.path());
    EXPECT_EQ(listed.out, "x.o\nodd\n");
    testutil::shell("rm -rf out && mkdir out", dir.path());
    RunResult extracted = testutil::run({tool, "x", "../mine.a"}, dir.file("out"));
    EXPECT_EQ(extracted.status, 0) << extracted.err;
    for (const auto& name : kNames)
      EXPECT_EQ(readFile(dir.file("out/" + name)), readFile(dir.file(name))) << name;
  }
}

}  // namespace
