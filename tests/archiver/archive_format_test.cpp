#include "archiver/archive_format.h"

#include <gtest/gtest.h>

namespace {

TEST(ArchiveFormat, NamesWithSeparatorsAreEscapedInTheNameTable) {
  EXPECT_EQ(escapeTableName("plain_long_name_x.o"), "plain_long_name_x.o");
  EXPECT_EQ(escapeTableName("a|b_long_name_without_sep"), "a|b_long_name_without_sep");
  EXPECT_EQ(escapeTableName("dir/sub//x|y.o"), "dir|sub|x||y.o");
  EXPECT_EQ(escapeTableName("dir\\\\x.o"), "dir|x.o");
  // A mixed run gives two bars, which reads back as one.
  EXPECT_EQ(escapeTableName("a/\\b"), "a||b");
  EXPECT_EQ(unescapeTableName("a||b"), "a|b");
  EXPECT_EQ(unescapeTableName("dir|sub|x||y.o"), "dir/sub/x|y.o");
  EXPECT_EQ(unescapeTableName("a|b_long_name_without_sep"), "a/b_long_name_without_sep");
}

TEST(ArchiveFormat, DecimalFieldsParseLikeScanf) {
  long v = -1;
  EXPECT_TRUE(parseDecimal("1234      ", &v));
  EXPECT_EQ(v, 1234);
  EXPECT_TRUE(parseDecimal("  -60     ", &v));
  EXPECT_EQ(v, -60);
  EXPECT_TRUE(parseDecimal("+7x", &v));
  EXPECT_EQ(v, 7);
  EXPECT_FALSE(parseDecimal("      ", &v));
  EXPECT_FALSE(parseDecimal("-", &v));
  EXPECT_FALSE(parseDecimal("x12", &v));
  EXPECT_FALSE(parseDecimal("", &v));
}

TEST(ArchiveFormat, FieldsAndRounding) {
  const char header[] = "name.o/         1700000000  0     0     644     1234      `\n";
  EXPECT_EQ(rawField(header, kNameField), "name.o/         ");
  EXPECT_EQ(rawField(header, kDateField), "1700000000  ");
  EXPECT_EQ(rawField(header, kSizeField), "1234      ");
  EXPECT_EQ(rawField(header, kTerminatorField), "`\n");
  EXPECT_EQ(roundUpEven(0), 0u);
  EXPECT_EQ(roundUpEven(3), 4u);
  EXPECT_EQ(roundUpEven(10), 10u);
  EXPECT_TRUE(isNameTableName("//"));
  EXPECT_TRUE(isNameTableName("<filenames>/"));
  EXPECT_FALSE(isNameTableName("/"));
}

}  // namespace
