// Path helpers, temporary names and the checked allocators, where the
// archiver's command line does not reach them.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <regex>

#include "support/checked_alloc.h"
#include "support/data_map.h"
#include "support/paths.h"
#include "unit.h"

// The allocators' failure is a null from malloc, also under the sanitizer.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

namespace {

std::string take(char* allocated) {
  std::string text = allocated;
  std::free(allocated);
  return text;
}

}  // namespace

TEST(Paths, SplitJoinExtendAndCompare) {
  const std::string n600(600, 'n'), n499(499, 'n');
  for (auto [path, parts] : {std::pair<std::string, std::string>{"lib/sub\\x.tar.o", "lib\\sub\\|x.tar|o"},
                             {"a.", "|a.|"},
                             {"dir.d/lib", "dir.d\\|lib|"}, {"c:x.o", "c:|x|o"}, {".o", "||o"}, {"", "||"},
                             {n600, "|" + n499 + "|"}, {"x." + n600, "|x|" + n499}, {n600 + "/x", n499 + "|x|"}}) {
    const char *d, *b, *e;
    splitPath(path.c_str(), &d, &b, &e);
    EXPECT_EQ(std::string(d) + "|" + b + "|" + e, parts) << path;
  }
  const char* base = nullptr;
  splitPath(nullptr, nullptr, &base, nullptr);
  EXPECT_STREQ(base, "");
  for (auto [dir, name, ext, joined] : {std::tuple{"out/", "f", "", "out/f"}, {"out", "f", "", "out\\f"},
                                        {"a/out", "f", "", "a/out/f"}, {"c:", "f", "o", "c:f.o"},
                                        {"", "f", ".lib", "f.lib"}, {"d\\", "n", "x", "d\\n.x"}})
    EXPECT_EQ(take(joinPath(nullptr, dir, name, ext)), joined);
  char buffer[64];
  EXPECT_EQ(joinPath(buffer, nullptr, "n", nullptr), buffer);
  EXPECT_STREQ(buffer, "n");
  for (auto [path, ext, replace, result] :
       {std::tuple{"dir.d\\lib", "lib", false, "dir.d\\lib.lib"}, {"x", "", false, "x"},
        {"x.old", ".new", true, "x.new"}, {"x.old", "new", true, "x.new"}, {"x.old", "", true, "x"}}) {
    defaultExtension(std::strcpy(buffer, path), ext, replace);
    EXPECT_STREQ(buffer, result) << path;
  }
  EXPECT_TRUE(std::string(baseName("c:x.o")) + baseName("dir/") == "x.o" && !baseName("") && !baseName(nullptr));
  for (auto [a, b, difference] :
       {std::tuple{"ABC.O", "abc.o", 0}, {"abc", "abcD", -'d'}, {"abD", "ABC", 1}, {"", "", 0}})
    EXPECT_EQ(compareNoCase(a, b), difference) << a << " " << b;
}

TEST(Paths, TemporaryNamesAndAllocationFailures) {
  const std::regex guid(R"(\{[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\})");
  const std::string a = take(makeTempName(nullptr, "AR", "dir\\")), b = take(makeTempName(nullptr, "AR", "dir\\"));
  EXPECT_TRUE(a.starts_with("dir\\") && std::regex_match(a.substr(4), guid) && a != b) << a << " " << b;
  char buffer[64];
  EXPECT_EQ(makeTempName(buffer, "AR", ""), buffer);
  EXPECT_TRUE(std::regex_match(buffer, guid)) << buffer;
  // Without a directory: TMP, then TEMP, then TMPDIR, then "/tmp/".
  using Env = std::tuple<const char*, const char*, const char*, const char*>;
  for (const Env& row : {Env{"/a", "/b", "/c", "/a/"}, Env{"", "/b/", "/c", "/b/"}, Env{nullptr, nullptr, "c:", "c:"},
                         Env{nullptr, nullptr, nullptr, "/tmp/"}}) {
    unit::Ran r = unit::inChild([&] {
      for (auto [var, value] :
           {std::pair{"TMP", std::get<0>(row)}, {"TEMP", std::get<1>(row)}, {"TMPDIR", std::get<2>(row)}})
        value ? setenv(var, value, 1) : unsetenv(var);
      const std::string name = take(makeTempName(nullptr, "AR", nullptr)), text = name.substr(name.size() - 38);
      std::printf("%s %d", name.substr(0, name.size() - 38).c_str(), std::regex_match(text, guid));
    });
    EXPECT_EQ(r.out, std::string(std::get<3>(row)) + " 1");
  }
  const std::string oom = "ERROR: out of memory\n";
  for (const auto& [fail, status, err] : std::initializer_list<std::tuple<std::function<void()>, int, std::string>>{
           {[] { setenv("TMP", std::string(261, 'd').c_str(), 1), makeTempName(nullptr, "AR", nullptr); }, 1,
            "ERROR: You must set either the TMP or TEMP environment variable\n"},
           {[] { setenv("TMP", std::string(260, 'd').c_str(), 1), std::free(makeTempName(nullptr, "AR", nullptr)); },
            0, ""},
           {[] { xmalloc(SIZE_MAX); }, 1, oom}, {[] { xrealloc(xmalloc(0), SIZE_MAX); }, 1, oom},
           {[] { xcalloc(SIZE_MAX / 2, 4); }, 1, oom}, {[] { DATA_MAP().resize(uint64_t{1} << 63); }, 1, oom}}) {
    unit::Ran r = unit::inChild(fail);  // a sanitizer may warn before the failure is reported
    EXPECT_EQ(std::tuple(r.status, std::regex_replace(r.err, std::regex("==[0-9]+==WARNING.*\n"), "")),
              std::tuple(status, err));
  }
  char *text = static_cast<char*>(xrealloc(xstrdup("abc"), 8)), *zeros = static_cast<char*>(xcalloc(0, 0));
  EXPECT_EQ(std::string(text) + std::to_string(zeros[0]), "abc0");
  std::free(text), std::free(zeros), std::free(xrealloc(nullptr, 0));
}
