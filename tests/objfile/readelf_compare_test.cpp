// Symbols and sections read by the library from objects of every class and
// byte order, compared with what readelf reports for the same files.
#include <algorithm>

#include <gtest/gtest.h>

#include "common/test_util.h"
#include "objfile/section_table.h"
#include "objfile/string_table.h"
#include "objfile_helpers.h"

using namespace objtest;

TEST(ReadelfCompare, EveryTargetMatchesReadelf) {
  testutil::TempDir dir;
  int compared = 0;
  for (const Target& target : targets()) {
    SCOPED_TRACE(target.name);
    std::string path = compileFor(dir.path(), target, kVariedSource);
    if (path.empty()) continue;
    ++compared;
    OpenedObject object(path);
    ASSERT_NE(object.get(), nullptr);
    EXPECT_EQ(object.get()->get_source().elf_class, uint32_t(target.elf_class));
    EXPECT_EQ(object.get()->get_source().encoding, target.big_endian ? 2u : 1u);
    EXPECT_EQ(object.get()->get_source().version, 4u);
    EXPECT_EQ(object.elf()->get_e_type(), 1);  // relocatable, in host order

    const std::vector<SymbolRow> expected = readelfSymbols(path);
    std::vector<SymbolRow> actual = librarySymbols(object.get());
    ASSERT_GT(expected.size(), 8u);
    EXPECT_EQ(actual, expected);
    // The names the archiver would take are the ones a linker can resolve.
    std::vector<std::string> offered;
    for (const SymbolRow& row : actual)
      if ((row.binding == 2 || row.binding == 3) && row.kind >= 2 && row.kind <= 4)
        offered.push_back(row.name);
    std::sort(offered.begin(), offered.end());
    EXPECT_EQ(offered, (std::vector<std::string>{"absolute_value", "common_block", "defined_global",
                                                 "global_function", "thread_local_value",
                                                 "weak_function"}));

    // The same object at an even offset inside a larger stream, as in an
    // archive, followed by bytes that must not be taken for it.
    std::string bytes = testutil::readFile(path);
    std::string container = dir.file(target.name + ".a");
    testutil::writeFile(container, std::string(68, 'x') + bytes + std::string(100, '\xff'));
    OpenedObject member(container, 68, bytes.size());
    ASSERT_NE(member.get(), nullptr);
    EXPECT_EQ(member.get()->get_source().start, 68);
    EXPECT_EQ(member.get()->get_source().size, bytes.size());
    EXPECT_EQ(librarySymbols(member.get()), expected);
    EXPECT_EQ(std::ftell(member.stream()->stream), 68);  // left where the member starts

    // Sections by name, with their headers as in the file.
    ElfImage image(bytes);
    OFE::ELF_SECTION_TABLE* table = object.elf()->get_elf_section_table();
    ASSERT_EQ(table->get_num_sections(), image.header("e_shnum"));
    uint32_t symtab = uint32_t(image.findSection(".symtab"));
    OFE::ELF_SECTION* s = table->find_section(".symtab", 0);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->get_index(), symtab);
    EXPECT_EQ(s->get_sh_type(), 2u);
    EXPECT_EQ(s->get_sh_size(), image.section(symtab, "sh_size"));
    EXPECT_EQ(s->get_sh_offset(), image.section(symtab, "sh_offset"));
    EXPECT_EQ(s->get_sh_link(), image.section(symtab, "sh_link"));
    EXPECT_EQ(table->find_section(".symtab", s->get_index() + 1), nullptr);
    EXPECT_EQ(table->find_section(".text", 0)->get_unit_bits(), 8u);
    EXPECT_EQ(table->find_section("no such section", 0), nullptr);
    EXPECT_EQ(table->get_section(table->get_num_sections()), nullptr);
    OFE::ELF_SECTION* strtab = table->get_section(s->get_sh_link());
    EXPECT_STREQ(strtab->get_name(), ".strtab");
    EXPECT_STREQ(strtab->get_string_table()->get_string(0), "");
    // Some assemblers keep section names in ".strtab" too.
    EXPECT_EQ(table->get_section_name_table()->get_section()->get_index(),
              image.header("e_shstrndx"));
  }
  EXPECT_GE(compared, 1);
}
