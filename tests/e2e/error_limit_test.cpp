// Diagnostics from the object reader that end the run (the error limit)
// still undo the write in progress.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "e2e/e2e_util.h"

namespace {

using namespace e2e;

TEST(ErrorLimit, TheHundredAndFirstErrorEndsTheRunAndRestoresTheArchive) {
  TempDir dir;
  std::string good = testutil::compileC(dir.path(), "good", "int good_symbol(void) { return 1; }\n");
  ASSERT_EQ(zolt({"rq", "lib", "good.o"}, dir.path()).status, 0);
  const std::string before = readFile(dir.file("lib.lib"));

  // Section headers claimed past 2 GiB: each such member costs one counted
  // error when its sections are looked for.
  std::string bad = readFile(good);
  const uint64_t farAway = 0x90000000u;
  std::memcpy(&bad[0x28], &farAway, sizeof farAway);  // e_shoff of a little-endian ELF64
  std::vector<std::string> args{"r", "lib"};
  for (int i = 0; i < 101; ++i) {
    std::string name = "bad" + std::to_string(i) + ".o";
    writeFile(dir.file(name), bad);
    args.push_back(name);
  }
  const std::string one =
      "DIAG/user_msg_api:175:internal error #99924: (pfseeko called with SEEK_SET, but\n"
      "   offset is negative)\n";
  // With 100 the archive is written, errors and all.
  std::vector<std::string> hundred(args.begin(), args.begin() + 102);
  hundred[0] = "rq";
  RunResult r = zolt(hundred, dir.path());
  EXPECT_EQ(r.status, 0);
  std::string expected;
  for (int i = 0; i < 100; ++i) expected += one;
  EXPECT_EQ(r.err, expected);
  writeFile(dir.file("lib.lib"), before);

  r = zolt(args, dir.path());
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, expected + one + "fatal error: error limit reached; 100 errors detected\n");
  EXPECT_EQ(r.out, "  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(readFile(dir.file("lib.lib")), before);
  EXPECT_TRUE(guidFiles(dir.path()).empty());
}

}  // namespace
