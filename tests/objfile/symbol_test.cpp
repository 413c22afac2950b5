// Symbol classification, the edit-side setters and the metadata section.
#include <gtest/gtest.h>

#include "common/test_util.h"
#include "objfile/section_table.h"
#include "objfile_helpers.h"

using namespace objtest;

TEST(Symbols, ClassificationWordsAndRules) {
  EXPECT_STREQ(OFE::symbol_kind_name(4), "common");
  EXPECT_STREQ(OFE::symbol_kind_name(9), "unknown");
  EXPECT_STREQ(OFE::symbol_binding_name(3), "weak");
  EXPECT_STREQ(OFE::symbol_type_name(6), "tls");
  EXPECT_STREQ(OFE::symbol_type_name(0), "none");

  testutil::TempDir dir;
  std::string path = compileFor(dir.path(), targets().front(), kVariedSource);
  ASSERT_FALSE(path.empty());
  OpenedObject object(path);
  OFE::OF_SYMBOL_TABLE* table = object.get()->get_symbol_table();
  ASSERT_NE(table, nullptr);
  EXPECT_STREQ(table->get_name(), ".symtab");
  EXPECT_EQ(table->get_entry_size(), 24u);
  EXPECT_EQ(table->get_next_index(0), 1u);
  auto* s = static_cast<OFE::ELF_SYMBOL*>(table->find_symbol("defined_global", 0));
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(table->get_symbol(s->get_index()), s);  // built once, kept
  EXPECT_EQ(table->find_symbol("defined_global", s->get_index() + 1), nullptr);
  EXPECT_EQ(table->find_symbol("x", table->get_num_symbols()), nullptr);
  EXPECT_EQ(table->get_symbol(table->get_num_symbols()), nullptr);

  // Every st_info and st_shndx value, through the raw setters.
  for (int info = 0; info < 256; ++info) {
    s->set_st_info(uint8_t(info));
    int binding = info < 0x30 ? (info >> 4) + 1 : 0;
    int type = (info & 0xF) >= 1 && (info & 0xF) <= 6 ? info & 0xF : 0;
    ASSERT_EQ(s->get_binding(), binding) << info;
    ASSERT_EQ(s->get_type(), type) << info;
  }
  for (uint32_t shndx = 0; shndx <= 0xFFFF; ++shndx) {
    s->set_st_shndx(uint16_t(shndx));
    int kind = shndx == 0 ? 1 : shndx == 0xFFF1 ? 3 : shndx == 0xFFF2 ? 4
             : (shndx < 0xFF00 || shndx == 0xFFFF) ? 2 : 0;
    ASSERT_EQ(s->get_kind(), kind) << shndx;
  }
  s->set_st_shndx(0);
  s->set_section_relative(true);
  EXPECT_EQ(s->get_kind(), 2);
  EXPECT_FALSE(s->is_section_relative_index());
}

TEST(Symbols, SettersAndTheirRefusals) {
  testutil::TempDir dir;
  std::string path = compileFor(dir.path(), targets().front(), kVariedSource);
  ASSERT_FALSE(path.empty());
  auto symbol = [&](OpenedObject& o) {
    return static_cast<OFE::ELF_SYMBOL*>(o.get()->get_symbol_table()->find_symbol("defined_global", 0));
  };
  {
    OpenedObject o(path);
    OFE::ELF_SYMBOL* s = symbol(o);
    EXPECT_EQ(s->set_kind(3), 0);
    EXPECT_EQ(s->get_st_shndx(), 0xFFF1);
    EXPECT_EQ(s->set_kind(4), 0);
    EXPECT_EQ(s->get_kind(), 4);
    EXPECT_EQ(s->set_binding(3), 0);
    EXPECT_EQ(s->get_st_info() >> 4, 2);
    EXPECT_EQ(s->set_type(2), 0);
    EXPECT_EQ(s->get_st_info(), 0x22);
    EXPECT_EQ(o.get()->get_status(), 0);
  }
  struct Refusal {
    int (*apply)(OFE::ELF_SYMBOL*);
    const char* message;
  };
  const Refusal refusals[] = {
      {[](OFE::ELF_SYMBOL* s) { return s->set_kind(2); },
       "To mark a symbol as being defined, you must use set_section_id() to set its section reference"},
      {[](OFE::ELF_SYMBOL* s) { return s->set_kind(0x1f); }, "Invalid symbol kind 1f"},
      {[](OFE::ELF_SYMBOL* s) { return s->set_binding(4); }, "Invalid symbol binding value 0x4"},
      {[](OFE::ELF_SYMBOL* s) { return s->set_type(7); }, "Invalid symbol type value 0x7"},
  };
  for (const Refusal& r : refusals) {
    OpenedObject o(path);
    OFE::ELF_SYMBOL* s = symbol(o);
    uint8_t info = s->get_st_info();
    uint16_t shndx = s->get_st_shndx();
    EXPECT_EQ(r.apply(s), -1);
    EXPECT_EQ(o.get()->get_status(), 5);
    EXPECT_STREQ(o.get()->get_status_message(), r.message);
    EXPECT_EQ(s->get_st_info(), info);
    EXPECT_EQ(s->get_st_shndx(), shndx);
  }
  // A table past "locked" refuses kinds; at "locked" edits are noted.
  OpenedObject o(path);
  OFE::ELF_SYMBOL* s = symbol(o);
  auto* table = s->get_elf_table();
  EXPECT_EQ(table->progress_to(OFE::OF_STATE_LOCKED), 0);
  EXPECT_EQ(s->set_binding(2), 0);
  EXPECT_TRUE(table->is_changed(s->get_index()));
  EXPECT_EQ(table->progress_to(OFE::OF_STATE_FORMATTED), 0);
  EXPECT_EQ(s->set_kind(1), -1);

  // Aliases form a ring.
  OFE::OF_SYMBOL* a = table->get_symbol(1);
  OFE::OF_SYMBOL* b = table->get_symbol(2);
  OFE::OF_SYMBOL* c = table->get_symbol(3);
  a->set_alias(b);
  a->set_alias(c);
  EXPECT_EQ(a->get_alias(), c);
  EXPECT_EQ(c->get_alias(), b);
  EXPECT_EQ(b->get_alias(), a);
  EXPECT_EQ(a->get_last_alias(), b);
}

TEST(Symbols, MetadataSectionVersionDecides) {
  testutil::TempDir dir;
  const std::string meta =
      "__attribute__((section(\".symtab_meta\"), used)) static const unsigned char meta[] = {";
  // Version 2 is refused with status 4; version 1 gives symbol 3 the flags 7.
  std::string bad = compileFor(dir.path(), targets().front(), std::string(kVariedSource) + meta + "2};\n");
  ASSERT_FALSE(bad.empty());
  {
    OpenedObject o(bad);
    ASSERT_NE(o.get()->get_symbol_table()->get_symbol(0), nullptr);
    EXPECT_EQ(o.get()->get_status(), 4);
    EXPECT_STREQ(o.get()->get_status_message(),
                 "Invalid format specified for symbol metadata section (.symtab_meta)");
  }
  std::string obj = testutil::compileC(dir.path(), "good", std::string(kVariedSource) + meta + "1, 1, 3, 7, 0x63, 0};\n");
  OpenedObject o(obj);
  auto* table = o.get()->get_symbol_table();
  auto* s3 = static_cast<OFE::ELF_SYMBOL*>(table->get_symbol(3));
  EXPECT_EQ(s3->get_meta_flags(), 7u);
  auto* s2 = static_cast<OFE::ELF_SYMBOL*>(table->get_symbol(2));
  EXPECT_EQ(s2->get_meta_flags(), 0u);
  EXPECT_EQ(o.get()->get_status(), 4);
  EXPECT_STREQ(o.get()->get_status_message(),
               "Invalid meta-info kind encountered in symbol metadata section (.symtab_meta)");
}
