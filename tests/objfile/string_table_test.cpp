// String tables: reading by offset, and appending with reuse.
#include <gtest/gtest.h>

#include "common/test_util.h"
#include "objfile/section_table.h"
#include "objfile/string_table.h"
#include "objfile_helpers.h"

namespace {

void fill(OFE::OF_STRING_TABLE_MANAGER& table, const std::string& bytes) {
  table.get_data().set_contents(bytes.data(), bytes.size());
}

}  // namespace

TEST(StringTable, ReadingByOffset) {
  OFE::OF_STRING_TABLE_MANAGER table;
  fill(table, std::string("\0alpha\0beta", 11));  // the last text has no NUL
  EXPECT_STREQ(table.get_string(0), "");
  EXPECT_STREQ(table.get_string(1), "alpha");
  EXPECT_STREQ(table.get_string(3), "pha");  // the tail of a text
  EXPECT_STREQ(table.get_string(7), "beta");
  EXPECT_EQ(table.get_string(11), nullptr);
  EXPECT_EQ(table.get_string(0xFFFFFFFF), nullptr);
  EXPECT_STREQ(table.get_name(), "");
}

TEST(StringTable, AppendingReusesWholeTextsAtTheirLastOccurrence) {
  OFE::OF_STRING_TABLE_MANAGER table;
  fill(table, std::string("\0a\0a\0ab\0", 8));
  uint32_t offset = 99;
  EXPECT_FALSE(table.find_string("a", offset));  // the index is not built yet
  EXPECT_EQ(table.add_string("a"), 3);
  EXPECT_TRUE(table.find_string("ab", offset));
  EXPECT_EQ(offset, 5u);
  EXPECT_EQ(table.add_string("b"), 8);  // a suffix is not shared
  EXPECT_EQ(table.add_string("b"), 8);
  EXPECT_EQ(table.get_data().size(), 10u);
  EXPECT_STREQ(table.get_string(8), "b");
  EXPECT_EQ(table.get_index_size(), 4u);

  // A table whose last text lacks its NUL is indexed up to its end.
  OFE::OF_STRING_TABLE_MANAGER cut;
  fill(cut, std::string("\0xy", 3));
  EXPECT_EQ(cut.add_string("xy"), 1);
  EXPECT_EQ(cut.add_string("z"), 3);
  EXPECT_STREQ(cut.get_string(3), "z");

  // load and clear empty the index; clear empties the bytes too.
  cut.load();
  EXPECT_EQ(cut.get_index_size(), 0u);
  EXPECT_EQ(cut.clear(), 0);
  EXPECT_EQ(cut.get_data().size(), 0u);
  EXPECT_EQ(cut.add_string("q"), 0);
}

TEST(StringTable, ElfTableRefusesChangesPastOpen) {
  testutil::TempDir dir;
  std::string path = objtest::compileFor(dir.path(), objtest::targets().front(), objtest::kVariedSource);
  ASSERT_FALSE(path.empty());
  objtest::OpenedObject object(path);
  OFE::ELF_SECTION* strtab = object.elf()->get_elf_section_table()->find_section(".strtab", 0);
  ASSERT_NE(strtab, nullptr);
  OFE::ELF_STRING_TABLE* table = strtab->get_string_table();
  EXPECT_STREQ(table->get_name(), ".strtab");
  EXPECT_EQ(table->get_section(), strtab);
  // Adding a text already there hands out its offset, read from the file.
  int64_t offset = table->add_string("global_function");
  ASSERT_GT(offset, 0);
  EXPECT_STREQ(table->get_string(uint32_t(offset)), "global_function");

  EXPECT_EQ(table->clear(), 0);
  EXPECT_EQ(table->get_data().size(), 1u);
  EXPECT_EQ(table->add_string(""), 0);
  EXPECT_EQ(table->get_data().size(), 1u);

  EXPECT_EQ(table->progress_to(OFE::OF_STATE_LOCKED), 0);
  EXPECT_EQ(table->add_string("late"), -1);
  EXPECT_EQ(table->clear(), -1);
  EXPECT_STREQ(object.get()->get_status_message(),
               "this OBJECT_FILE object is currently in the locked state, and must be in at most "
               "the open state to perform the requested operation ");
}
