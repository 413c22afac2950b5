#include "support/paths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "common/test_util.h"

namespace {

std::string take(char* allocated) {
  std::string s = allocated;
  std::free(allocated);
  return s;
}

TEST(Paths, SplitPathCutsDirectoryBaseAndExtension) {
  const std::string longName(600, 'n');
  struct Case {
    std::string path, dir, base, ext;
  };
  const Case cases[] = {
      {"lib/sub\\x.tar.o", "lib\\sub\\", "x.tar", "o"},
      {"a.", "", "a.", ""},  // a trailing dot stays with the base
      {"dir.d/lib", "dir.d\\", "lib", ""},
      {"c:x.o", "c:", "x", "o"},
      {"", "", "", ""},
      {longName, "", longName.substr(0, 499), ""},
  };
  for (const Case& c : cases) {
    const char *d, *b, *e;
    splitPath(c.path.c_str(), &d, &b, &e);
    EXPECT_EQ(std::string(d) + "|" + b + "|" + e, c.dir + "|" + c.base + "|" + c.ext) << c.path;
  }
}

TEST(Paths, JoinPathPicksTheSeparatorFromTheDirectory) {
  EXPECT_EQ(take(joinPath(nullptr, "out/", "f", nullptr)), "out/f");
  EXPECT_EQ(take(joinPath(nullptr, "out", "f", nullptr)), "out\\f");
  EXPECT_EQ(take(joinPath(nullptr, "a/out", "f", nullptr)), "a/out/f");
  EXPECT_EQ(take(joinPath(nullptr, "c:", "f", "o")), "c:f.o");
  EXPECT_EQ(take(joinPath(nullptr, "", "f", ".lib")), "f.lib");
  char buffer[64];
  EXPECT_EQ(joinPath(buffer, "d\\", "n", "x"), buffer);
  EXPECT_STREQ(buffer, "d\\n.x");
}

TEST(Paths, DefaultExtensionOnlyWhereTheLastComponentHasNone) {
  struct Case {
    const char *path, *extension;
    bool force;
    const char* expected;
  };
  const Case cases[] = {
      {"mylib", ".lib", false, "mylib.lib"},         {"my.lib.a", ".lib", false, "my.lib.a"},
      {"dir.d/lib", ".lib", false, "dir.d/lib.lib"}, {"dir.d\\lib", "lib", false, "dir.d\\lib.lib"},
      {"x.old", ".new", true, "x.new"},              {"x.old", "", true, "x"},
  };
  for (const Case& c : cases) {
    char path[64];
    std::strcpy(path, c.path);
    defaultExtension(path, c.extension, c.force);
    EXPECT_STREQ(path, c.expected) << c.path;
  }
}

TEST(Paths, BaseNameAndCaseInsensitiveComparison) {
  EXPECT_STREQ(baseName("lib\\sub/x.o"), "x.o");
  EXPECT_STREQ(baseName("c:x.o"), "x.o");
  EXPECT_STREQ(baseName("x.o"), "x.o");
  EXPECT_EQ(baseName(""), nullptr);
  EXPECT_EQ(baseName(nullptr), nullptr);
  EXPECT_EQ(compareNoCase("ABC.O", "abc.o"), 0);
  EXPECT_NE(compareNoCase("abc", "abcd"), 0);
  EXPECT_LT(compareNoCase("abc", "abd"), 0);
}

TEST(Paths, CanonicalPathTakesTheSpellingOnDisk) {
  testutil::TempDir dir;
  ASSERT_EQ(mkdir(dir.file("sub").c_str(), 0755), 0);
  testutil::writeFile(dir.file("sub/File.o"), "x");
  testutil::writeFile(dir.file("sub/b.o"), "x");
  testutil::writeFile(dir.file("sub/B.o"), "x");
  char cwd[4096];
  ASSERT_TRUE(getcwd(cwd, sizeof cwd));
  ASSERT_EQ(chdir(dir.path().c_str()), 0);
  EXPECT_EQ(take(canonicalPath("SUB\\FILE.O")), "sub\\File.o");
  EXPECT_EQ(take(canonicalPath("SUB/FILE.O")), "sub/File.o");
  EXPECT_EQ(take(canonicalPath("nosuch\\x.o")), "nosuch\\x.o");
  EXPECT_EQ(take(canonicalPath("sub/NOSUCH/x.o")), "sub/NOSUCH/x.o");
  EXPECT_EQ(take(canonicalPath("./Sub/../sub/file.o")), "./sub/../sub/File.o");
  // The exact spelling wins; otherwise the first match in byte order.
  EXPECT_EQ(take(canonicalPath("sub/b.o")), "sub/b.o");
  testutil::writeFile(dir.file("sub/c.o"), "x");
  testutil::writeFile(dir.file("sub/C.O"), "x");
  EXPECT_EQ(take(canonicalPath("sub/c.O")), "sub/C.O");
  // "*" and "?" are ordinary characters.
  EXPECT_EQ(take(canonicalPath("sub/*.o")), "sub/*.o");
  std::string absolute = dir.path() + "/SUB/file.o";
  EXPECT_EQ(take(canonicalPath(absolute.c_str())), dir.path() + "/sub/File.o");
  ASSERT_EQ(chdir(cwd), 0);
}

TEST(Paths, FileExistsIgnoresTrailingSeparators) {
  testutil::TempDir dir;
  testutil::writeFile(dir.file("f"), "");
  EXPECT_TRUE(fileExists((dir.path() + "\\").c_str()));
  EXPECT_TRUE(fileExists((dir.path() + "//").c_str()));
  EXPECT_TRUE(fileExists(dir.file("f").c_str()));
  EXPECT_FALSE(fileExists(dir.file("g").c_str()));
  EXPECT_TRUE(renameFile(dir.file("f").c_str(), dir.file("g").c_str()));
  EXPECT_TRUE(fileExists(dir.file("g").c_str()));
  EXPECT_FALSE(renameFile(dir.file("f").c_str(), dir.file("h").c_str()));
}

TEST(Paths, TemporaryNamesAreBracedGuidsInTheGivenDirectory) {
  const std::regex guid(R"(\{[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\})");
  std::string a = take(makeTempName(nullptr, "AR", "dir\\"));
  std::string b = take(makeTempName(nullptr, "AR", "dir\\"));
  EXPECT_TRUE(std::regex_match(a.substr(4), guid)) << a;
  EXPECT_EQ(a.substr(0, 4), "dir\\");
  EXPECT_NE(a, b);
  EXPECT_TRUE(std::regex_match(take(makeTempName(nullptr, "AR", "")), guid));
}

TEST(Paths, TemporaryDirectoryComesFromTheEnvironment) {
  const std::regex guid(R"(\{[0-9A-F-]{36}\})");
  std::string saved = std::getenv("TMP") ? std::getenv("TMP") : "";
  setenv("TMP", "/scratch/", 1);
  std::string name = take(makeTempName(nullptr, "AR", nullptr));
  EXPECT_EQ(name.substr(0, 9), "/scratch/");
  EXPECT_TRUE(std::regex_match(name.substr(9), guid));
  setenv("TMP", std::string(261, 'd').c_str(), 1);
  EXPECT_EXIT(makeTempName(nullptr, "AR", nullptr), testing::ExitedWithCode(1),
              "^ERROR: You must set either the TMP or TEMP environment variable\n$");
  if (saved.empty())
    unsetenv("TMP");
  else
    setenv("TMP", saved.c_str(), 1);
}

}  // namespace
