// The factory's recognition, the load states and the status rules.
#include <csignal>
#include <cstdio>

#include <gtest/gtest.h>

#include "common/test_util.h"
#include "objfile/section_table.h"
#include "objfile_helpers.h"
#include "support/fatal_signal.h"

using namespace objtest;

namespace {

std::string elfHeader(uint8_t cls, uint8_t data) {
  std::string h(64, '\0');
  h[0] = 0x7f, h[1] = 'E', h[2] = 'L', h[3] = 'F', h[4] = char(cls), h[5] = char(data);
  h[6] = 1;
  // e_machine 40 and e_version 1, little-endian unless data is exactly 1.
  bool big = data != 1;
  h[big ? 19 : 18] = 40;
  h[big ? 23 : 20] = 1;
  return h;
}

std::vector<std::pair<int, std::string>> seen;
void remember(OFE::OBJECT_FILE*, int32_t code, const char* message) { seen.emplace_back(code, message); }

// A format the library does not build: only good for the interface check.
class NOT_ELF final : public OFE::OBJECT_FILE {
public:
  NOT_ELF() : OBJECT_FILE(source()) {}
  int read_from_source(const OFE::OBJECT_FILE_SOURCE&) override { return 0; }

protected:
  std::unique_ptr<OFE::OF_SECTION_TABLE> make_section_table() override { return nullptr; }

private:
  static OFE::OBJECT_FILE_SOURCE source() {
    OFE::OBJECT_FILE_SOURCE s;
    s.format = OFE::OF_FORMAT_COFF;
    return s;
  }
};

}  // namespace

TEST(ObjectFactory, OnlyTheElfMagicMakesAnObjectAndClassAndOrderAreLenient) {
  testutil::TempDir dir;
  struct Case {
    std::string bytes;
    bool object;
    uint32_t elf_class, encoding, family;
  };
  std::string coff3(24, '\0'), coff1(24, '\0');
  coff3[0] = char(0xC2);
  coff1[1] = char(0x95);  // big-endian version-1 magic
  const Case cases[] = {
      {elfHeader(1, 1), true, 1, 1, 1},
      {elfHeader(2, 2), true, 2, 2, 1},
      {elfHeader(0, 0), true, 2, 2, 1},
      {elfHeader(3, 3), true, 2, 2, 1},
      {"just some text in a member\n", false, 0, 0, 0},
      {coff3, false, 0, 0, 0},
      {coff1, false, 0, 0, 0},
      {"\x7f" "EL", false, 0, 0, 0},
      {"\x7f" "ELF", true, 2, 2, 0},
      {"", false, 0, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.bytes));
    testutil::writeFile(dir.file("in"), c.bytes);
    testing::internal::CaptureStderr();
    {
      OpenedObject opened(dir.file("in"));
      ASSERT_EQ(opened.get() != nullptr, c.object);
      if (opened.get()) {
        EXPECT_EQ(opened.get()->get_source().elf_class, c.elf_class);
        EXPECT_EQ(opened.get()->get_source().encoding, c.encoding);
        EXPECT_EQ(opened.get()->get_source().machine_family, c.family);
        EXPECT_EQ(opened.get()->get_source().size, c.bytes.size());
        EXPECT_EQ(opened.get()->get_state(), OFE::OF_STATE_OPEN);
        EXPECT_EQ(opened.get()->get_flags(), 256u);
        // No ".symtab": an empty one in memory.
        OFE::OF_SYMBOL_TABLE* symbols = opened.get()->get_symbol_table();
        ASSERT_NE(symbols, nullptr);
        EXPECT_EQ(symbols->get_num_symbols(), 0u);
        EXPECT_EQ(opened.get()->get_section_table()->get_num_sections(), 2u);
      }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  }
}

TEST(ObjectFactory, SizeZeroNeedsTheStreamAtItsStart) {
  testutil::TempDir dir;
  testutil::writeFile(dir.file("in"), std::string(8, 'x') + elfHeader(1, 1));
  testing::internal::CaptureStderr();
  OpenedObject member(dir.file("in"), 8, 0);
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(member.get(), nullptr);
  EXPECT_NE(err.find("a file size must be specified when reading an archive member;"),
            std::string::npos)
      << err;

  // Serial numbers count up by one per object made.
  OpenedObject first(dir.file("in"), 8, 64);
  OpenedObject second(dir.file("in"), 8, 64);
  ASSERT_NE(first.get(), nullptr);
  EXPECT_EQ(second.get()->get_serial(), first.get()->get_serial() + 1);
}

TEST(ObjectStates, TransitionsAndTheirStatusTexts) {
  testutil::TempDir dir;
  testutil::writeFile(dir.file("in"), elfHeader(2, 1));
  auto fresh = [&] { return std::make_unique<OpenedObject>(dir.file("in")); };

  auto o = fresh();
  OFE::ELF_FILE* elf = o->elf();
  EXPECT_EQ(elf->require_at_most(OFE::OF_STATE_OPEN), 0);
  EXPECT_EQ(elf->progress_to(OFE::OF_STATE_LOCKED), 0);
  EXPECT_EQ(elf->set_e_machine(7), 0);  // still allowed when locked
  EXPECT_EQ(elf->get_e_machine(), 7);
  EXPECT_EQ(elf->progress_to(OFE::OF_STATE_SAVED), 0);
  EXPECT_EQ(elf->get_status(), 0);
  EXPECT_EQ(elf->set_e_machine(8), -1);
  EXPECT_EQ(elf->get_e_machine(), 7);
  EXPECT_EQ(elf->get_status(), 5);
  EXPECT_STREQ(elf->get_status_message(),
               "this OBJECT_FILE object is currently in the saved state, and must be in at most "
               "the locked state to perform the requested operation ");
  EXPECT_EQ(elf->set_e_type(2), 0);  // e_type and e_ident have no state check
  EXPECT_EQ(elf->set_e_ident(7, 9), 0);

  o = fresh();
  EXPECT_EQ(o->elf()->require_at_least(OFE::OF_STATE_FORMATTED), -1);
  EXPECT_STREQ(o->elf()->get_status_message(),
               "this OBJECT_FILE object is currently in the open state, and must be in at least "
               "the formatted state to perform the requested operation ");

  o = fresh();
  o->elf()->progress_to(OFE::OF_STATE_FORMATTED);
  EXPECT_EQ(o->elf()->progress_to(OFE::OF_STATE_LOCKED), -1);
  EXPECT_STREQ(o->elf()->get_status_message(),
               "this OBJECT_FILE object is currently in the formatted state, and cannot revert to "
               "the locked state to perform the requested operation ");

  o = fresh();
  o->elf()->progress_to(OFE::OF_STATE_FORMATTED);
  EXPECT_EQ(o->elf()->revert_to(OFE::OF_STATE_OPEN), 0);
  EXPECT_EQ(o->elf()->get_state(), OFE::OF_STATE_OPEN);
  EXPECT_EQ(o->elf()->revert_to(OFE::OF_STATE_LOCKED), -1);
  EXPECT_NE(std::string(o->elf()->get_status_message()).find("must be in at least the locked"),
            std::string::npos);
  EXPECT_STREQ(OFE::state_name(4), "unknown");
  EXPECT_STREQ(OFE::state_name(-1), "unknown");

  o = fresh();
  EXPECT_EQ(o->elf()->set_file_type(4), 0);
  EXPECT_EQ(o->elf()->get_e_type(), 0xE001);
  EXPECT_EQ(o->elf()->set_file_type(6), -1);
  EXPECT_EQ(o->elf()->get_e_type(), 0);
  EXPECT_STREQ(o->elf()->get_status_message(), "invalid file type");

  o = fresh();
  EXPECT_EQ(o->elf()->set_data_encoding(2), 0);
  EXPECT_EQ(o->elf()->get_e_ident(5), 2);
  EXPECT_EQ(o->elf()->set_data_encoding(3), -1);
  EXPECT_EQ(o->elf()->get_e_ident(5), 0);
  EXPECT_STREQ(o->elf()->get_status_message(), "invalid endian setting");
}

TEST(ObjectStates, ProgressStopsAtTheFirstFailingStep) {
  testutil::TempDir dir;
  testutil::writeFile(dir.file("in"), elfHeader(1, 1));
  OpenedObject owner(dir.file("in"));
  struct FAILING final : OFE::OF_STATE_MACHINE {
    using OF_STATE_MACHINE::OF_STATE_MACHINE;
    std::vector<int> steps;
    int progress_step(int32_t state) override {
      steps.push_back(state);
      return state == 2 ? 1 : 0;
    }
    int revert_step(int32_t) override { return 1; }
  } machine(owner.get());
  EXPECT_EQ(machine.progress_to(OFE::OF_STATE_SAVED), -1);
  EXPECT_EQ(machine.steps, (std::vector<int>{1, 2}));
  EXPECT_EQ(machine.get_state(), OFE::OF_STATE_OPEN);  // unchanged on failure
  EXPECT_STREQ(owner.get()->get_status_message(),
               "an error was encountered while progressing an OBJECT_FILE object from the locked "
               "to the formatted state");
}

TEST(ObjectStatus, PrecedenceAndCallback) {
  testutil::TempDir dir;
  testutil::writeFile(dir.file("in"), elfHeader(1, 1));
  OpenedObject o(dir.file("in"));
  OFE::OBJECT_FILE* object = o.get();
  seen.clear();
  object->record_status(4, "first %d", 4);
  object->set_status_callback(remember);  // delivers what is recorded
  object->record_status(6, "dropped");
  object->record_status(8, "eight");
  object->record_status(4, "dropped too");
  object->record_status(5, "five");
  object->record_status(7, "never");
  EXPECT_EQ(object->get_status(), 5);
  EXPECT_STREQ(object->get_status_message(), "five");
  std::vector<std::pair<int, std::string>> expected = {
      {4, "first 4"}, {4, "first 4"}, {4, "first 4"}, {8, "eight"},
      {8, "eight"},   {8, "eight"},   {5, "five"},    {5, "five"}};
  EXPECT_EQ(seen, expected);

  // The message buffer is shared: a newer object's message replaces it.
  OpenedObject other(dir.file("in"));
  other.get()->record_status(7, "%s", "newer");
  EXPECT_STREQ(object->get_status_message(), "newer");
}

TEST(ObjectStatus, NonElfInterfaceStopsWithASegmentationFault) {
  NOT_ELF object;
  DATA_MAP map;
  EXPECT_EQ(object.get_file_data(0, 4, map), -1);
  EXPECT_STREQ(object.get_status_message(),
               "illegal call to OBJECT_FILE::get_file_data() when the OBJECT_FILE object was not "
               "read from an input file");
  // As in the program, the fatal-signal handler turns it into the report.
  auto stop = [&] {
    install_fatal_handler([](int signo) { fatal_signal(signo, "zolt", nullptr); }, nullptr);
    object.require_elf_interface();
  };
  EXPECT_EXIT(stop(), testing::ExitedWithCode(2), "INTERNAL ERROR: zolt experienced a segmentation fault");
}
