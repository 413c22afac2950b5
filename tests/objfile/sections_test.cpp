// The standard section table and sections added in memory.
#include <gtest/gtest.h>

#include "common/test_util.h"
#include "objfile/section_table.h"
#include "objfile/standard_sections.h"
#include "objfile/string_table.h"
#include "objfile_helpers.h"

TEST(StandardSections, ExactThenLongestPrefixThenShndx) {
  OFE::STANDARD_SECTION_TABLE table(false);
  auto type = [&](const char* name) -> long {
    const OFE::STANDARD_SECTION* row = table.lookup(name);
    return row ? long(row->type) : -1;
  };
  EXPECT_EQ(type(".text"), 1);
  EXPECT_EQ(table.lookup(".text.hot")->flags, 0x6u);
  EXPECT_EQ(type(".rela.text"), 4);   // ".rela" is longer than ".rel"
  EXPECT_EQ(type(".rel.data"), 9);
  EXPECT_EQ(type(".tbss.x"), 8);
  EXPECT_EQ(table.lookup(".tbss.x")->flags, 0x403u);
  EXPECT_EQ(type(".data1x"), 1);
  EXPECT_EQ(table.lookup(".dynsym")->entsize64, 24u);
  EXPECT_EQ(table.lookup(".symtab")->entsize32, 16u);
  EXPECT_EQ(type(".QV.section.page"), 0x7f000007);
  EXPECT_EQ(type("__QV_build_attributes"), 0x70000003);
  EXPECT_EQ(type("mine_shndx"), 18);  // registered under its own name
  EXPECT_EQ(type("mine_shndx"), 18);
  EXPECT_EQ(type("text"), -1);
  EXPECT_EQ(type(".gnu.version"), -1);
  EXPECT_EQ(table.lookup(".comment")->unit_bits, 8u);
  EXPECT_EQ(table.lookup(".data")->unit_bits, 0u);

  OFE::STANDARD_SECTION_TABLE versions(true);
  EXPECT_EQ(versions.lookup(".gnu.version")->type, 0x6fffffffu);
  EXPECT_EQ(versions.lookup(".gnu.version")->entsize32, 2u);
  EXPECT_EQ(versions.lookup(".gnu.version_r")->type, 0x6ffffffeu);
}

TEST(Sections, AddedSectionsTakeTheirDefaults) {
  testutil::TempDir dir;
  for (const objtest::Target& target : objtest::targets()) {
    if (target.name != "host-gcc" && target.name != "i386") continue;
    SCOPED_TRACE(target.name);
    std::string path = objtest::compileFor(dir.path(), target, objtest::kVariedSource);
    if (path.empty()) continue;
    objtest::OpenedObject object(path);
    OFE::ELF_SECTION_TABLE* table = object.elf()->get_elf_section_table();
    const uint32_t count = table->get_num_sections();
    OFE::ELF_SECTION* dynsym = table->add_section(".dynsym");
    ASSERT_NE(dynsym, nullptr);
    EXPECT_EQ(dynsym->get_index(), count);
    EXPECT_EQ(dynsym->get_sh_type(), 11u);
    EXPECT_EQ(dynsym->get_sh_flags(), 0x2u);
    EXPECT_EQ(dynsym->get_sh_entsize(), target.elf_class == 1 ? 16u : 24u);
    EXPECT_EQ(dynsym->get_sh_size(), 0u);
    EXPECT_EQ(table->find_section(".dynsym", 0), dynsym);
    OFE::ELF_SECTION* odd = table->add_section("odd");
    EXPECT_EQ(odd->get_sh_type(), 0u);
    EXPECT_EQ(odd->get_unit_bits(), 8u);
    EXPECT_EQ(table->get_num_sections(), count + 2);

    // A dynamic symbol table added in memory has no symbols and links to
    // a ".dynstr" that is added for it.
    OFE::ELF_SYMBOL_TABLE* symbols = dynsym->get_symbol_table();
    ASSERT_NE(symbols, nullptr);
    EXPECT_EQ(symbols->get_num_symbols(), 0u);
    EXPECT_EQ(symbols->get_string_table()->get_section()->get_index(), count + 2);
    EXPECT_STREQ(table->get_section(count + 2)->get_name(), ".dynstr");
    EXPECT_EQ(dynsym->get_sh_link(), count + 2);
    EXPECT_EQ(odd->get_symbol_table(), nullptr);

    object.get()->progress_to(OFE::OF_STATE_LOCKED);
    EXPECT_EQ(table->add_section(".late"), nullptr);
  }
}
