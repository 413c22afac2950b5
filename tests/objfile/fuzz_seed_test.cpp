// Compiled objects of every flavour, checked to load with symbols, and
// written as the fuzzer's seed corpus when ZOLT_OBJFILE_SEED_DIR names a
// directory (for example: ZOLT_OBJFILE_SEED_DIR=corpus objfile_tests
// --gtest_filter='FuzzSeeds.*', then objfile_fuzz corpus).
#include <cstdlib>

#include <gtest/gtest.h>

#include "common/test_util.h"
#include "objfile_helpers.h"

using namespace objtest;

TEST(FuzzSeeds, CompiledObjectsLoadAndBecomeTheSeedCorpus) {
  testutil::TempDir dir;
  const char* seedDir = std::getenv("ZOLT_OBJFILE_SEED_DIR");
  int seeds = 0;
  for (const Target& target : targets()) {
    SCOPED_TRACE(target.name);
    std::string path = compileFor(dir.path(), target, kVariedSource);
    if (path.empty()) continue;
    OpenedObject object(path);
    ASSERT_NE(object.get(), nullptr);
    EXPECT_GT(librarySymbols(object.get()).size(), 8u);
    if (seedDir && *seedDir)
      testutil::writeFile(std::string(seedDir) + "/" + target.name + ".o", testutil::readFile(path));
    ++seeds;
  }
  EXPECT_GE(seeds, 1);
}
