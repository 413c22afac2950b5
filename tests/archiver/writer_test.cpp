// The writer's layout, checked byte for byte on archives built from a
// hand-made model and a hand-made symbol list.
#include "archiver/archive_writer.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "archiver/archive_format.h"
#include "archiver/symbol_table.h"
#include "common/test_util.h"

namespace {

[[noreturn]] void throwError(Archive&, ArchiveError kind, const char* message) {
  throw std::runtime_error(std::to_string(kind) + ":" + message);
}

std::string header(const std::string& name, const std::string& date, const std::string& uid,
                   const std::string& size) {
  auto pad = [](std::string s, size_t n) { return s.append(n - s.size(), ' '); };
  return pad(name, 16) + pad(date, 12) + pad(uid, 6) + pad("0", 6) + pad("0", 8) +
         pad(size, 10) + "`\n";
}

ArchiveMember* fileMember(Archive& archive, const std::string& path, const char* name,
                          int32_t size, int32_t date) {
  auto* m = newMember(archive);
  m->name = zone_strdup(&archive.zone, name);
  m->sourcePath = zone_strdup(&archive.zone, path.c_str());
  m->size = size;
  m->date = date;
  appendMember(archive, m);
  return m;
}

TEST(Writer, SymbolTableOffsetsPointAtMemberHeaders) {
  testutil::TempDir dir;
  testutil::writeFile(dir.file("a.o"), "abc");
  testutil::writeFile(dir.file("b.o"), "defg");
  std::string libPath = dir.file("lib.lib");
  Archive archive;
  initArchive(archive, libPath.c_str(), nullptr, throwError);
  ArchiveMember* a = fileMember(archive, dir.file("a.o"), "a.o", 3, 100);
  ArchiveMember* b = fileMember(archive, dir.file("b.o"), "b.o", 4, 200);

  beginWrite(archive, Unset);
  EXPECT_EQ(archive.format, Posix);
  std::string names = buildNameTable(archive);
  EXPECT_EQ(names, "");
  appendSymbol(archive, a, "f");
  EXPECT_EQ(archive.symbolTableBytes, 6u);
  assignHeaderOffsets(archive, static_cast<uint32_t>(names.size()));
  EXPECT_EQ(archive.symbolTableBytes, 10u);
  EXPECT_EQ(a->headerOffset, 78u);
  EXPECT_EQ(b->headerOffset, 142u);
  EXPECT_EQ(archive.symbols->memberOffset, 78u);
  writeSymbolTable(archive);
  writeNameTable(archive, names);
  for (ArchiveMember* m = archive.members; m; m = m->next) writeMember(archive, *m);
  completeWrite(archive);

  std::string expected = std::string(kArchiveMagic) +
                         header("/", "0", "0", "10") + std::string("\0\0\0\1\0\0\0\x4e" "f\0", 10) +
                         header("a.o/", "100", "0", "3") + "abc\n" +
                         header("b.o/", "200", "0", "4") + "defg";
  EXPECT_EQ(testutil::readFile(libPath), expected);
  EXPECT_EQ(testutil::listDir(dir.path()), (std::vector<std::string>{"a.o", "b.o", "lib.lib"}));
}

TEST(Writer, SymbolTablePadsOddSizesWithAZeroByteCountedInTheSize) {
  testutil::TempDir dir;
  testutil::writeFile(dir.file("long_member_name.o"), "x");
  std::string libPath = dir.file("lib.lib");
  Archive archive;
  initArchive(archive, libPath.c_str(), nullptr, throwError);
  ArchiveMember* m = fileMember(archive, dir.file("long_member_name.o"), "long_member_name.o", 1, 5);
  beginWrite(archive, QvLongName);
  std::string names = buildNameTable(archive);
  EXPECT_EQ(names, "\nlong_member_name.o/\n\n");
  EXPECT_EQ(m->nameOffset, 1u);
  appendSymbol(archive, m, "fg");
  appendSymbol(archive, m, "h");
  assignHeaderOffsets(archive, static_cast<uint32_t>(names.size()));
  EXPECT_EQ(archive.symbolTableBytes, 4u + 7u + 6u);  // odd: one zero byte follows
  uint32_t expectedOffset = 8 + 60 + 18 + 60 + 22;
  EXPECT_EQ(m->headerOffset, expectedOffset);
  writeSymbolTable(archive);
  writeNameTable(archive, names);
  writeMember(archive, *m);
  completeWrite(archive);

  std::string table = std::string("\0\0\0\2", 4);
  for (int i = 0; i < 2; ++i) table += std::string("\0\0\0", 3) + static_cast<char>(expectedOffset);
  table += std::string("fg\0h\0\0", 6);
  std::string expected = std::string(kArchiveMagic) + header("/", "0", "0", "18") + table +
                         header("<filenames>/", "0", "1", "22") + names +
                         header("long_member_nam/", "5", "1", "1") + "x\n";
  EXPECT_EQ(testutil::readFile(libPath), expected);
}

TEST(Writer, CopyDataPadsOnlyOddTailsWhenAsked) {
  testutil::TempDir dir;
  for (int size : {0, 1, 4095, 4096, 4097, 8193}) {
    std::string data(static_cast<size_t>(size), 'q');
    testutil::writeFile(dir.file("in"), data);
    FILE* in = std::fopen(dir.file("in").c_str(), "rb");
    FILE* out = std::fopen(dir.file("out").c_str(), "wb");
    EXPECT_EQ(copyData(in, out, size, true), CopyOk);
    std::fclose(in);
    std::fclose(out);
    EXPECT_EQ(testutil::readFile(dir.file("out")), data + (size % 2 ? "\n" : "")) << size;
    in = std::fopen(dir.file("in").c_str(), "rb");
    out = std::fopen(dir.file("out").c_str(), "wb");
    EXPECT_EQ(copyData(in, out, size + 1, false), CopyReadFailed) << "short source " << size;
    std::fclose(in);
    std::fclose(out);
  }
  FILE* in = std::fopen(dir.file("in").c_str(), "rb");
  FILE* full = std::fopen("/dev/full", "wb");
  ASSERT_NE(full, nullptr);
  std::setvbuf(full, nullptr, _IONBF, 0);
  EXPECT_EQ(copyData(in, full, 8193, true), CopyWriteFailed);
  std::fclose(in);
  std::fclose(full);
}

TEST(Writer, FailuresAreUndoneAndTheOldArchiveRestored) {
  testutil::TempDir dir;
  std::string libPath = dir.file("lib.lib");
  const std::string old = std::string(kArchiveMagic) + header("k.o/", "1", "0", "2") + "kk";
  testutil::writeFile(libPath, old);
  Archive archive;
  initArchive(archive, libPath.c_str(), nullptr, throwError);
  loadMembers(archive);
  ASSERT_NE(archive.members, nullptr);
  fileMember(archive, dir.file("vanished.o"), "vanished.o", 5, 0);
  try {
    writeArchive(archive, Unset);
    FAIL() << "the write should fail";
  } catch (const std::runtime_error& e) {
    EXPECT_EQ(std::string(e.what()), "2:Cannot open file: '" + dir.file("vanished.o") + "'");
  }
  // While the failure is reported, the new file and the set-aside one both exist.
  EXPECT_EQ(testutil::listDir(dir.path()).size(), 2u);
  abandonWrite(archive);
  abandonWrite(archive);  // a second call changes nothing
  EXPECT_EQ(testutil::readFile(libPath), old);
  EXPECT_EQ(testutil::listDir(dir.path()), std::vector<std::string>{"lib.lib"});
}

TEST(Writer, OversizedMembersAndNameOffsetsAreRefused) {
  testutil::TempDir dir;
  std::string libPath = dir.file("lib.lib");
  Archive archive;
  initArchive(archive, libPath.c_str(), nullptr, throwError);
  beginWrite(archive, QvLongName);
  EXPECT_THROW(writeMemberHeader(archive, HeaderRecord{"m", 0, 0, kMaxMemberSize}),
               std::runtime_error);
  try {
    writeMemberHeader(archive, HeaderRecord{"long_name_of_member", kMaxNameOffset, 0, 1});
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "7:Archive file name table too large");
  }
  try {
    writeMemberHeader(archive, HeaderRecord{"m", 0, 0, kMaxMemberSize});
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "6:Member file too large: 'm'");
  }
  abandonWrite(archive);
  EXPECT_TRUE(testutil::listDir(dir.path()).empty());
}

}  // namespace
