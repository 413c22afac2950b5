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
using testutil::readFile;
using testutil::TempDir;

constexpr long kDate = 1700000000;

std::string be32(uint32_t v) {
  std::string s(4, '\0');
  for (int i = 0; i < 4; ++i) s[i] = static_cast<char>((v >> (24 - 8 * i)) & 0xFF);
  return s;
}

uint64_t even(uint64_t n) { return n + (n & 1); }

// Assembles `text` into dir/name.o with `compiler` (and extra flags).
std::string assemble(const std::string& dir, const std::string& name, const std::string& text,
                     const std::string& compiler = "gcc",
                     const std::vector<std::string>& flags = {}) {
  std::string src = dir + "/" + name + ".s", obj = dir + "/" + name + ".o";
  testutil::writeFile(src, text);
  std::vector<std::string> argv{compiler};
  argv.insert(argv.end(), flags.begin(), flags.end());
  argv.insert(argv.end(), {"-c", "-o", obj, src});
  testutil::RunResult r = testutil::run(argv);
  EXPECT_EQ(r.status, 0) << compiler << " failed: " << r.err;
  std::remove(src.c_str());
  return obj;
}

// Compiles C text into dir/name.o, leaves no source behind and gives the
// object a fixed date.
std::string object(const std::string& dir, const std::string& name, const std::string& source,
                   const std::vector<std::string>& flags = {}) {
  std::string obj = testutil::compileC(dir, name, source, "gcc", flags);
  std::remove((dir + "/" + name + ".c").c_str());
  testutil::setMtime(obj, kDate);
  return obj;
}

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

std::string symbolLines(const std::vector<std::string>& names) {
  std::string out;
  for (const auto& n : names) out += "  ==>  symbol defined: '" + n + "'\n";
  return out;
}

std::vector<std::string> printedSymbolsOf(const std::string& out) {
  std::vector<std::string> names;
  const std::string head = "  ==>  symbol defined: '";
  for (const auto& l : lines(out))
    if (l.rfind(head, 0) == 0) names.push_back(l.substr(head.size(), l.size() - head.size() - 1));
  return names;
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

TEST(Symbols, TextMembersGiveNoSymbolTable) {
  TempDir dir;
  makeFile(dir.file("a.txt"), "alpha\n", kDate);
  makeFile(dir.file("b.txt"), "odd", kDate + 1);
  // Something that only starts like an ELF file is not one.
  makeFile(dir.file("c.txt"), "\x7f" "EL", kDate + 2);
  RunResult r = zolt({"rs", "lib", "a.txt", "b.txt", "c.txt"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "  ==>  new archive 'lib.lib'\n  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(readFile(dir.file("lib.lib")), std::string(kMagic) + member("a.txt/", kDate, "alpha\n") +
                                               member("b.txt/", kDate + 1, "odd") +
                                               member("c.txt/", kDate + 2, "\x7f" "EL"));
  r = zolt({"rsq", "lib", "a.txt"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
}

TEST(Symbols, TakesGlobalWeakCommonAndAbsoluteDefinitionsOnly) {
  TempDir dir;
  std::string a = object(dir.path(), "a",
                         "static int __attribute__((noinline, used)) g(int x) { return x * 3; }\n"
                         "extern int h(int);\n"
                         "int f(int x) { return g(x) + h(x); }\n"
                         "__attribute__((weak)) int w(void) { return 7; }\n"
                         "int c;\n",
                         {"-fcommon"});
  std::string abs = assemble(dir.path(), "abs",
                             ".globl abs_sym\n.set abs_sym, 0x1234\n"
                             ".global equ_sym\n.equ equ_sym, 42\n"
                             "local_abs = 5\n");
  testutil::setMtime(abs, kDate + 1);

  // The objects hold what the test is about.
  std::map<std::string, std::pair<std::string, std::string>> seen;
  for (const auto& s : readelfSymbols({a, abs})) seen[s.name] = {s.bind, s.ndx};
  ASSERT_EQ(seen["g"].first, "LOCAL");
  ASSERT_EQ(seen["h"], std::make_pair(std::string("GLOBAL"), std::string("UND")));
  ASSERT_EQ(seen["f"].first, "GLOBAL");
  ASSERT_EQ(seen["w"].first, "WEAK");
  ASSERT_EQ(seen["c"], std::make_pair(std::string("GLOBAL"), std::string("COM")));
  ASSERT_EQ(seen["abs_sym"], std::make_pair(std::string("GLOBAL"), std::string("ABS")));
  ASSERT_EQ(seen["equ_sym"], std::make_pair(std::string("GLOBAL"), std::string("ABS")));
  ASSERT_EQ(seen["local_abs"], std::make_pair(std::string("LOCAL"), std::string("ABS")));

  std::vector<std::string> inA = readelfDefinitions(a);
  std::vector<std::string> sorted = inA;
  std::sort(sorted.begin(), sorted.end());
  ASSERT_EQ(sorted, (std::vector<std::string>{"c", "f", "w"}));
  ASSERT_EQ(readelfDefinitions(abs), (std::vector<std::string>{"abs_sym", "equ_sym"}));

  RunResult r = zolt({"rs", "lib", "a.o", "abs.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  std::vector<std::string> names = inA;
  names.insert(names.end(), {"abs_sym", "equ_sym"});
  EXPECT_EQ(r.out, "  ==>  new archive 'lib.lib'\n  ==>  building archive 'lib.lib'\n" +
                       symbolLines(names));

  std::string aBytes = readFile(a), absBytes = readFile(abs);
  uint64_t table = 0;
  for (const auto& n : names) table += n.size() + 5;
  uint32_t first = static_cast<uint32_t>(8 + 60 + even(table + 4));
  uint32_t second = static_cast<uint32_t>(first + 60 + even(aBytes.size()));
  std::string expected = std::string(kMagic) +
                         symbolTableMember(names, {first, first, first, second, second}) +
                         member("a.o/", kDate, aBytes) + member("abs.o/", kDate + 1, absBytes);
  EXPECT_EQ(readFile(dir.file("lib.lib")), expected);
}

TEST(Symbols, SymbolTableSizeIsPaddedToEven) {
  TempDir dir;
  std::string one = assemble(dir.path(), "one", ".globl f\n.data\nf: .byte 1\n");
  std::string two = assemble(dir.path(), "two", ".globl ab\n.data\nab: .byte 2\n");
  testutil::setMtime(one, kDate);
  testutil::setMtime(two, kDate);

  // "f": 4 + 4 + 2 = 10 bytes, even.
  RunResult r = zolt({"rq", "even", "one.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  std::string bytes = readFile(dir.file("even.lib"));
  std::string expected = std::string(kMagic) + header("/", 0, 0, 10) + be32(1) + be32(78) +
                         std::string("f\0", 2) + member("one.o/", kDate, readFile(one));
  EXPECT_EQ(bytes, expected);

  // "ab": 11 bytes, one zero byte added and counted: 12.
  r = zolt({"rq", "odd", "two.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  bytes = readFile(dir.file("odd.lib"));
  expected = std::string(kMagic) + header("/", 0, 0, 12) + be32(1) + be32(80) +
             std::string("ab\0\0", 4) + member("two.o/", kDate, readFile(two));
  EXPECT_EQ(bytes, expected);

  // Both: 4 + 2 * 4 + 2 + 3 = 17, padded to 18.
  r = zolt({"rq", "both", "one.o", "two.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  uint32_t second = static_cast<uint32_t>(86 + 60 + even(readFile(one).size()));
  expected = std::string(kMagic) + header("/", 0, 0, 18) + be32(2) + be32(86) + be32(second) +
             std::string("f\0ab\0\0", 6) + member("one.o/", kDate, readFile(one)) +
             member("two.o/", kDate, readFile(two));
  EXPECT_EQ(readFile(dir.file("both.lib")), expected);
}

TEST(Symbols, SameNameInTwoMembersGivesTwoEntries) {
  TempDir dir;
  std::string first = object(dir.path(), "first", "int f(void) { return 1; }\n");
  std::string second = object(dir.path(), "second",
                              "int f(void) { return 2; }\n"
                              "__attribute__((weak)) int g(void) { return 3; }\n");
  std::string third = object(dir.path(), "third", "int g(void) { return 4; }\n");
  RunResult r = zolt({"rs", "lib", "first.o", "second.o", "third.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  auto all = parseArchive(readFile(dir.file("lib.lib")));
  auto ordinary = ordinaryMembers(all);
  ASSERT_EQ(ordinary.size(), 3u);
  std::vector<MapEntry> want{{"f", uint32_t(ordinary[0].header)},
                             {"f", uint32_t(ordinary[1].header)},
                             {"g", uint32_t(ordinary[1].header)},
                             {"g", uint32_t(ordinary[2].header)}};
  // Within "second", f and g come in readelf's order.
  if (readelfDefinitions(second) == std::vector<std::string>{"g", "f"}) std::swap(want[1], want[2]);
  ASSERT_EQ(symbolMap(all), want);
  EXPECT_EQ(r.out, "  ==>  new archive 'lib.lib'\n  ==>  building archive 'lib.lib'\n" +
                       symbolLines(namesOf(want)));
}

TEST(Symbols, EmptyMembersContributeNothing) {
  TempDir dir;
  makeFile(dir.file("empty.o"), "", kDate);
  makeFile(dir.file("void.o"), "", kDate);
  std::string a = object(dir.path(), "a", "int f(void) { return 1; }\n");
  RunResult r = zolt({"rs", "lib", "empty.o", "a.o", "void.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out,
            "  ==>  new archive 'lib.lib'\n  ==>  building archive 'lib.lib'\n" + symbolLines({"f"}));
  std::string aBytes = readFile(a);
  std::string expected = std::string(kMagic) + symbolTableMember({"f"}, {10 + 8 + 60 + 60}) +
                         header("empty.o/", kDate, 0, 0) + member("a.o/", kDate, aBytes) +
                         header("void.o/", kDate, 0, 0);
  EXPECT_EQ(readFile(dir.file("lib.lib")), expected);

  // Rewritten from the old archive: the empty members' data positions are
  // the next header and the end of the file.
  makeFile(dir.file("t.txt"), "text", kDate);
  r = zolt({"rs", "lib", "t.txt"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "  ==>  building archive 'lib.lib'\n" + symbolLines({"f"}));
  EXPECT_EQ(readFile(dir.file("lib.lib")), expected + member("t.txt/", kDate, "text"));
  EXPECT_EQ(guidFiles(dir.path()), std::vector<std::string>{});
}

TEST(Symbols, MemberOrderThenSymbolTableOrder) {
  TempDir dir;
  std::vector<std::string> paths{
      object(dir.path(), "zeta",
             "int zz = 1;\nint za(void) { return zz; }\nint zm;\n"
             "__attribute__((weak)) int zw = 2;\nstatic int zs;\nint *zp(void) { return &zs; }\n",
             {"-fcommon"}),
      object(dir.path(), "alpha", "extern int za(void);\nint ab(void) { return za(); }\n"
                                  "const char aa[] = \"x\";\n__thread int at = 3;\n"),
      object(dir.path(), "mid", "static int hidden_helper;\n"
                                "__attribute__((visibility(\"hidden\"))) int mh = 4;\n"
                                "int mg(void) { return mh + hidden_helper; }\n")};
  RunResult r = zolt({"rs", "lib", "zeta.o", "alpha.o", "mid.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  auto all = parseArchive(readFile(dir.file("lib.lib")));
  std::vector<MapEntry> want = expectedMap(paths, ordinaryMembers(all));
  ASSERT_GE(want.size(), 10u);
  EXPECT_EQ(symbolMap(all), want);
  EXPECT_EQ(r.out, "  ==>  new archive 'lib.lib'\n  ==>  building archive 'lib.lib'\n" +
                       symbolLines(namesOf(want)));

  // Replacing the first member keeps its place; the table is rebuilt.
  paths[0] = object(dir.path(), "zeta", "int zeta_only(void) { return 9; }\n");
  r = zolt({"rs", "lib", "zeta.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  all = parseArchive(readFile(dir.file("lib.lib")));
  want = expectedMap(paths, ordinaryMembers(all));
  EXPECT_EQ(symbolMap(all), want);
  EXPECT_EQ(r.out, "  ==>  building archive 'lib.lib'\n" + symbolLines(namesOf(want)));

  // Deleting a member takes its symbols along and moves the others.
  r = zolt({"ds", "lib", "alpha.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  all = parseArchive(readFile(dir.file("lib.lib")));
  want = expectedMap({paths[0], paths[2]}, ordinaryMembers(all));
  EXPECT_EQ(symbolMap(all), want);
  EXPECT_EQ(r.out, "  ==>  building archive 'lib.lib'\n" + symbolLines(namesOf(want)));
}

TEST(Symbols, OffsetsPointAtHeadersInEveryLayout) {
  TempDir dir;
  std::vector<std::string> files{"a_rather_long_object_name.o", "b.o",
                                 "notes_with_a_long_name.txt", "c.o", "exactly15char.o"};
  object(dir.path(), "a_rather_long_object_name", "int la(void) { return 1; }\nint lb;\n",
         {"-fcommon"});
  object(dir.path(), "b", "int bb = 5;\n");
  makeFile(dir.file(files[2]), "odd-sized notes", kDate);
  object(dir.path(), "c", "int cc(void) { return 2; }\n__attribute__((weak)) int cw;\n");
  object(dir.path(), "exactly15char", "long x15 = 15;\n");
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
    RunResult r = zolt(args, dir.path());
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    auto all = parseArchive(readFile(dir.file("lib.lib")));
    ASSERT_GE(all.size(), 2u);
    EXPECT_EQ(all[0].field, "/");
    EXPECT_EQ(all[0].header, 8u);
    EXPECT_EQ(all[0].size % 2, 0u);
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
    for (size_t i = 0; i < files.size(); ++i)
      EXPECT_EQ(ordinary[i].data, readFile(dir.file(files[i]))) << files[i];
    std::vector<std::string> paths;
    std::vector<RawMember> withSymbols;
    for (size_t i = 0; i < files.size(); ++i) {
      if (i == 2) continue;
      paths.push_back(dir.file(files[i]));
      withSymbols.push_back(ordinary[i]);
    }
    std::vector<MapEntry> want = expectedMap(paths, withSymbols);
    ASSERT_EQ(want.size(), 6u);
    EXPECT_EQ(symbolMap(all), want);
    // The exact size: 4 + sum of (name + 5), then the pad.
    uint64_t bytes = 4;
    for (const auto& e : want) bytes += e.name.size() + 5;
    EXPECT_EQ(all[0].size, even(bytes));
    if (bytes % 2) {
      EXPECT_EQ(all[0].data.back(), '\0');
    }
    EXPECT_EQ(r.out, symbolLines(namesOf(want)));
  }

  // QvLongName writes its table even for short names only: two newlines
  // that the offsets must step over.
  std::remove(dir.file("lib.lib").c_str());
  RunResult r = zolt({"rqs1", "lib", "b.o", "c.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  auto all = parseArchive(readFile(dir.file("lib.lib")));
  ASSERT_EQ(all.size(), 4u);
  EXPECT_EQ(all[1].field, "<filenames>/");
  EXPECT_EQ(all[1].data, "\n\n");
  EXPECT_EQ(all[2].header, 8 + 60 + all[0].size + 60 + 2);
  EXPECT_EQ(symbolMap(all),
            expectedMap({dir.file("b.o"), dir.file("c.o")}, ordinaryMembers(all)));
}

TEST(Symbols, ListingFollowsTheWriteAndIgnoresQuiet) {
  TempDir dir;
  object(dir.path(), "a", "int f(void) { return 1; }\n");
  makeFile(dir.file("t.txt"), "text", kDate);
  RunResult r = zolt({"rsq", "lib", "a.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, symbolLines({"f"}));
  r = zolt({"rq", "lib", "a.o"}, dir.path());
  EXPECT_EQ(r.out, "");
  r = zolt({"as", "lib", "t.txt"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  building archive 'lib.lib'\n" + symbolLines({"f"}));
  r = zolt({"rvs", "lib", "a.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  replace 'a.o'\n  ==>  building archive 'lib.lib'\n" +
                       symbolLines({"f"}));
  r = zolt({"dsq", "lib", "a.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");  // no symbols left, nothing to list
  EXPECT_EQ(readFile(dir.file("lib.lib")), std::string(kMagic) + member("t.txt/", kDate, "text"));
  // Table and extract write nothing, so they list nothing.
  r = zolt({"ts", "lib"}, dir.path());
  EXPECT_EQ(r.out.find("symbol defined"), std::string::npos);
  EXPECT_EQ(r.status, 0);
}

// Sets the sh_type of the section called `name` in a little-endian ELF64
// object.
std::string patchSectionType(std::string elf, const std::string& name, uint32_t type) {
  auto u16 = [&](size_t at) { return uint16_t(uint8_t(elf[at]) | uint8_t(elf[at + 1]) << 8); };
  auto u32 = [&](size_t at) { return uint32_t(u16(at)) | uint32_t(u16(at + 2)) << 16; };
  auto u64 = [&](size_t at) { return uint64_t(u32(at)) | uint64_t(u32(at + 4)) << 32; };
  EXPECT_EQ(elf.substr(0, 6), "\x7f" "ELF\x02\x01");
  uint64_t shoff = u64(0x28);
  uint16_t shentsize = u16(0x3A), shnum = u16(0x3C), shstrndx = u16(0x3E);
  uint64_t strings = u64(shoff + uint64_t(shstrndx) * shentsize + 0x18);
  for (uint16_t i = 0; i < shnum; ++i) {
    size_t at = shoff + uint64_t(i) * shentsize;
    if (std::string(elf.c_str() + strings + u32(at)) != name) continue;
    for (int b = 0; b < 4; ++b) elf[at + 4 + b] = static_cast<char>((type >> (8 * b)) & 0xFF);
    return elf;
  }
  ADD_FAILURE() << "no section " << name;
  return elf;
}

// The file offset of the ".symtab" entry of symbol `name` in a
// little-endian ELF64 object; 0 when there is none.
size_t symbolEntry(const std::string& elf, const std::string& name) {
  auto u16 = [&](size_t at) { return uint16_t(uint8_t(elf[at]) | uint8_t(elf[at + 1]) << 8); };
  auto u32 = [&](size_t at) { return uint32_t(u16(at)) | uint32_t(u16(at + 2)) << 16; };
  auto u64 = [&](size_t at) { return uint64_t(u32(at)) | uint64_t(u32(at + 4)) << 32; };
  uint64_t shoff = u64(0x28);
  uint16_t shentsize = u16(0x3A), shnum = u16(0x3C);
  for (uint16_t i = 0; i < shnum; ++i) {
    size_t sh = shoff + uint64_t(i) * shentsize;
    if (u32(sh + 4) != 2) continue;  // SHT_SYMTAB
    size_t strings = u64(shoff + uint64_t(u32(sh + 0x28)) * shentsize + 0x18);
    for (uint64_t at = u64(sh + 0x18); at < u64(sh + 0x18) + u64(sh + 0x20); at += 24)
      if (strings + u32(at) < elf.size() && std::string(elf.c_str() + strings + u32(at)) == name)
        return at;
  }
  ADD_FAILURE() << "no symbol " << name;
  return 0;
}

void putLittle(std::string& bytes, size_t at, uint64_t value, int width) {
  for (int b = 0; b < width; ++b) bytes[at + b] = static_cast<char>((value >> (8 * b)) & 0xFF);
}

// Rewrites st_info and st_shndx of the symbol `name`.
std::string patchSymbol(std::string elf, const std::string& name, uint8_t info, uint16_t shndx) {
  size_t at = symbolEntry(elf, name);
  if (at == 0) return elf;
  putLittle(elf, at + 4, info, 1);
  putLittle(elf, at + 6, shndx, 2);
  return elf;
}

TEST(Symbols, NamelessDefinitionsAreListedWithEmptyNames) {
  TempDir dir;
  std::string o = object(dir.path(), "nameless", "int keep = 1, none = 2, far = 3;\n");
  std::string bytes = readFile(o);
  size_t keep = symbolEntry(bytes, "keep"), none = symbolEntry(bytes, "none"),
         far = symbolEntry(bytes, "far");
  ASSERT_TRUE(keep && none && far);
  putLittle(bytes, none, 0, 4);           // st_name 0: no name
  putLittle(bytes, far, 0x7FFFFFF0, 4);   // past the string table: no name either
  testutil::writeFile(o, bytes);
  testutil::setMtime(o, kDate);
  RunResult r = zolt({"rs", "lib", "nameless.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  // The three in table order, whatever it is.
  std::vector<std::pair<size_t, std::string>> order{{keep, "keep"},
                                                    {none, ""}, {far, ""}};
  std::sort(order.begin(), order.end());
  std::vector<std::string> names;
  for (const auto& [at, n] : order) names.push_back(n);
  EXPECT_EQ(r.out, "  ==>  new archive 'lib.lib'\n  ==>  building archive 'lib.lib'\n" +
                       symbolLines(names));
  // 4 + (4 + 5) + 5 + 5 = 23, padded to 24.
  EXPECT_EQ(readFile(dir.file("lib.lib")),
            std::string(kMagic) + symbolTableMember(names, {92, 92, 92}) +
                member("nameless.o/", kDate, bytes));
}

TEST(Symbols, OtherBindingsAndReservedSectionsAreLeftOut) {
  TempDir dir;
  std::string unique = assemble(dir.path(), "unique",
                                ".data\n.globl u\n.type u, @gnu_unique_object\nu: .byte 1\n"
                                ".globl plain\nplain: .byte 2\n");
  std::string o = object(dir.path(), "o",
                         "int keep1 = 1, lo_proc = 2, reserved = 3, os_binding = 4, keep2 = 5;\n");
  std::string bytes = readFile(o);
  bytes = patchSymbol(bytes, "lo_proc", 0x11, 0xFF00);   // global object in SHN_LOPROC
  bytes = patchSymbol(bytes, "reserved", 0x11, 0xFFF3);  // global object in a reserved index
  bytes = patchSymbol(bytes, "os_binding", 0xB1, 3);     // binding 11: an OS's own
  testutil::writeFile(o, bytes);
  std::map<std::string, ElfSymbol> seen;
  for (const auto& sym : readelfSymbols({unique, o})) seen[sym.name] = sym;
  ASSERT_EQ(seen["u"].bind, "UNIQUE");
  ASSERT_EQ(seen["plain"].bind, "GLOBAL");
  ASSERT_EQ(seen["lo_proc"].bind, "GLOBAL");
  ASSERT_EQ(seen["reserved"].bind, "GLOBAL");
  ASSERT_EQ(seen["os_binding"].bind, "<OS specific>: 11");
  ASSERT_EQ(seen["keep2"].bind, "GLOBAL");

  RunResult r = zolt({"rsq", "lib", "unique.o", "o.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  std::vector<std::string> taken = printedSymbolsOf(r.out);
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
  for (const auto& e : symbolMap(parseArchive(readFile(dir.file("gnu.a")))))
    if (gnuOnly.count(e.name)) {
      differing.insert(e.name);
    } else {
      gnu.push_back(e.name);
    }
  EXPECT_EQ(differing.size(), gnuOnly.size()) << "a named difference is gone";
  EXPECT_EQ(gnu, printedSymbolsOf(r.out));
}

TEST(Symbols, SymtabOfWrongTypeEndsInInternalError) {
  TempDir dir;
  std::string good = object(dir.path(), "good", "int f(void) { return 1; }\n");
  std::string bad = object(dir.path(), "bad", "int b(void) { return 2; }\n");
  testutil::writeFile(bad, patchSectionType(readFile(bad), ".symtab", 1));
  std::string report = "\nINTERNAL ERROR: " + testutil::zoltPath() +
                       " experienced a segmentation fault\n\n";

  // With an old archive: it is back under its name, byte for byte.
  ASSERT_EQ(zolt({"rq", "lib", "good.o"}, dir.path()).status, 0);
  std::string before = readFile(dir.file("lib.lib"));
  std::vector<std::string> listing = testutil::listDir(dir.path());
  RunResult r = zolt({"r", "lib", "bad.o"}, dir.path());
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, "  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.err.substr(0, report.size()), report);
  EXPECT_NE(r.err.find("Archiver"), std::string::npos);
  EXPECT_EQ(readFile(dir.file("lib.lib")), before);
  EXPECT_EQ(testutil::listDir(dir.path()), listing);
  EXPECT_EQ(guidFiles(dir.path()), std::vector<std::string>{});

  // Without one: nothing is left at all.
  r = zolt({"rs", "fresh", "good.o", "bad.o"}, dir.path());
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, "  ==>  new archive 'fresh.lib'\n  ==>  building archive 'fresh.lib'\n");
  EXPECT_EQ(r.err.substr(0, report.size()), report);
  EXPECT_EQ(testutil::listDir(dir.path()), listing);

  // Only the type decides: the same object with the type put back is fine.
  testutil::writeFile(bad, patchSectionType(readFile(bad), ".symtab", 2));
  r = zolt({"rs", "lib", "bad.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "  ==>  building archive 'lib.lib'\n" + symbolLines({"f", "b"}));
}

TEST(Symbols, ObjectsOfEveryClassAndByteOrder) {
  if (!testutil::haveTool("clang")) GTEST_SKIP() << "clang not installed";
  TempDir dir;
  const std::string source =
      "static int __attribute__((noinline, used)) g(int x) { return x * 3; }\n"
      "extern int h(int);\n"
      "int f(int x) { return g(x) + h(x); }\n"
      "__attribute__((weak)) int w(void) { return 7; }\n"
      "int c;\n__thread int tv = 1;\nconst char ro[] = \"ro\";\n";
  const std::string absText = ".globl abs_sym\n.set abs_sym, 0x1234\nlocal_abs = 5\n";
  std::vector<std::string> files;
  std::vector<std::string> targets{"mips-linux-gnu", "powerpc64-linux-gnu",
                                   "armv7-linux-gnueabihf", "i386-linux-gnu"};
  for (const auto& t : targets) {
    std::string probe = dir.file("probe.c");
    testutil::writeFile(probe, "int x;\n");
    RunResult p = testutil::run({"clang", "--target=" + t, "-c", "-o", dir.file("probe.o"), probe});
    if (p.status != 0) GTEST_SKIP() << "clang cannot compile for " << t << ": " << p.err;
    std::string stem = "obj_" + t;
    testutil::compileC(dir.path(), stem, source, "clang", {"--target=" + t, "-fcommon"});
    assemble(dir.path(), "abs_" + t, absText, "clang", {"--target=" + t});
    files.push_back(stem + ".o");
    files.push_back("abs_" + t + ".o");
  }
  std::remove(dir.file("probe.c").c_str());
  object(dir.path(), "host", source, {"-fcommon"});
  files.push_back("host.o");
  // The machines really differ.
  RunResult classes = testutil::shell("readelf -h obj_*.o host.o | grep -E 'Class|Data' | sort -u",
                                      dir.path());
  EXPECT_NE(classes.out.find("ELF32"), std::string::npos);
  EXPECT_NE(classes.out.find("ELF64"), std::string::npos);
  EXPECT_NE(classes.out.find("big endian"), std::string::npos);
  EXPECT_NE(classes.out.find("little endian"), std::string::npos);

  std::vector<std::string> args{"rs", "mixed"};
  args.insert(args.end(), files.begin(), files.end());
  RunResult r = zolt(args, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  auto all = parseArchive(readFile(dir.file("mixed.lib")));
  auto ordinary = ordinaryMembers(all);
  ASSERT_EQ(ordinary.size(), files.size());
  std::vector<std::string> paths;
  for (const auto& f : files) paths.push_back(dir.file(f));
  std::vector<MapEntry> want = expectedMap(paths, ordinary);
  // Every object offers f, w, c, tv and ro; every assembly abs_sym.
  ASSERT_EQ(want.size(), 5 * (targets.size() + 1) + targets.size());
  EXPECT_EQ(symbolMap(all), want);
  EXPECT_EQ(r.out, "  ==>  new archive 'mixed.lib'\n  ==>  building archive 'mixed.lib'\n" +
                       symbolLines(namesOf(want)));
}

TEST(Symbols, ObjectWithMoreThan65279Sections) {
  // More sections than e_shnum holds: the count is in section 0's sh_size,
  // the name table index in its sh_link, and the symbols of the last
  // sections carry SHN_XINDEX.
  TempDir dir;
  const int kSections = 65400;
  std::string text;
  for (int i = 0; i < kSections; ++i) {
    std::string n = std::to_string(i);
    text += ".section .t" + n + ",\"ax\"\n.globl f" + n + "\nf" + n + ": ret\nl" + n + ": ret\n";
  }
  text += ".section .t9,\"ax\"\n.weak last\nlast: ret\n";
  std::string many = assemble(dir.path(), "many", text);
  RunResult header = testutil::run({"readelf", "-hW", many});
  ASSERT_NE(header.out.find("Number of section headers:         0 ("), std::string::npos)
      << header.out;
  ASSERT_NE(header.out.find("Section header string table index: 65535 ("), std::string::npos);
  std::string small = assemble(dir.path(), "small", ".globl after\n.data\nafter: .byte 1\n");

  RunResult r = zolt({"rsq", "lib", "many.o", "small.o"}, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  auto all = parseArchive(readFile(dir.file("lib.lib")));
  auto ordinary = ordinaryMembers(all);
  ASSERT_EQ(ordinary.size(), 2u);
  std::vector<MapEntry> want;
  for (int i = 0; i < kSections; ++i)
    want.push_back({"f" + std::to_string(i), uint32_t(ordinary[0].header)});
  want.push_back({"last", uint32_t(ordinary[0].header)});
  want.push_back({"after", uint32_t(ordinary[1].header)});
  std::vector<MapEntry> map = symbolMap(all);
  EXPECT_EQ(map.size(), want.size());
  EXPECT_TRUE(map == want);  // not printed: 65 thousand entries
  EXPECT_TRUE(map == expectedMap({many, small}, ordinary));
}

// An object whose header claims more than its bytes hold.
std::string withHeaderField(std::string elf, size_t at, uint64_t value, int width) {
  for (int b = 0; b < width; ++b) elf[at + b] = static_cast<char>((value >> (8 * b)) & 0xFF);
  return elf;
}

TEST(Symbols, MalformedObjectsDoNotSpoilTheArchive) {
  TempDir dir;
  std::string a = object(dir.path(), "a", "int f(void) { return 1; }\nint c2 = 2;\n");
  std::string z = object(dir.path(), "z", "int zf(void) { return 3; }\n");
  std::string good = readFile(a);
  uint64_t shoff = 0;
  for (int b = 7; b >= 0; --b) shoff = shoff << 8 | uint8_t(good[0x28 + b]);

  // Deterministic noise after the magic.
  std::string noise = "\x7f" "ELF";
  uint32_t state = 12345;
  for (int i = 0; i < 4000; ++i) {
    state = state * 1103515245u + 12345u;
    noise += static_cast<char>(state >> 16);
  }
  std::string noise32 = std::string("\x7f" "ELF\x01\x02\x01", 7) + std::string(600, '\xff');

  struct Case {
    std::string name, bytes;
  };
  std::vector<Case> cases{
      {"short.o", good.substr(0, 40)},
      {"truncated.o", good.substr(0, 200)},
      {"cut_in_symtab.o", good.substr(0, shoff + 64 * 3)},
      {"noise.o", noise},
      {"noise32be.o", noise32},
      // 65535 section headers claimed, the table starting 10 bytes before the end.
      {"many_sections.o",
       withHeaderField(withHeaderField(good, 0x28, good.size() - 10, 8), 0x3C, 0xFFFF, 2)},
      {"far_sections.o", withHeaderField(good, 0x28, 0x7FFFFFFFFFFFFFF0ull, 8)},
      {"huge_entries.o", withHeaderField(good, 0x3A, 0xFFFF, 2)},
  };
  // A symbol table whose size claims billions of entries.
  {
    std::string big = good;
    uint16_t shnum = uint16_t(uint8_t(big[0x3C]) | uint8_t(big[0x3D]) << 8);
    for (uint16_t i = 0; i < shnum; ++i) {
      size_t at = shoff + 64ull * i;
      if (big[at + 4] == 2 && big[at + 5] == 0 && big[at + 6] == 0 && big[at + 7] == 0)
        big = withHeaderField(big, at + 0x20, 0xFFFFFFFFFFF0ull, 8);
    }
    ASSERT_NE(big, good);
    cases.push_back({"huge_symtab.o", big});
  }
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    makeFile(dir.file(c.name), c.bytes, kDate);
    std::remove(dir.file("lib.lib").c_str());
    auto start = std::chrono::steady_clock::now();
    RunResult r = zolt({"rsq", "lib", "a.o", c.name, "z.o"}, dir.path());
    double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_LT(seconds, 10.0);
    EXPECT_EQ(r.status, 0) << r.err;
    auto all = parseArchive(readFile(dir.file("lib.lib")));
    auto ordinary = ordinaryMembers(all);
    ASSERT_EQ(ordinary.size(), 3u);
    EXPECT_EQ(ordinary[1].data, c.bytes);
    EXPECT_EQ(ordinary[2].data, readFile(z));
    // The good members' symbols are all there, pointing at them; whatever
    // the broken one yields sits between them.
    std::vector<MapEntry> map = symbolMap(all);
    std::vector<MapEntry> want = expectedMap({a, z}, {ordinary[0], ordinary[2]});
    std::vector<MapEntry> others;
    std::vector<MapEntry> kept;
    for (const auto& e : map) (e.offset == ordinary[1].header ? others : kept).push_back(e);
    EXPECT_EQ(kept, want);
    // Entries past the end of the bytes read as zeros, hence as locals:
    // a symbol table claiming billions of them still gives just a.o's.
    if (c.name == "huge_symtab.o") {
      EXPECT_EQ(others, expectedMap({a}, {ordinary[1]}));
    } else if (c.name != "huge_entries.o") {
      EXPECT_EQ(others, std::vector<MapEntry>{});
    }
    EXPECT_EQ(r.out, symbolLines(namesOf(map)));
    RunResult listed = zolt({"t", "lib"}, dir.path());
    EXPECT_EQ(listed.status, 0);
    EXPECT_NE(listed.out.find(c.name), std::string::npos);
    if (testutil::haveTool("ar")) {
      listed = testutil::run({"ar", "t", "lib.lib"}, dir.path());
      EXPECT_EQ(listed.out, "a.o\n" + c.name + "\nz.o\n");
    }
    EXPECT_EQ(guidFiles(dir.path()), std::vector<std::string>{});
  }
}

}  // namespace
