// The quick symbol scan against the full object reader: whatever the scan
// accepts, it must answer exactly as the reader does, and it must decline
// whatever it cannot answer so.
#include <cstdio>
#include <functional>
#include <optional>

#include <gtest/gtest.h>

#include "common/test_util.h"
#include "objfile/symbol_scan.h"
#include "objfile_helpers.h"
#include "support/stream_io.h"

using namespace objtest;

namespace {

struct Row {
  std::string name;
  int binding;
  int kind;
  bool operator==(const Row&) const = default;
};

void PrintTo(const Row& row, std::ostream* out) {
  *out << '"' << row.name << "\" binding " << row.binding << " kind " << row.kind;
}

// What the archiver's slow path reads: every entry of ".symtab" through an
// object made from the bytes in memory. "no table" when the reader has none.
std::vector<Row> readerRows(const std::string& bytes, bool& noTable) {
  noTable = false;
  std::vector<Row> rows;
  std::string copy = bytes;
  FILE* memory = fmemopen(copy.data(), copy.size(), "rb");
  if (!memory) throw std::runtime_error("fmemopen");
  STREAM_HANDLE* stream = stream_adopt(memory, "member", "rb");
  std::unique_ptr<OFE::OBJECT_FILE> object(OFE::create_object_file(stream, copy.size(), 0, nullptr));
  if (object) {
    OFE::OF_SYMBOL_TABLE* table = object->get_symbol_table();
    noTable = table == nullptr;
    for (uint32_t i = 0; table && i < table->get_num_symbols(); i = table->get_next_index(i)) {
      OFE::OF_SYMBOL* s = table->get_symbol(i);
      rows.push_back({s->get_name(), s->get_binding(), s->get_kind()});
    }
  }
  object.reset();
  stream_close(stream);
  return rows;
}

// The scan's answer, or nothing when it declines.
std::optional<std::vector<Row>> scanRows(const std::string& bytes) {
  std::vector<OFE::SCANNED_SYMBOL> symbols;
  if (!OFE::scan_symbols(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), symbols))
    return std::nullopt;
  std::vector<Row> rows;
  for (const auto& s : symbols) rows.push_back({s.name, s.binding, s.kind});
  return rows;
}

// True when the scan accepted; fails the test when an accepted answer
// differs from the reader's.
bool agrees(const std::string& bytes) {
  auto scanned = scanRows(bytes);
  if (!scanned) return false;
  bool noTable = false;
  std::vector<Row> read = readerRows(bytes, noTable);
  EXPECT_FALSE(noTable) << "the scan accepted an object whose table the reader refuses";
  EXPECT_EQ(*scanned, read);
  return true;
}

std::vector<std::pair<std::string, std::string>> compiledObjects(const testutil::TempDir& dir) {
  std::vector<std::pair<std::string, std::string>> objects;
  for (const Target& t : targets()) {
    std::string path = compileFor(dir.path(), t, kVariedSource);
    if (!path.empty()) objects.emplace_back(t.name, testutil::readFile(path));
  }
  return objects;
}

}  // namespace

TEST(SymbolScan, CompiledObjectsOfEveryFlavourAreScannedAsTheReaderReadsThem) {
  testutil::TempDir dir;
  auto objects = compiledObjects(dir);
  ASSERT_FALSE(objects.empty());
  for (const auto& [name, bytes] : objects) {
    SCOPED_TRACE(name);
    EXPECT_TRUE(agrees(bytes)) << "declined a plain compiled object";
    auto rows = scanRows(bytes);
    ASSERT_TRUE(rows);
    EXPECT_GT(rows->size(), 8u);
  }
  // Files that are not ELF have no symbols; cut-off ELF is declined.
  for (std::string notElf : {std::string("x"), std::string("!<arch>\n"), std::string(100, '\0')})
    EXPECT_EQ(scanRows(notElf), std::vector<Row>{});
  EXPECT_FALSE(scanRows(std::string("\x7f" "ELF\x02\x01", 6)));
  EXPECT_FALSE(scanRows(objects[0].second.substr(0, objects[0].second.size() / 2)));
}

TEST(SymbolScan, TheSystemLibraryIsScannedWholeAndAgrees) {
  std::string lib = testutil::run({"gcc", "-print-file-name=libc.a"}).out;
  while (!lib.empty() && lib.back() == '\n') lib.pop_back();
  if (lib.empty() || lib[0] != '/' || !testutil::exists(lib) || !testutil::haveTool("ar"))
    GTEST_SKIP() << "no libc.a";
  testutil::TempDir dir;
  ASSERT_EQ(testutil::run({"ar", "x", lib}, dir.path()).status, 0);
  size_t members = 0, declined = 0;
  for (const std::string& name : testutil::listDir(dir.path())) {
    SCOPED_TRACE(name);
    ++members;
    if (!agrees(testutil::readFile(dir.file(name)))) ++declined;
  }
  EXPECT_GT(members, 100u);
  EXPECT_EQ(declined, 0u);
}

TEST(SymbolScan, UnusualButPlainObjectsAgreeAndTheRestAreDeclined) {
  testutil::TempDir dir;
  for (const Target& t : targets()) {
    if (t.name != "host-gcc" && t.name != "mips") continue;
    SCOPED_TRACE(t.name);
    std::string path = compileFor(dir.path(), t, kVariedSource);
    if (path.empty()) continue;
    const ElfImage image(testutil::readFile(path));
    const uint32_t symtab = uint32_t(image.findSection(".symtab"));
    const uint32_t global = image.symbolIndex("global_function");
    auto patched = [&](auto change) {
      ElfImage copy = image;
      change(copy);
      return copy.bytes();
    };

    // Accepted, with the reader's answers for odd values.
    EXPECT_TRUE(agrees(patched([&](ElfImage& e) { e.setSymbol(global, "st_name", 0xFFFFFF); })));
    EXPECT_TRUE(agrees(patched([&](ElfImage& e) { e.setSymbol(global, "st_info", 0x42); })));
    for (uint64_t shndx : {0xFF00, 0xFFF1, 0xFFF2, 0xFFFE})
      EXPECT_TRUE(agrees(patched([&](ElfImage& e) { e.setSymbol(global, "st_shndx", shndx); })));
    EXPECT_TRUE(agrees(patched([&](ElfImage& e) {  // a section name off the table's end
      e.setSection(0, "sh_name", e.section(uint32_t(e.header("e_shstrndx")), "sh_size") + 5);
    })));
    EXPECT_TRUE(agrees(patched([&](ElfImage& e) {  // a partial trailing entry
      e.setSection(symtab, "sh_size", e.section(symtab, "sh_size") + 3);
    })));
    // No ".symtab" at all (".Symtab"): no symbols.
    const std::string unnamed = patched([&](ElfImage& e) {
      e.put(e.section(symtab, "sh_name") + e.section(uint32_t(e.header("e_shstrndx")), "sh_offset") + 1, 1, 'S');
    });
    EXPECT_TRUE(agrees(unnamed));
    EXPECT_EQ(scanRows(unnamed), std::vector<Row>{});

    // Declined: the reader decides these.
    const std::vector<std::pair<const char*, std::function<void(ElfImage&)>>> declined = {
        {"extended count", [&](ElfImage& e) { e.setHeader("e_shnum", 0); e.setSection(0, "sh_size", image.header("e_shnum")); }},
        {"extended names", [&](ElfImage& e) { e.setHeader("e_shstrndx", 0xFFFF); e.setSection(0, "sh_link", image.header("e_shstrndx")); }},
        {"no name table", [&](ElfImage& e) { e.setHeader("e_shstrndx", 0); }},
        {"header stride", [&](ElfImage& e) { e.setHeader("e_shentsize", e.header("e_shentsize") + 8); }},
        {"headers cut off", [&](ElfImage& e) { e.setHeader("e_shoff", e.bytes().size() - 8); }},
        {"entry size 0", [&](ElfImage& e) { e.setSection(symtab, "sh_entsize", 0); }},
        {"wrong type", [&](ElfImage& e) { e.setSection(symtab, "sh_type", 3); }},
        {"dynamic type", [&](ElfImage& e) { e.setSection(symtab, "sh_type", 11); }},
        {"no link", [&](ElfImage& e) { e.setSection(symtab, "sh_link", 0); }},
        {"link out of range", [&](ElfImage& e) { e.setSection(symtab, "sh_link", 9999); }},
        {"table cut off", [&](ElfImage& e) { e.setSection(symtab, "sh_size", e.bytes().size()); }},
        {"extended index", [&](ElfImage& e) { e.setSymbol(global, "st_shndx", 0xFFFF); }},
        {"name not ended", [&](ElfImage& e) {
           uint32_t strtab = uint32_t(e.section(symtab, "sh_link"));
           uint64_t end = e.section(strtab, "sh_offset") + e.section(strtab, "sh_size");
           e.put(end - 1, 1, 'x');
           e.setSymbol(global, "st_name", e.section(strtab, "sh_size") - 1);
         }},
        {"symbol metadata", [&](ElfImage& e) {
           // A new name table that also names section 0 ".symtab_meta".
           uint32_t names = uint32_t(e.header("e_shstrndx"));
           std::string table = e.bytes().substr(e.section(names, "sh_offset"), e.section(names, "sh_size"));
           e.setSection(names, "sh_offset", e.bytes().size());
           e.setSection(names, "sh_size", table.size() + 13);
           e.setSection(0, "sh_name", table.size());
           e.bytes() += table + ".symtab_meta" + std::string(1, '\0');
         }},
    };
    for (const auto& [what, change] : declined) {
      SCOPED_TRACE(what);
      EXPECT_FALSE(scanRows(patched(change)));
    }
  }
}
