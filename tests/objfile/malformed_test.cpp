// Hand-patched copies of compiled objects: unusual but valid numbering,
// reserved values, and headers that claim far more than the file holds.
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>

#include <gtest/gtest.h>

#include "common/test_util.h"
#include "objfile/section_table.h"
#include "objfile/string_table.h"
#include "objfile_helpers.h"

using namespace objtest;

namespace {

// Runs `check` on each of one little-endian ELF64 and one big-endian ELF32
// object: its target, its image, and readelf's view of its symbols.
template <typename Check> void forEachFlavour(const testutil::TempDir& dir, Check check) {
  for (const Target& t : targets()) {
    if (t.name != "host-gcc" && t.name != "mips") continue;
    SCOPED_TRACE(t.name);
    std::string path = compileFor(dir.path(), t, kVariedSource);
    if (!path.empty()) check(t, ElfImage(testutil::readFile(path)), readelfSymbols(path));
  }
}

std::vector<SymbolRow> symbolsOfImage(const testutil::TempDir& dir, ElfImage& image) {
  testutil::writeFile(dir.file("patched.o"), image.bytes());
  OpenedObject object(dir.file("patched.o"));
  EXPECT_NE(object.get(), nullptr);
  return object.get() ? librarySymbols(object.get()) : std::vector<SymbolRow>{};
}

}  // namespace

TEST(Malformed, ValidVariantsOfNumberingReadTheSameSymbols) {
  testutil::TempDir dir;
  forEachFlavour(dir, [&](const Target&, const ElfImage& image, const std::vector<SymbolRow>& original) {
    const uint64_t shnum = image.header("e_shnum");
    // Extended numbering: the count lives in section 0's sh_size.
    ElfImage extended = image;
    extended.setHeader("e_shnum", 0);
    extended.setSection(0, "sh_size", shnum);
    EXPECT_EQ(symbolsOfImage(dir, extended), original);
    // The name table index in section 0's sh_link.
    ElfImage xnames = image;
    xnames.setHeader("e_shstrndx", 0xFFFF);
    xnames.setSection(0, "sh_link", image.header("e_shstrndx"));
    EXPECT_EQ(symbolsOfImage(dir, xnames), original);
    // sh_entsize 0 takes the class's entry size; a partial trailing entry
    // is ignored.
    ElfImage entsize = image;
    uint32_t symtab = uint32_t(entsize.findSection(".symtab"));
    uint64_t size = entsize.section(symtab, "sh_size");
    uint64_t entry = entsize.section(symtab, "sh_entsize");
    entsize.setSection(symtab, "sh_entsize", 0);
    entsize.setSection(symtab, "sh_size", size + entry / 2);
    EXPECT_EQ(symbolsOfImage(dir, entsize), original);
    // A wider header stride: only the standard-size prefix of each entry counts.
    ElfImage wide = image;
    const uint64_t stride = wide.header("e_shentsize");
    std::string table = wide.bytes().substr(wide.header("e_shoff"), shnum * stride);
    std::string spread;
    for (uint64_t i = 0; i < shnum; ++i) spread += table.substr(i * stride, stride) + std::string(8, '\x5a');
    wide.setHeader("e_shoff", wide.bytes().size());
    wide.setHeader("e_shentsize", stride + 8);
    wide.bytes() += spread;
    EXPECT_EQ(symbolsOfImage(dir, wide), original);
  });
}

TEST(Malformed, MissingNameTableMeansNoSymbolTable) {
  testutil::TempDir dir;
  forEachFlavour(dir, [&](const Target& target, ElfImage image, const std::vector<SymbolRow>&) {
    const uint32_t shnum = uint32_t(image.header("e_shnum"));
    image.setHeader("e_shstrndx", 0);
    testutil::writeFile(dir.file("nonames.o"), image.bytes());
    OpenedObject object(dir.file("nonames.o"));
    OFE::ELF_SECTION_TABLE* table = object.elf()->get_elf_section_table();
    // Without names ".symtab" is not found: an empty one is added in memory.
    OFE::OF_SYMBOL_TABLE* symbols = object.get()->get_symbol_table();
    ASSERT_NE(symbols, nullptr);
    EXPECT_EQ(symbols->get_num_symbols(), 0u);
    EXPECT_EQ(symbols->get_symbol(0), nullptr);
    ASSERT_EQ(table->get_num_sections(), shnum + 1);
    OFE::ELF_SECTION* added = table->get_section(shnum);
    EXPECT_STREQ(added->get_name(), ".symtab");
    EXPECT_EQ(added->get_sh_type(), 2u);
    EXPECT_EQ(added->get_sh_entsize(), target.elf_class == 1 ? 16u : 24u);
    EXPECT_STREQ(table->get_section(1)->get_name(), "");
    // The second call fetches the same section by its remembered index.
    EXPECT_EQ(object.get()->get_symbol_table(), symbols);
    EXPECT_EQ(table->get_num_sections(), shnum + 1);
    // Asking for the name table adds ".shstrtab" and makes it the table.
    OFE::ELF_STRING_TABLE* names = table->get_section_name_table();
    ASSERT_NE(names, nullptr);
    EXPECT_STREQ(names->get_name(), ".shstrtab");
    EXPECT_EQ(object.elf()->get_e_shstrndx(), shnum + 1);
    EXPECT_EQ(table->get_section_name_table(), names);
  });
}

TEST(Malformed, ReservedIndicesAndBindingsGiveTheDocumentedKinds) {
  testutil::TempDir dir;
  forEachFlavour(dir, [&](const Target&, ElfImage image, const std::vector<SymbolRow>& original) {
    const uint32_t global = image.symbolIndex("defined_global");
    const uint32_t function = image.symbolIndex("global_function");
    const uint32_t weak = image.symbolIndex("weak_function");
    const uint32_t common = image.symbolIndex("common_block");
    const uint32_t local = image.symbolIndex("local_counter");
    image.setSymbol(global, "st_shndx", 0xFF00);
    image.setSymbol(function, "st_shndx", 0xFFF3);
    image.setSymbol(weak, "st_shndx", 0xFFF2);  // weak and common
    image.setSymbol(common, "st_info", 0x31);   // binding 3: above weak
    image.setSymbol(local, "st_info", 0xF7);    // binding 15, type 7
    std::vector<SymbolRow> rows = symbolsOfImage(dir, image);
    ASSERT_EQ(rows.size(), original.size());
    EXPECT_EQ(rows[global].kind, 0);
    EXPECT_EQ(rows[function].kind, 0);
    EXPECT_EQ(rows[weak].kind, 4);
    EXPECT_EQ(rows[weak].binding, 3);
    EXPECT_EQ(rows[common].binding, 0);
    EXPECT_EQ(rows[common].type, 1);
    EXPECT_EQ(rows[local].binding, 0);
    EXPECT_EQ(rows[local].type, 0);
    EXPECT_EQ(rows[0], (SymbolRow{"", 1, 1, 0}));
  });
}

TEST(Malformed, ExtendedSectionIndicesComeFromTheShndxSection) {
  testutil::TempDir dir;
  forEachFlavour(dir, [&](const Target& target, ElfImage image, const std::vector<SymbolRow>& original) {
    const uint32_t shnum = uint32_t(image.header("e_shnum"));
    const uint32_t symtab = uint32_t(image.findSection(".symtab"));
    const uint32_t global = image.symbolIndex("defined_global");
    const uint32_t function = image.symbolIndex("global_function");
    image.setSymbol(global, "st_shndx", 0xFFFF);
    image.setSymbol(function, "st_shndx", 0xFFFF);
    if (target.name == "host-gcc") {
      // No extended-index section at all: one is added in memory, and the
      // symbols read section 0.
      ElfImage none = image;
      none.setHeader("e_shnum", 0);
      none.setSection(0, "sh_size", 0x10000);
      testutil::writeFile(dir.file("noshndx.o"), none.bytes());
      OpenedObject object(dir.file("noshndx.o"));
      auto* g = static_cast<OFE::ELF_SYMBOL*>(object.get()->get_symbol_table()->get_symbol(global));
      EXPECT_EQ(g->get_kind(), 2);
      EXPECT_EQ(g->get_section_id(), 0u);
      OFE::ELF_SECTION_TABLE* table = object.elf()->get_elf_section_table();
      ASSERT_EQ(table->get_num_sections(), 0x10001u);
      EXPECT_STREQ(table->get_section(0x10000)->get_name(), ".symtab_shndx");
      EXPECT_EQ(table->get_section(0x10000)->get_sh_type(), 18u);
      EXPECT_EQ(table->get_section(0x10000)->get_sh_link(), symtab);
    }
    // Turn ".comment" into the extended-index section, its words at the end.
    const uint32_t comment = uint32_t(image.findSection(".comment"));
    const size_t words = image.bytes().size();
    image.bytes() += std::string(4 * original.size(), '\0');
    image.put(words + 4 * global, 4, 0x12345);
    image.setSection(comment, "sh_type", 18);
    image.setSection(comment, "sh_link", symtab);
    image.setSection(comment, "sh_offset", words);
    image.setSection(comment, "sh_size", 4 * original.size());
    // 0xFF00 sections, by extended numbering; the ones past the file's end
    // read as null sections with empty names.
    image.setHeader("e_shnum", 0);
    image.setSection(0, "sh_size", 0xFF00);
    testutil::writeFile(dir.file("xindex.o"), image.bytes());
    OpenedObject object(dir.file("xindex.o"));
    OFE::OF_SYMBOL_TABLE* symbols = object.get()->get_symbol_table();
    ASSERT_NE(symbols, nullptr);
    auto* g = static_cast<OFE::ELF_SYMBOL*>(symbols->get_symbol(global));
    auto* f = static_cast<OFE::ELF_SYMBOL*>(symbols->get_symbol(function));
    EXPECT_EQ(g->get_kind(), 2);
    EXPECT_EQ(g->get_section_id(), 0x12345u);
    EXPECT_EQ(f->get_kind(), 2);
    EXPECT_EQ(f->get_section_id(), 0u);
    EXPECT_TRUE(g->is_section_relative_index());
    OFE::ELF_SECTION_TABLE* table = object.elf()->get_elf_section_table();
    EXPECT_EQ(table->get_num_sections(), 0xFF00u);
    EXPECT_EQ(table->get_section(shnum + 5)->get_sh_type(), 0u);
    EXPECT_STREQ(table->get_section(0xFEFF)->get_name(), "");
    EXPECT_EQ(table->find_section("", shnum + 1), table->get_section(shnum + 1));
  });
}

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

// Runs `body` in a child whose address space may grow by at most `extra`
// bytes (unless a sanitizer reserves its own); true when it returned true.
template <typename Body> bool inLimitedChild(size_t extra, Body body) {
  testutil::Child child = testutil::forkChild([&] {
    if (!kSanitized) {
      std::ifstream statm("/proc/self/statm");
      size_t pages = 0;
      statm >> pages;
      rlimit limit;
      limit.rlim_cur = limit.rlim_max = pages * size_t(sysconf(_SC_PAGESIZE)) + extra;
      setrlimit(RLIMIT_AS, &limit);
    }
    _exit(body() ? 0 : 1);
  });
  return testutil::finish(child).status == 0;
}

}  // namespace

TEST(Malformed, HugeCountsCostOnlyTheBytesPresent) {
  testutil::TempDir dir;
  forEachFlavour(dir, [&](const Target&, const ElfImage& base, const std::vector<SymbolRow>& original) {
    ElfImage image = base;
    const uint32_t symtab = uint32_t(image.findSection(".symtab"));
    // Four billion sections, and a symbol table that runs to the end of
    // the address range.
    image.setHeader("e_shnum", 0);
    image.setSection(0, "sh_size", 0xFFFFFFFF);
    image.setSection(symtab, "sh_size", image.is64() ? 0xFFFFFFFFFFFFFFF0ull : 0xFFFFFFF0ull);
    const std::string path = dir.file("huge.o");
    testutil::writeFile(path, image.bytes());
    auto started = std::chrono::steady_clock::now();
    bool ok = inLimitedChild(64u << 20, [&] {
      OpenedObject object(path);
      if (!object.get()) return false;
      OFE::ELF_SECTION_TABLE* table = object.elf()->get_elf_section_table();
      if (table->get_num_sections() != 0xFFFFFFFF) return false;
      std::vector<SymbolRow> rows = librarySymbols(object.get());
      // The real symbols come first; what follows them in the file reads
      // as further entries, and nothing past the end is counted.
      if (rows.size() < original.size() || rows.size() > image.bytes().size() / 16) return false;
      rows.resize(original.size());
      if (rows != original) return false;
      // A search past the last real header is settled without a walk.
      return table->find_section("no such name", 0) == nullptr &&
             table->get_section(0xFFFFFFFE) != nullptr && table->get_section(0xFFFFFFFF) == nullptr;
    });
    EXPECT_TRUE(ok);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5));

    // Headers placed far past the end: everything reads as zeros.
    ElfImage far = base;
    far.setHeader("e_shoff", 0x7FFFF000);
    far.setHeader("e_shnum", 0xFFFF);
    testutil::writeFile(dir.file("far.o"), far.bytes());
    ok = inLimitedChild(64u << 20, [&] {
      OpenedObject object(dir.file("far.o"));
      OFE::OF_SYMBOL_TABLE* symbols = object.get()->get_symbol_table();
      return symbols && symbols->get_num_symbols() == 0 &&
             object.elf()->get_elf_section_table()->get_num_sections() == 0x10000;
    });
    EXPECT_TRUE(ok);
  });
}
