// The archive symbol table "/": which symbols go in, in what order, where
// their offsets point, the byte layout of the member, the "s" listing, and
// what happens with objects that are broken or of other machines.
#include <algorithm>
#include <chrono>
#include <map>
#include <set>

#include "e2e/e2e_util.h"
#include "e2e/symbol_util.h"

namespace {

using namespace e2e;
using testutil::ElfImage;

constexpr long kDate = 1700000000;

std::string be32(uint32_t v) {
  std::string s(4, '\0');
  for (int i = 0; i < 4; ++i) s[i] = static_cast<char>((v >> (24 - 8 * i)) & 0xFF);
  return s;
}

uint64_t even(uint64_t n) { return n + (n & 1); }

// The "/" member zolt must write for `names`, defined by the members at
// `offsets` (one per name).
std::string symbolTableMember(const std::vector<std::string>& names,
                              const std::vector<uint32_t>& offsets) {
  std::string data = be32(static_cast<uint32_t>(names.size()));
  for (uint32_t o : offsets) data += be32(o);
  for (const auto& n : names) data += n + '\0';
  if (data.size() % 2) data += '\0';
  return header("/", 0, 0, static_cast<long>(data.size())) + data;
}

std::vector<std::string> namesOf(const std::vector<MapEntry>& map) {
  std::vector<std::string> out;
  for (const auto& e : map) out.push_back(e.name);
  return out;
}

// Maps every definition of each member (by readelf) to its header offset.
std::vector<MapEntry> expectedMap(const std::vector<std::string>& paths,
                                  const std::vector<RawMember>& ordinary) {
  std::vector<MapEntry> out;
  for (size_t i = 0; i < paths.size(); ++i)
    for (const auto& n : readelfDefinitions(paths[i]))
      out.push_back({n, static_cast<uint32_t>(ordinary.at(i).header)});
  return out;
}

struct Symbols : ZoltTest {
  // Assembles `text` into name.o with `compiler` (and extra flags).
  std::string assemble(const std::string& name, const std::string& text,
                       const std::string& compiler = "gcc", const std::vector<std::string>& flags = {}) {
    std::string src = dir.file(name + ".s"), obj = dir.file(name + ".o");
    writeFile(src, text);
    std::vector<std::string> argv{compiler};
    argv.insert(argv.end(), flags.begin(), flags.end());
    argv.insert(argv.end(), {"-c", "-o", obj, src});
    RunResult r = testutil::run(argv);
    EXPECT_EQ(r.status, 0) << compiler << " failed: " << r.err;
    std::remove(src.c_str());
    testutil::setMtime(obj, kDate);
    return obj;
  }
  // Compiles C text into name.o, leaves no source behind and gives the
  // object a fixed date.
  std::string object(const std::string& name, const std::string& source,
                     const std::vector<std::string>& flags = {}) {
    std::string obj = testutil::compileC(dir.path(), name, source, "gcc", flags);
    std::remove(dir.file(name + ".c").c_str());
    testutil::setMtime(obj, kDate);
    return obj;
  }
  std::vector<RawMember> members(const std::string& archive) { return parseArchive(read(archive)); }
};

TEST_F(Symbols, TakesGlobalWeakCommonAndAbsoluteDefinitionsOnly) {
  std::string a = object("a",
                         "static int __attribute__((noinline, used)) g(int x) { return x * 3; }\n"
                         "extern int h(int);\n"
                         "int f(int x) { return g(x) + h(x); }\n"
                         "__attribute__((weak)) int w(void) { return 7; }\n"
                         "int c;\n",
                         {"-fcommon"});
  std::string abs = assemble("abs",
                             ".globl abs_sym\n.set abs_sym, 0x1234\n"
                             ".global equ_sym\n.equ equ_sym, 42\n"
                             "local_abs = 5\n");
  testutil::setMtime(abs, kDate + 1);
  // The objects hold what the test is about: a local, an undefined, a
  // common and a local absolute symbol besides the ones taken.
  std::map<std::string, std::string> seen;
  for (const auto& s : readelfSymbols({a, abs})) seen[s.name] = s.bind + " " + s.ndx;
  ASSERT_EQ(seen["g"].substr(0, 6), "LOCAL ");
  ASSERT_EQ(seen["h"], "GLOBAL UND");
  ASSERT_EQ(seen["c"], "GLOBAL COM");
  ASSERT_EQ(seen["w"].substr(0, 5), "WEAK ");
  ASSERT_EQ(seen["local_abs"], "LOCAL ABS");
  std::vector<std::string> inA = readelfDefinitions(a);
  std::vector<std::string> sorted = inA;
  std::sort(sorted.begin(), sorted.end());
  ASSERT_EQ(sorted, (std::vector<std::string>{"c", "f", "w"}));
  ASSERT_EQ(readelfDefinitions(abs), (std::vector<std::string>{"abs_sym", "equ_sym"}));

  std::vector<std::string> names = inA;
  names.insert(names.end(), {"abs_sym", "equ_sym"});
  EXPECT_RUN(z({"rs", "lib", "a.o", "abs.o"}), created("lib.lib") + symbolLines(names), "", 0);
  std::string aBytes = readFile(a);
  uint64_t table = 0;
  for (const auto& n : names) table += n.size() + 5;
  uint32_t first = static_cast<uint32_t>(8 + 60 + even(table + 4));
  uint32_t second = static_cast<uint32_t>(first + 60 + even(aBytes.size()));
  EXPECT_EQ(read("lib.lib"), kMagic + symbolTableMember(names, {first, first, first, second, second}) +
                                 member("a.o/", kDate, aBytes) + member("abs.o/", kDate + 1, readFile(abs)));
}

TEST_F(Symbols, ObjectsOfEveryClassAndByteOrder) {
  if (!testutil::haveTool("clang")) GTEST_SKIP() << "clang not installed";
  const std::string source =
      "static int __attribute__((noinline, used)) g(int x) { return x * 3; }\n"
      "extern int h(int);\n"
      "int f(int x) { return g(x) + h(x); }\n"
      "__attribute__((weak)) int w(void) { return 7; }\n"
      "int c;\n__thread int tv = 1;\nconst char ro[] = \"ro\";\n";
  const std::string absText = ".globl abs_sym\n.set abs_sym, 0x1234\nlocal_abs = 5\n";
  std::vector<std::string> files;
  const std::vector<std::string> targets{"mips-linux-gnu", "powerpc64-linux-gnu",
                                         "armv7-linux-gnueabihf", "i386-linux-gnu"};
  for (const auto& t : targets) {
    files.push_back(testutil::compileC(dir.path(), "obj_" + t, source, "clang",
                                       {"--target=" + t, "-fcommon"}));
    files.push_back(assemble("abs_" + t, absText, "clang", {"--target=" + t}));
  }
  files.push_back(object("host", source, {"-fcommon"}));
  // The machines really differ in class and byte order.
  RunResult classes = testutil::shell("readelf -h *.o | grep -E 'Class|Data' | sort -u", dir.path());
  for (const char* kind : {"ELF32", "ELF64", "big endian", "little endian"})
    EXPECT_NE(classes.out.find(kind), std::string::npos) << kind;

  std::vector<std::string> args{"rs", "mixed"};
  for (const auto& f : files) args.push_back(f.substr(f.rfind('/') + 1));
  RunResult r = z(args);
  auto all = parseArchive(read("mixed.lib"));
  std::vector<MapEntry> want = expectedMap(files, ordinaryMembers(all));
  // Every object offers f, w, c, tv and ro; every assembly abs_sym.
  ASSERT_EQ(want.size(), 5 * (targets.size() + 1) + targets.size());
  EXPECT_EQ(symbolMap(all), want);
  EXPECT_RUN(r, "  ==>  new archive 'mixed.lib'\n  ==>  building archive 'mixed.lib'\n" +
                    symbolLines(namesOf(want)), "", 0);
}

TEST_F(Symbols, SymbolTableSizeIsPaddedToEven) {
  const std::string one = readFile(assemble("one", ".globl f\n.data\nf: .byte 1\n"));
  const std::string two = readFile(assemble("two", ".globl ab\n.data\nab: .byte 2\n"));
  // "f": 4 + 4 + 2 = 10 bytes, even.
  EXPECT_EQ(z({"rq", "even", "one.o"}).status, 0);
  EXPECT_EQ(read("even.lib"), kMagic + header("/", 0, 0, 10) + be32(1) + be32(78) +
                                  std::string("f\0", 2) + member("one.o/", kDate, one));
  // "ab": 11 bytes, one zero byte added and counted: 12.
  EXPECT_EQ(z({"rq", "odd", "two.o"}).status, 0);
  EXPECT_EQ(read("odd.lib"), kMagic + header("/", 0, 0, 12) + be32(1) + be32(80) +
                                 std::string("ab\0\0", 4) + member("two.o/", kDate, two));
  // Both: 4 + 2 * 4 + 2 + 3 = 17, padded to 18.
  EXPECT_EQ(z({"rq", "both", "one.o", "two.o"}).status, 0);
  EXPECT_EQ(read("both.lib"), kMagic + header("/", 0, 0, 18) + be32(2) + be32(86) +
                                  be32(uint32_t(86 + 60 + even(one.size()))) +
                                  std::string("f\0ab\0\0", 6) + member("one.o/", kDate, one) +
                                  member("two.o/", kDate, two));
}

TEST_F(Symbols, SameNameInTwoMembersGivesTwoEntries) {
  object("first", "int f(void) { return 1; }\n");
  std::string second = object("second", "int f(void) { return 2; }\n"
                                        "__attribute__((weak)) int g(void) { return 3; }\n");
  object("third", "int g(void) { return 4; }\n");
  RunResult r = z({"rs", "lib", "first.o", "second.o", "third.o"});
  auto all = members("lib.lib");
  auto ordinary = ordinaryMembers(all);
  ASSERT_EQ(ordinary.size(), 3u);
  std::vector<MapEntry> want{{"f", uint32_t(ordinary[0].header)}, {"f", uint32_t(ordinary[1].header)},
                             {"g", uint32_t(ordinary[1].header)}, {"g", uint32_t(ordinary[2].header)}};
  // Within "second", f and g come in readelf's order.
  if (readelfDefinitions(second) == std::vector<std::string>{"g", "f"}) std::swap(want[1], want[2]);
  ASSERT_EQ(symbolMap(all), want);
  EXPECT_RUN(r, created("lib.lib") + symbolLines(namesOf(want)), "", 0);
}

TEST_F(Symbols, EmptyMembersContributeNothing) {
  make("empty.o", "", kDate);
  make("void.o", "", kDate);
  std::string a = readFile(object("a", "int f(void) { return 1; }\n"));
  EXPECT_RUN(z({"rs", "lib", "empty.o", "a.o", "void.o"}), created("lib.lib") + symbolLines({"f"}), "", 0);
  const std::string expected = kMagic + symbolTableMember({"f"}, {10 + 8 + 60 + 60}) +
                               header("empty.o/", kDate, 0, 0) + member("a.o/", kDate, a) +
                               header("void.o/", kDate, 0, 0);
  EXPECT_EQ(read("lib.lib"), expected);
  // Rewritten from the old archive: the empty members' data positions are
  // the next header and the end of the file.
  make("t.txt", "text", kDate);
  EXPECT_RUN(z({"rs", "lib", "t.txt"}), building("lib.lib") + symbolLines({"f"}), "", 0);
  EXPECT_EQ(read("lib.lib"), expected + member("t.txt/", kDate, "text"));
}

TEST_F(Symbols, MemberOrderThenSymbolTableOrder) {
  std::vector<std::string> paths{
      object("zeta",
             "int zz = 1;\nint za(void) { return zz; }\nint zm;\n"
             "__attribute__((weak)) int zw = 2;\nstatic int zs;\nint *zp(void) { return &zs; }\n",
             {"-fcommon"}),
      object("alpha", "extern int za(void);\nint ab(void) { return za(); }\n"
                      "const char aa[] = \"x\";\n__thread int at = 3;\n"),
      object("mid", "static int hidden_helper;\n"
                    "__attribute__((visibility(\"hidden\"))) int mh = 4;\n"
                    "int mg(void) { return mh + hidden_helper; }\n")};
  RunResult r = z({"rs", "lib", "zeta.o", "alpha.o", "mid.o"});
  auto all = members("lib.lib");
  std::vector<MapEntry> want = expectedMap(paths, ordinaryMembers(all));
  ASSERT_GE(want.size(), 10u);
  EXPECT_EQ(symbolMap(all), want);
  EXPECT_RUN(r, created("lib.lib") + symbolLines(namesOf(want)), "", 0);
  // Replacing the first member keeps its place; the table is rebuilt.
  paths[0] = object("zeta", "int zeta_only(void) { return 9; }\n");
  r = z({"rs", "lib", "zeta.o"});
  all = members("lib.lib");
  want = expectedMap(paths, ordinaryMembers(all));
  EXPECT_EQ(symbolMap(all), want);
  EXPECT_RUN(r, building("lib.lib") + symbolLines(namesOf(want)), "", 0);
  // Deleting a member takes its symbols along and moves the others.
  r = z({"ds", "lib", "alpha.o"});
  all = members("lib.lib");
  want = expectedMap({paths[0], paths[2]}, ordinaryMembers(all));
  EXPECT_EQ(symbolMap(all), want);
  EXPECT_RUN(r, building("lib.lib") + symbolLines(namesOf(want)), "", 0);
}

TEST_F(Symbols, OffsetsPointAtHeadersInEveryLayout) {
  std::vector<std::string> files{"a_rather_long_object_name.o", "b.o", "notes_with_a_long_name.txt",
                                 "c.o", "exactly15char.o"};
  object("a_rather_long_object_name", "int la(void) { return 1; }\nint lb;\n", {"-fcommon"});
  object("b", "int bb = 5;\n");
  make(files[2], "odd-sized notes", kDate);
  object("c", "int cc(void) { return 2; }\n__attribute__((weak)) int cw;\n");
  object("exactly15char", "long x15 = 15;\n");
  struct Layout {
    std::string digit, nameTable;
    long uid;
  };
  for (const Layout& layout : {Layout{"", "//", 0}, Layout{"2", "//", 0},
                               Layout{"1", "<filenames>/", 1}, Layout{"0", "", 0}}) {
    SCOPED_TRACE("layout digit '" + layout.digit + "'");
    std::remove(dir.file("lib.lib").c_str());
    std::vector<std::string> args{"rqs" + layout.digit, "lib"};
    args.insert(args.end(), files.begin(), files.end());
    RunResult r = z(args);
    auto all = members("lib.lib");
    ASSERT_GE(all.size(), 2u);
    EXPECT_EQ(all[0].field, "/");
    EXPECT_EQ(all[0].header, 8u);
    uint64_t firstHeader = 8 + 60 + all[0].size;
    if (layout.nameTable.empty()) {
      EXPECT_NE(all[1].field, "//");
    } else {
      EXPECT_EQ(all[1].field, layout.nameTable);
      EXPECT_EQ(all[1].uid, layout.uid);
      firstHeader += 60 + even(all[1].size);
    }
    auto ordinary = ordinaryMembers(all);
    ASSERT_EQ(ordinary.size(), files.size());
    EXPECT_EQ(ordinary[0].header, firstHeader);
    std::vector<std::string> paths;
    std::vector<RawMember> withSymbols;
    for (size_t i = 0; i < files.size(); ++i) {
      EXPECT_EQ(ordinary[i].data, read(files[i])) << files[i];
      if (i == 2) continue;
      paths.push_back(dir.file(files[i]));
      withSymbols.push_back(ordinary[i]);
    }
    std::vector<MapEntry> want = expectedMap(paths, withSymbols);
    ASSERT_EQ(want.size(), 6u);
    EXPECT_EQ(symbolMap(all), want);
    // The exact size: 4 + sum of (name + 5), then a zero pad.
    uint64_t bytes = 4;
    for (const auto& e : want) bytes += e.name.size() + 5;
    EXPECT_EQ(all[0].size, even(bytes));
    EXPECT_TRUE(bytes % 2 == 0 || all[0].data.back() == '\0');
    EXPECT_RUN(r, symbolLines(namesOf(want)), "", 0);
  }
  // QvLongName writes its table even for short names only: two newlines
  // that the offsets must step over.
  std::remove(dir.file("lib.lib").c_str());
  EXPECT_EQ(z({"rqs1", "lib", "b.o", "c.o"}).status, 0);
  auto all = members("lib.lib");
  ASSERT_EQ(all.size(), 4u);
  EXPECT_EQ(all[1].field, "<filenames>/");
  EXPECT_EQ(all[1].data, "\n\n");
  EXPECT_EQ(all[2].header, 8 + 60 + all[0].size + 60 + 2);
  EXPECT_EQ(symbolMap(all), expectedMap({dir.file("b.o"), dir.file("c.o")}, ordinaryMembers(all)));
}

TEST_F(Symbols, ListingFollowsTheWriteAndIgnoresQuiet) {
  object("a", "int f(void) { return 1; }\n");
  // Something that only starts like an ELF file is not one.
  make("t.txt", "\x7f" "EL", kDate);
  EXPECT_RUN(z({"rsq", "lib", "a.o"}), symbolLines({"f"}), "", 0);
  EXPECT_RUN(z({"rq", "lib", "a.o"}), "", "", 0);
  EXPECT_RUN(z({"as", "lib", "t.txt"}), building("lib.lib") + symbolLines({"f"}), "", 0);
  EXPECT_RUN(z({"rvs", "lib", "a.o"}), "  ==>  replace 'a.o'\n" + building("lib.lib") + symbolLines({"f"}),
             "", 0);
  // No symbols left: nothing to list, and no symbol table.
  EXPECT_RUN(z({"dsq", "lib", "a.o"}), "", "", 0);
  EXPECT_EQ(read("lib.lib"), kMagic + member("t.txt/", kDate, "\x7f" "EL"));
  // Table and extract write nothing, so they list nothing.
  EXPECT_RUN(z({"ts", "lib"}), kListHead + listLine(3, "Tue Nov 14 22:13:20 2023", "t.txt"), "", 0);
}

TEST_F(Symbols, NamelessDefinitionsAreListedWithEmptyNames) {
  ElfImage image(readFile(object("nameless", "int keep = 1, none = 2, far = 3;\n")));
  uint32_t keep = image.symbolIndex("keep"), none = image.symbolIndex("none"),
           far = image.symbolIndex("far");
  image.setSymbol(none, "st_name", 0);         // no name
  image.setSymbol(far, "st_name", 0x7FFFFFF0);  // past the string table: no name either
  make("nameless.o", image.bytes(), kDate);
  // The three in table order, whatever it is.
  std::vector<std::pair<uint32_t, std::string>> order{{keep, "keep"}, {none, ""}, {far, ""}};
  std::sort(order.begin(), order.end());
  std::vector<std::string> names;
  for (const auto& [at, n] : order) names.push_back(n);
  EXPECT_RUN(z({"rs", "lib", "nameless.o"}), created("lib.lib") + symbolLines(names), "", 0);
  // 4 + (4 + 5) + 5 + 5 = 23, padded to 24.
  EXPECT_EQ(read("lib.lib"), kMagic + symbolTableMember(names, {92, 92, 92}) +
                                 member("nameless.o/", kDate, image.bytes()));
}

TEST_F(Symbols, OtherBindingsAndReservedSectionsAreLeftOut) {
  std::string unique = assemble("unique", ".data\n.globl u\n.type u, @gnu_unique_object\nu: .byte 1\n"
                                          ".globl plain\nplain: .byte 2\n");
  std::string o = object("o", "int keep1 = 1, lo_proc = 2, reserved = 3, os_binding = 4, keep2 = 5;\n");
  ElfImage image(readFile(o));
  const std::pair<const char*, std::pair<int, int>> patches[] = {
      {"lo_proc", {0x11, 0xFF00}},   // global object in SHN_LOPROC
      {"reserved", {0x11, 0xFFF3}},  // global object in a reserved index
      {"os_binding", {0xB1, 3}}};    // binding 11: an OS's own
  for (const auto& [name, values] : patches) {
    image.setSymbol(image.symbolIndex(name), "st_info", values.first);
    image.setSymbol(image.symbolIndex(name), "st_shndx", values.second);
  }
  writeFile(o, image.bytes());
  std::map<std::string, std::string> seen;
  for (const auto& sym : readelfSymbols({unique, o})) seen[sym.name] = sym.bind;
  ASSERT_EQ(seen["u"], "UNIQUE");
  ASSERT_EQ(seen["lo_proc"], "GLOBAL");
  ASSERT_EQ(seen["reserved"], "GLOBAL");
  ASSERT_EQ(seen["os_binding"], "<OS specific>: 11");

  RunResult r = z({"rsq", "lib", "unique.o", "o.o"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  std::vector<std::string> taken = printedSymbols(r.out);
  std::sort(taken.begin(), taken.end());
  EXPECT_EQ(taken, (std::vector<std::string>{"keep1", "keep2", "plain"}));

  // GNU ar takes three of these that zolt leaves out, for these reasons.
  if (!testutil::haveTool("ar")) GTEST_SKIP() << "GNU ar not installed, not compared";
  const std::map<std::string, std::string> gnuOnly{
      {"u", "STB_GNU_UNIQUE binding: GNU ar counts it as global"},
      {"lo_proc", "st_shndx 0xFF00 (SHN_LOPROC): GNU ar counts it as a definition"},
      {"reserved", "st_shndx 0xFFF3 (reserved): GNU ar counts it as a definition"}};
  ASSERT_EQ(testutil::run({"ar", "rcs", "gnu.a", "unique.o", "o.o"}, dir.path()).status, 0);
  std::vector<std::string> gnu;
  std::set<std::string> differing;
  for (const auto& e : symbolMap(members("gnu.a"))) {
    if (gnuOnly.count(e.name)) differing.insert(e.name);
    else gnu.push_back(e.name);
  }
  EXPECT_EQ(differing.size(), gnuOnly.size()) << "a named difference is gone";
  EXPECT_EQ(gnu, printedSymbols(r.out));
}

TEST_F(Symbols, SymtabOfWrongTypeEndsInInternalError) {
  object("good", "int f(void) { return 1; }\n");
  std::string bad = object("bad", "int b(void) { return 2; }\n");
  ElfImage image(readFile(bad));
  const uint32_t symtab = uint32_t(image.findSection(".symtab"));
  image.setSection(symtab, "sh_type", 1);
  writeFile(bad, image.bytes());
  const std::string report =
      "\nINTERNAL ERROR: " + testutil::zoltPath() + " experienced a segmentation fault\n\n";
  // With an old archive: it is back under its name, byte for byte.
  ASSERT_EQ(z({"rq", "lib", "good.o"}).status, 0);
  const std::string before = read("lib.lib");
  const std::vector<std::string> listing = listDir(dir.path());
  RunResult r = z({"r", "lib", "bad.o"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, building("lib.lib"));
  EXPECT_EQ(r.err.substr(0, report.size()), report);
  EXPECT_NE(r.err.find("Archiver"), std::string::npos);
  EXPECT_EQ(read("lib.lib"), before);
  EXPECT_EQ(listDir(dir.path()), listing);
  // Without one: nothing is left at all.
  r = z({"rs", "fresh", "good.o", "bad.o"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, created("fresh.lib"));
  EXPECT_EQ(r.err.substr(0, report.size()), report);
  EXPECT_EQ(listDir(dir.path()), listing);
  // Only the type decides: the same object with the type put back is fine.
  image.setSection(symtab, "sh_type", 2);
  writeFile(bad, image.bytes());
  EXPECT_RUN(z({"rs", "lib", "bad.o"}), building("lib.lib") + symbolLines({"f", "b"}), "", 0);
}

TEST_F(Symbols, MalformedObjectsDoNotSpoilTheArchive) {
  std::string a = object("a", "int f(void) { return 1; }\nint c2 = 2;\n");
  std::string last = object("z", "int zf(void) { return 3; }\n");
  const std::string good = readFile(a);
  const ElfImage base(good);
  // Deterministic noise after the magic.
  std::string noise = "\x7f" "ELF";
  uint32_t state = 12345;
  for (int i = 0; i < 4000; ++i) {
    state = state * 1103515245u + 12345u;
    noise += static_cast<char>(state >> 16);
  }
  // The image with header fields, or the symbol table's size, changed.
  auto patched = [&](const std::vector<std::pair<std::string, uint64_t>>& fields) {
    ElfImage image = base;
    for (const auto& [field, value] : fields) {
      if (field == "sh_size") image.setSection(uint32_t(image.findSection(".symtab")), field, value);
      else image.setHeader(field, value);
    }
    return image.bytes();
  };
  const std::pair<std::string, std::string> cases[] = {
      {"short.o", good.substr(0, 40)},
      {"truncated.o", good.substr(0, 200)},
      {"cut_in_symtab.o", good.substr(0, base.header("e_shoff") + 64 * 3)},
      {"noise.o", noise},
      {"noise32be.o", std::string("\x7f" "ELF\x01\x02\x01", 7) + std::string(600, '\xff')},
      // 65535 section headers claimed, the table starting 10 bytes before the end.
      {"many_sections.o", patched({{"e_shoff", good.size() - 10}, {"e_shnum", 0xFFFF}})},
      {"far_sections.o", patched({{"e_shoff", 0x7FFFFFFFFFFFFFF0ull}})},
      {"huge_entries.o", patched({{"e_shentsize", 0xFFFF}})},
      // A symbol table whose size claims billions of entries.
      {"huge_symtab.o", patched({{"sh_size", 0xFFFFFFFFFFF0ull}})},
  };
  for (const auto& [name, bytes] : cases) {
    SCOPED_TRACE(name);
    make(name, bytes, kDate);
    std::remove(dir.file("lib.lib").c_str());
    auto start = std::chrono::steady_clock::now();
    RunResult r = z({"rsq", "lib", "a.o", name, "z.o"});
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_EQ(r.status, 0) << r.err;
    auto all = members("lib.lib");
    auto ordinary = ordinaryMembers(all);
    ASSERT_EQ(ordinary.size(), 3u);
    EXPECT_EQ(ordinary[1].data, bytes);
    EXPECT_EQ(ordinary[2].data, readFile(last));
    // The good members' symbols are all there, pointing at them; whatever
    // the broken one yields sits between them.
    std::vector<MapEntry> map = symbolMap(all), others, kept;
    for (const auto& e : map) (e.offset == ordinary[1].header ? others : kept).push_back(e);
    EXPECT_EQ(kept, expectedMap({a, last}, {ordinary[0], ordinary[2]}));
    // Entries past the end of the bytes read as zeros, hence as locals:
    // a symbol table claiming billions of them still gives just a.o's.
    if (name == "huge_symtab.o") {
      EXPECT_EQ(others, expectedMap({a}, {ordinary[1]}));
    } else if (name != "huge_entries.o") {
      EXPECT_EQ(others, std::vector<MapEntry>{});
    }
    EXPECT_EQ(r.out, symbolLines(namesOf(map)));
    RunResult listed = z({"t", "lib"});
    EXPECT_EQ(listed.status, 0);
    EXPECT_NE(listed.out.find(name), std::string::npos);
    if (testutil::haveTool("ar")) {
      EXPECT_EQ(testutil::run({"ar", "t", "lib.lib"}, dir.path()).out, "a.o\n" + name + "\nz.o\n");
    }
    EXPECT_EQ(guidFiles(dir.path()), std::vector<std::string>{});
  }
}

}  // namespace
