// The writer's pieces that the command line cannot reach one by one: the
// symbol table laid out for a hand-made symbol list, data copies, undoing a
// failed write, and the limits of the header fields. The finished layouts
// are checked byte for byte by the end-to-end tests too.
#include "archiver/archive_writer.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "archiver/archive_format.h"
#include "archiver/symbol_table.h"
#include "common/test_util.h"

namespace {

[[noreturn]] void throwError(Archive&, ArchiveError kind, const char* message) {
  throw std::runtime_error(std::to_string(kind) + ":" + message);
}

ArchiveMember* fileMember(Archive& archive, const std::string& path, const char* name,
                          int32_t size, int32_t date) {
  ArchiveMember* m = newMember(archive);
  m->name = zone_strdup(&archive.zone, name);
  m->sourcePath = zone_strdup(&archive.zone, path.c_str());
  m->size = size;
  m->date = date;
  appendMember(archive, m);
  return m;
}

// Writes the model with a symbol list given by hand, as writeArchive does
// with the collected one.
std::string writeWithSymbols(Archive& archive, int32_t format,
                             const std::vector<std::pair<ArchiveMember*, const char*>>& symbols) {
  beginWrite(archive, format);
  std::string names = buildNameTable(archive);
  for (auto [member, name] : symbols) appendSymbol(archive, member, name);
  assignHeaderOffsets(archive, static_cast<uint32_t>(names.size()));
  writeSymbolTable(archive);
  writeNameTable(archive, names);
  for (ArchiveMember* m = archive.members; m; m = m->next) writeMember(archive, *m);
  completeWrite(archive);
  return names;
}

TEST(Writer, SymbolTableForAHandMadeSymbolList) {
  testutil::TempDir dir;
  testutil::writeFile(dir.file("a.o"), "abc");
  testutil::writeFile(dir.file("b.o"), "defg");
  testutil::writeFile(dir.file("long_member_name.o"), "x");
  // Members of 3 and 4 bytes, one symbol "f" in the first: 10 bytes of
  // table, so the headers lie at 78 and 78 + 60 + 4.
  Archive archive;
  initArchive(archive, dir.file("one.lib").c_str(), nullptr, throwError);
  ArchiveMember* a = fileMember(archive, dir.file("a.o"), "a.o", 3, 100);
  ArchiveMember* b = fileMember(archive, dir.file("b.o"), "b.o", 4, 200);
  writeWithSymbols(archive, Unset, {{a, "f"}});
  EXPECT_EQ(archive.symbolTableBytes, 10u);
  EXPECT_EQ(a->headerOffset, 78u);
  EXPECT_EQ(b->headerOffset, 142u);
  EXPECT_EQ(testutil::readFile(dir.file("one.lib")),
            std::string(kArchiveMagic) + testutil::header("/", 0, 0, 10) +
                std::string("\0\0\0\1\0\0\0\x4e" "f\0", 10) + testutil::member("a.o/", 100, "abc") +
                testutil::member("b.o/", 200, "defg"));

  // An odd total gets a zero byte, counted in the size; with a name table
  // the members move past it too.
  Archive qv;
  initArchive(qv, dir.file("two.lib").c_str(), nullptr, throwError);
  ArchiveMember* m = fileMember(qv, dir.file("long_member_name.o"), "long_member_name.o", 1, 5);
  std::string names = writeWithSymbols(qv, QvLongName, {{m, "fg"}, {m, "h"}});
  EXPECT_EQ(names, "\nlong_member_name.o/\n\n");
  EXPECT_EQ(qv.symbolTableBytes, 17u);
  const char offset = static_cast<char>(8 + 60 + 18 + 60 + 22);
  EXPECT_EQ(m->headerOffset, 168u);
  std::string table = std::string("\0\0\0\2\0\0\0", 7) + offset + std::string("\0\0\0", 3) +
                      offset + std::string("fg\0h\0\0", 6);
  EXPECT_EQ(testutil::readFile(dir.file("two.lib")),
            std::string(kArchiveMagic) + testutil::header("/", 0, 0, 18) + table +
                testutil::nameTable("<filenames>/", names, 1) +
                testutil::member("long_member_nam/", 5, "x", 1));
}

TEST(Writer, CopyDataPadsOnlyOddTailsWhenAsked) {
  testutil::TempDir dir;
  auto copy = [&](FILE* out, int32_t size, bool pad) {
    FILE* in = std::fopen(dir.file("in").c_str(), "rb");
    int result = copyData(in, out, size, pad);
    std::fclose(in);
    std::fclose(out);
    return result;
  };
  for (int size : {0, 1, 4095, 4096, 4097, 8193}) {
    std::string data(static_cast<size_t>(size), 'q');
    testutil::writeFile(dir.file("in"), data);
    EXPECT_EQ(copy(std::fopen(dir.file("out").c_str(), "wb"), size, true), CopyOk);
    EXPECT_EQ(testutil::readFile(dir.file("out")), data + (size % 2 ? "\n" : "")) << size;
    EXPECT_EQ(copy(std::fopen(dir.file("out").c_str(), "wb"), size + 1, false), CopyReadFailed) << size;
  }
  FILE* full = std::fopen("/dev/full", "wb");
  ASSERT_NE(full, nullptr);
  std::setvbuf(full, nullptr, _IONBF, 0);
  EXPECT_EQ(copy(full, 8193, true), CopyWriteFailed);
}

TEST(Writer, FailuresAreUndoneAndTheOldArchiveRestored) {
  testutil::TempDir dir;
  std::string libPath = dir.file("lib.lib");
  const std::string old = std::string(kArchiveMagic) + testutil::member("k.o/", 1, "kk");
  testutil::writeFile(libPath, old);
  Archive archive;
  initArchive(archive, libPath.c_str(), nullptr, throwError);
  loadMembers(archive);
  ASSERT_NE(archive.members, nullptr);
  auto* m = newMember(archive);
  m->name = zone_strdup(&archive.zone, "vanished.o");
  m->sourcePath = zone_strdup(&archive.zone, dir.file("vanished.o").c_str());
  m->size = 5;
  appendMember(archive, m);
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
  auto message = [&](const HeaderRecord& record) {
    try {
      writeMemberHeader(archive, record);
    } catch (const std::runtime_error& e) {
      return std::string(e.what());
    }
    return std::string("no error");
  };
  EXPECT_EQ(message(HeaderRecord{"long_name_of_member", kMaxNameOffset, 0, 1}),
            "7:Archive file name table too large");
  EXPECT_EQ(message(HeaderRecord{"m", 0, 0, kMaxMemberSize}), "6:Member file too large: 'm'");
  abandonWrite(archive);
  EXPECT_TRUE(testutil::listDir(dir.path()).empty());
}

}  // namespace
