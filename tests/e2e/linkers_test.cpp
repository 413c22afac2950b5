// zolt's archives in the hands of the system's archivers, symbol listers
// and linkers, and two of the system's static libraries (libc, the largest,
// and libz) rebuilt with zolt: same members, GNU ar's map, same programs.
#include <algorithm>
#include <filesystem>
#include <iostream>

#include "e2e/e2e_util.h"
#include "e2e/symbol_util.h"

namespace {

using namespace e2e;

std::string compile(const std::string& dir, const std::string& name, const std::string& source,
                    const std::vector<std::string>& flags = {}) {
  std::string obj = testutil::compileC(dir, name, source, "gcc", flags);
  std::remove((dir + "/" + name + ".c").c_str());
  return obj;
}

// The "<symbol> in <member>" lines of an armap listing.
std::vector<std::string> armapLines(const std::string& listing) {
  std::vector<std::string> out;
  for (const auto& l : lines(listing))
    if (l.find(" in ") != std::string::npos) out.push_back(l);
  return out;
}

// A library whose members a program reaches only through the symbol map:
// beta only through alpha, and two members that must never be loaded
// because they refer to symbols that exist nowhere.
struct LinkFixture {
  TempDir dir;
  std::vector<std::string> members{"never_loaded_member.o", "b.o", "notes.txt",
                                   "alpha_member_with_long_name.o", "counter.o", "abs.o",
                                   "common.o", "poison.o"};
  RunResult built;

  LinkFixture() {
    compile(dir.path(), "never_loaded_member",
            "extern int nowhere_at_all(void);\nint never_used(void) { return nowhere_at_all(); }\n");
    compile(dir.path(), "b", "int beta(int x) { return x * 10; }\n");
    writeFile(dir.file("notes.txt"), "not an object\n");
    compile(dir.path(), "alpha_member_with_long_name",
            "extern int beta(int);\nint alpha(int x) { return beta(x) + 1; }\n");
    compile(dir.path(), "counter",
            "int counter = 41;\n"
            "__attribute__((weak)) const char *greeting(void) { return \"hello\"; }\n");
    writeFile(dir.file("abs.s"), ".globl magic_value\n.set magic_value, 0x1234\n");
    RunResult as = testutil::run({"gcc", "-c", "-o", "abs.o", "abs.s"}, dir.path());
    EXPECT_EQ(as.status, 0) << as.err;
    compile(dir.path(), "common", "int shared_common;\n", {"-fcommon"});
    compile(dir.path(), "poison",
            "extern int also_nowhere(void);\nint beta2(void) { return also_nowhere(); }\n");
    std::vector<std::string> args{"rs", "lib.lib"};
    args.insert(args.end(), members.begin(), members.end());
    built = zolt(args, dir.path());
    compile(dir.path(), "main",
            "#include <stdio.h>\n"
            "extern int alpha(int);\nextern int counter;\nextern const char *greeting(void);\n"
            "extern char magic_value[];\nextern int shared_common;\n"
            "int main(void) {\n"
            "  shared_common += 2;\n"
            "  printf(\"%d %d %s %#lx %d\\n\", alpha(4), counter, greeting(),\n"
            "         (unsigned long)magic_value, shared_common);\n"
            "  return 0;\n}\n",
            {"-fno-pie"});
  }
};

TEST(Linkers, SystemToolsReadTheSymbolMap) {
  LinkFixture f;
  ASSERT_EQ(f.built.status, 0) << f.built.err;
  std::vector<std::string> printed = printedSymbols(f.built.out);
  auto all = parseArchive(readFile(f.dir.file("lib.lib")));
  auto ordinary = ordinaryMembers(all);
  ASSERT_EQ(ordinary.size(), f.members.size());
  EXPECT_EQ(all[1].field, "//");
  // What zolt printed, each with the member its offset points at.
  std::vector<std::string> pairs;
  auto byMember = mapByMember(all);
  ASSERT_EQ(byMember.size(), printed.size());
  for (size_t i = 0; i < byMember.size(); ++i) {
    EXPECT_EQ(byMember[i].second, printed[i]);
    ASSERT_GE(byMember[i].first, 0) << printed[i];
    pairs.push_back(printed[i] + " in " + f.members[byMember[i].first]);
  }
  // Every definition of every object member, in member order, then in
  // the member's own symbol order.
  std::vector<std::string> want;
  for (const auto& m : f.members)
    if (m != "notes.txt")
      for (const auto& n : readelfDefinitions(f.dir.file(m))) want.push_back(n + " in " + m);
  EXPECT_EQ(pairs, want);
  std::sort(want.begin(), want.end());
  EXPECT_EQ(want, (std::vector<std::string>{
                      "alpha in alpha_member_with_long_name.o", "beta in b.o",
                      "beta2 in poison.o", "counter in counter.o", "greeting in counter.o",
                      "magic_value in abs.o", "never_used in never_loaded_member.o",
                      "shared_common in common.o"}));

  // The archivers list the members, the symbol listers the map, as zolt
  // wrote them.
  std::string names;
  for (const auto& m : f.members) names += m + "\n";
  int tools = 0;
  for (const std::string tool : {"ar", "llvm-ar", "nm", "llvm-nm"}) {
    if (!testutil::haveTool(tool)) {
      std::cout << "[  NOTE    ] " << tool << " not installed, not checked\n";
      continue;
    }
    ++tools;
    const bool archiver = tool.find("nm") == std::string::npos;
    RunResult r = testutil::run({tool, archiver ? "t" : "--print-armap", "lib.lib"}, f.dir.path());
    if (archiver) {
      EXPECT_EQ(r.status, 0) << tool << ": " << r.err;
      EXPECT_EQ(r.out, names) << tool;
    } else {
      // notes.txt is not an object: the tools say so, and go on.
      EXPECT_EQ(armapLines(r.out), pairs) << tool << ":\n" << r.out << r.err;
    }
  }
  if (tools == 0) GTEST_SKIP() << "none of ar, llvm-ar, nm, llvm-nm installed";
}

void linkAndRun(const std::string& linker) {
  if (!testutil::haveTool("ld." + linker)) GTEST_SKIP() << "ld." << linker << " not installed";
  LinkFixture f;
  ASSERT_EQ(f.built.status, 0) << f.built.err;
  RunResult linked = testutil::run(
      {"gcc", "-fuse-ld=" + linker, "-no-pie", "-o", "prog", "main.o", "lib.lib"}, f.dir.path());
  ASSERT_EQ(linked.status, 0) << linker << ": " << linked.err;
  RunResult ran = testutil::run({f.dir.file("prog")});
  EXPECT_EQ(ran.status, 0);
  EXPECT_EQ(ran.out, "41 41 hello 0x1234 2\n");

  // The map is what the linker goes by: the same archive without it does
  // not link. (Newer lld no longer insists on a map, so only the GNU
  // linkers are held to this.)
  if (linker == "lld") return;
  std::string bytes = readFile(f.dir.file("lib.lib"));
  auto all = parseArchive(bytes);
  std::string noMap = "!<arch>\n";
  noMap += bytes.substr(all.at(1).header);
  writeFile(f.dir.file("nomap.a"), noMap);
  linked = testutil::run(
      {"gcc", "-fuse-ld=" + linker, "-no-pie", "-o", "prog2", "main.o", "nomap.a"}, f.dir.path());
  EXPECT_NE(linked.status, 0) << linker << " linked without a symbol map";
}

TEST(Linkers, GnuLdLinksThroughTheMap) { linkAndRun("bfd"); }
TEST(Linkers, GoldLinksThroughTheMap) { linkAndRun("gold"); }
TEST(Linkers, LldLinksThroughTheMap) { linkAndRun("lld"); }

// ---------------------------------------------------------------------
// The system's static libraries, rebuilt.

// Extracts every member of `library` by position (libc.a has several
// members of the same name) into dir/m/NNNN/<name>, rebuilds it with zolt
// and with GNU ar from those files in that order, and compares the maps.
void rebuildAndCompare(const TempDir& dir, const std::string& library, std::string& rebuilt) {
  if (!testutil::haveTool("ar")) GTEST_SKIP() << "GNU ar not installed";
  std::string bytes = readFile(library);
  auto all = parseArchive(bytes);
  auto ordinary = ordinaryMembers(all);
  ASSERT_GT(ordinary.size(), 0u);
  std::string commands = "aq rebuilt_zolt.a\n";
  std::vector<std::string> gnu{"ar", "qcS", "rebuilt_gnu.a"}, paths;
  for (size_t i = 0; i < ordinary.size(); ++i) {
    char sub[32];
    std::snprintf(sub, sizeof sub, "m/%04zu", i);
    std::filesystem::create_directories(dir.file(sub));
    std::string path = std::string(sub) + "/" + memberName(all, ordinary[i]);
    writeFile(dir.file(path), ordinary[i].data);
    paths.push_back(path);
    commands += path + "\n";
    gnu.push_back(path);
  }
  writeFile(dir.file("cmds"), commands);
  RunResult r = zolt({"@cmds"}, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "");
  r = testutil::run(gnu, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  r = testutil::run({"ar", "s", "rebuilt_gnu.a"}, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  rebuilt = dir.file("rebuilt_zolt.a");

  auto mine = parseArchive(readFile(rebuilt));
  auto mineOrdinary = ordinaryMembers(mine);
  ASSERT_EQ(mineOrdinary.size(), ordinary.size());
  for (size_t i = 0; i < ordinary.size(); ++i)
    ASSERT_EQ(mineOrdinary[i].data, ordinary[i].data) << paths[i];
  auto zoltMap = mapByMember(mine);
  auto gnuMap = mapByMember(parseArchive(readFile(dir.file("rebuilt_gnu.a"))));
  ASSERT_FALSE(zoltMap.empty());
  for (const auto& e : zoltMap) ASSERT_GE(e.first, 0) << e.second << " points at no member";
  EXPECT_EQ(zoltMap, gnuMap);
}

std::string systemLibrary(const std::string& name) {
  RunResult r = testutil::run({"gcc", "-print-file-name=" + name});
  std::string path = r.out.substr(0, r.out.find('\n'));
  if (r.status != 0 || path == name || !exists(path)) return "";
  return std::filesystem::canonical(path).string();
}

bool isArchive(const std::string& path) { return readFile(path).compare(0, 8, "!<arch>\n") == 0; }

// A system library, a program using it, and how to link that program
// against the system's library ("%") and against the rebuilt one ("@").
struct Library {
std::string name, program;
std::vector<std::string> systemLink, rebuiltLink;
};
const Library kLibraries[] = {
    {"libc.a",
     "#include <stdio.h>\n#include <stdlib.h>\n#include <string.h>\n#include <errno.h>\n"
     "static int cmp(const void *a, const void *b) { return *(const int *)a - *(const int *)b; }\n"
     "int main(void) {\n  int v[] = {5, 3, 9, 1};\n  qsort(v, 4, sizeof v[0], cmp);\n"
     "  char buf[64];\n  snprintf(buf, sizeof buf, \"%d-%d-%d-%d\", v[0], v[1], v[2], v[3]);\n"
     "  errno = 0;\n  long big = strtol(\"99999999999999999999999\", NULL, 10);\n"
     "  printf(\"%zu %s %d %ld\\n\", strlen(buf), buf, errno == ERANGE, big > 0);\n  return 0;\n}\n",
     {"-static"},
     // Nothing of the system's libc: the rebuilt one, with the compiler's
     // support libraries, in one group.
     {"-static", "-nodefaultlibs", "-Wl,--start-group", "@", "-lgcc", "-lgcc_eh", "-Wl,--end-group"}},
    {"libz.a",
     "#include <stdio.h>\n#include <string.h>\n#include <zlib.h>\nint main(void) {\n"
     "  const char *s = \"hello, archive\";\n  unsigned char packed[128], back[128];\n"
     "  uLongf n = sizeof packed, m = sizeof back;\n"
     "  compress(packed, &n, (const Bytef *)s, strlen(s) + 1);\n  uncompress(back, &m, packed, n);\n"
     "  printf(\"%lu %s %s\\n\", crc32(0, (const Bytef *)s, strlen(s)), back, zlibVersion());\n"
     "  return 0;\n}\n",
     {"%"}, {"@"}},
};

// Rebuilds the system's library with zolt and checks that a program links
// against it as against the original.
void checkRebuilt(const Library& library) {
  std::string lib = systemLibrary(library.name);
  if (lib.empty() || !exists(lib) || !isArchive(lib)) GTEST_SKIP() << "no static " << library.name;
  TempDir dir;
  std::string rebuilt;
  rebuildAndCompare(dir, lib, rebuilt);
  if (testing::Test::HasFatalFailure() || testing::Test::IsSkipped()) return;
  std::vector<std::string> systemLink = library.systemLink, rebuiltLink = library.rebuiltLink;
  for (auto* link : {&systemLink, &rebuiltLink})
    for (auto& a : *link) a = a == "%" ? lib : a == "@" ? rebuilt : a;
  writeFile(dir.file("prog.c"), library.program);
  RunResult r = testutil::run({"gcc", "-c", "-o", "prog.o", "prog.c"}, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  std::string outputs[2];
  for (int i = 0; i < 2; ++i) {
    std::vector<std::string> argv{"gcc", "-o", "prog" + std::to_string(i), "prog.o"};
    argv.insert(argv.end(), (i ? rebuiltLink : systemLink).begin(), (i ? rebuiltLink : systemLink).end());
    r = testutil::run(argv, dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    r = testutil::run({dir.file("prog" + std::to_string(i))});
    EXPECT_EQ(r.status, 0) << r.out;
    outputs[i] = r.out;
  }
  EXPECT_FALSE(outputs[0].empty());
  EXPECT_EQ(outputs[1], outputs[0]);
}

TEST(SystemLibraries, LibcRebuiltLinksStatically) { checkRebuilt(kLibraries[0]); }
TEST(SystemLibraries, LibzRebuiltLinks) { checkRebuilt(kLibraries[1]); }

}  // namespace
