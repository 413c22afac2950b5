// Diagnostic records: headers, wrapping, routing, counting, source echo.
#include <gtest/gtest.h>

#include <string>

#include "DIAG/child_capture.h"
#include "DIAG/diag.h"
#include "DIAG/diag_kinds.h"
#include "common/test_util.h"

using testutil::inChild;

namespace {

const DIAG_MESSAGE kAdvice = {1234, "%s", "", DIAG_ADVICE, false, false};
const DIAG_MESSAGE kNumbered = {42, "value %d", "verbose", DIAG_ERROR, false, false};

// A diagnostic over any record, as a tool with its own catalogue would have.
class TestDiag : public DIAGNOSTIC {
public:
  using DIAGNOSTIC::DIAGNOSTIC;
  DIAGNOSTIC* clone() const override { return new TestDiag(*this); }
};

void raiseError(std::string text) { DIAG::gerror("t", 1, std::move(text)).print(); }

}  // namespace

TEST(DiagRecords, SeverityRoutingAndCounting) {
  auto r = inChild([] {
    DIAG::gremark("t", 1, "not shown").print();
    DIAG::gwarning("t", 2, "careful").print();
    raiseError("broken");
    std::printf("count=%d\n", DIAG::diag_error_count);
    DIAG::diag_show_remarks = true;
    DIAG::gremark("t", 1, "now shown").print();
    std::printf("count=%d\n", DIAG::diag_error_count);
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "count=1\nremark: now shown\ncount=1\n");
  EXPECT_EQ(r.err, "warning: careful\nerror: broken\n");
}

TEST(DiagRecords, HeaderForms) {
  auto r = inChild([] {
    DIAG::gapperror("DIAG/user_msg_api", 175, "short").print();
    DIAG::diag_show_advice = true;
    TestDiag advice(&kAdvice, "t", 1);
    advice.print_header();
    advice.print_text("%s", "hint");
    advice.finish();
    DIAG::diag_show_ids = true;
    raiseError("numbered");
    TestDiag discretionary(&kNumbered, "t", 1);
    discretionary.print_header();
    discretionary.print_text(kNumbered.std_msg, 7);
    discretionary.finish();
    DIAG::diag_show_ids = false;
    DIAG::diag_show_raise_site = true;
    DIAG::indent = 2;
    DIAG::gerror("src/x", 9, "site").print();
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "advice #1234-D: hint\n");
  EXPECT_EQ(r.err,
            "DIAG/user_msg_api:175:internal error #99924: (short)\n"
            "error #99923: numbered\n"
            "error #42-D: value 7\n"
            "  src/x:9:error: site\n");
  EXPECT_STREQ(DIAG::severity_word(0), "(suppressed)");
  EXPECT_STREQ(DIAG::severity_word(1), "(no error)");
  EXPECT_STREQ(DIAG::severity_word(3), "debug");
  EXPECT_STREQ(DIAG::severity_word(7), "fatal error");
  EXPECT_STREQ(DIAG::severity_word(8), "(unknown)");
  EXPECT_STREQ(DIAG::severity_word(-1), "(unknown)");
}

TEST(DiagWrap, BoundaryCases) {
  // "error: " leaves 72 columns; continuation lines hold 76.
  std::string exact = std::string(60, 'a') + " " + std::string(11, 'b');  // 72 characters
  std::string fits = std::string(60, 'a') + " " + std::string(10, 'b');   // 71 characters
  std::string longWord(100, 'x');
  auto r = inChild([&] {
    raiseError(exact);
    raiseError(fits);
    raiseError(longWord);
    raiseError("first line\nsecond   line\n\n  third\n");
    raiseError("ends with a blank ");
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err,
            "error: " + std::string(60, 'a') + "\n   " + std::string(11, 'b') + "\n" +
            "error: " + fits + "\n" +
            "error: " + std::string(72, 'x') + "\n   " + std::string(28, 'x') + "\n" +
            "error: first line\n   second   line\n   third\n" +
            "error: ends with a blank \n");
}

TEST(DiagWrap, LongTextLinesStayWithinWidth) {
  std::string text;
  for (int i = 0; i < 60; ++i) text += "word" + std::to_string(i) + (i % 7 ? " " : "  ");
  auto r = inChild([&] { raiseError(text); });
  ASSERT_EQ(r.status, 0);
  // Splitting the output at line ends and dropping the indentation gives
  // back the words in order; every line fits, continuations start with 3 blanks.
  std::string words, line;
  size_t lines = 0;
  for (size_t pos = 0; pos < r.err.size();) {
    size_t nl = r.err.find('\n', pos);
    ASSERT_NE(nl, std::string::npos);
    line = r.err.substr(pos, nl - pos);
    EXPECT_LE(line.size(), 79u) << line;
    if (lines++ == 0) {
      ASSERT_EQ(line.substr(0, 7), "error: ");
      line = line.substr(7);
    } else {
      ASSERT_EQ(line.substr(0, 3), "   ");
      ASSERT_NE(line[3], ' ');
      line = line.substr(3);
    }
    words += line + " ";
    pos = nl + 1;
  }
  EXPECT_GT(lines, 5u);
  auto squeeze = [](const std::string& s) {
    std::string o;
    for (char c : s) if (c != ' ' || (!o.empty() && o.back() != ' ')) o += c;
    while (!o.empty() && o.back() == ' ') o.pop_back();
    return o;
  };
  EXPECT_EQ(squeeze(words), squeeze(text));
}

TEST(DiagWrap, FindBreak) {
  DIAG::diag_wrap = true;
  const char* t = "abc def";
  EXPECT_EQ(DIAG::find_break(t, 7, 10), 6u);   // shorter than the room
  EXPECT_EQ(DIAG::find_break(t, 7, 7), 2u);    // exactly the room: not fitting
  EXPECT_EQ(DIAG::find_break(t, 7, 3), 2u);    // followed by a blank
  EXPECT_EQ(DIAG::find_break(t, 7, 5), 2u);
  EXPECT_EQ(DIAG::find_break(t, 7, 2), 0u);    // nothing fits
  EXPECT_EQ(DIAG::find_break(t, 7, -1), 6u);
  DIAG::diag_wrap = false;
  EXPECT_EQ(DIAG::find_break(t, 7, 3), 6u);
  DIAG::diag_wrap = true;
}

TEST(DiagRecords, SecondHeaderClosesOpenLine) {
  auto r = inChild([] {
    DIAG::gerror e("t", 1, "x");
    e.print_header();
    e.print_text("abc");
    e.print_header();
    e.print_text("def");
    int first = e.finish();
    int second = e.finish();
    std::printf("%d %d %d\n", first, second, DIAG::diag_error_count);
  });
  EXPECT_EQ(r.err, "error: abc\nerror: def\n");
  EXPECT_EQ(r.out, "1 0 2\n");
}

TEST(DiagRecords, SourcePositionAndEcho) {
  testutil::TempDir dir;
  std::string file = dir.file("src.c");
  testutil::writeFile(file, "line one\n\tint x = 1;\nline three\n");
  auto r = inChild([&] {
    DIAG::diag_show_source = true;
    TestDiag d(&DIAG::msg_error, "t", 1, new DIAG_SRCINFO_DATA(file, 2, 6, false));
    d.print_header();
    d.print_text("bad");
    d.finish();
    TestDiag approx(&DIAG::msg_warning, "t", 1, new DIAG_SRCINFO_DATA(file, 0, 0, true));
    approx.print_header();
    approx.print_text("near");
    approx.finish();
    TestDiag missing(&DIAG::msg_error, "t", 1, new DIAG_SRCINFO_DATA(file + "x", 1, 1, false));
    missing.print_header();
    missing.print_text("gone");
    missing.finish();
    TestDiag copy(d);
    std::printf("%d%d%d\n", copy.same_as(d), copy.same_as(missing),
                copy.same_as(TestDiag(&DIAG::msg_error, "t", 1)));
    copy.dump();
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err,
            "\"" + file + "\", line 2: error: bad\n\tint x = 1;\n     ^\n" +
            "\"" + file + "\" (approximate): warning: near\n" +
            "\"" + file + "x\", line 1: error: gone\n");
  EXPECT_EQ(r.out, "100\nCode : 99923\nstd_msg : %s\nvrb_msg : \nFile : " + file +
                       "\nLine : 2\nColumn: 6\n");
  EXPECT_EQ(DIAG::format_position(nullptr), "");
  DIAG_SRCINFO_DATA noName("", 3, 1, true);
  EXPECT_EQ(DIAG::format_position(&noName), "");
}

TEST(DiagRecords, CloneStartsAFreshLine) {
  auto r = inChild([] {
    DIAG::gerror e("t", 1, "original");
    e.print_header();
    DIAGNOSTIC* c = e.clone();
    std::printf("%d %d %d\n", e.cols_left(), c->cols_left(), c->header_done());
    c->print();
    delete c;
    e.finish();
  });
  EXPECT_EQ(r.out, "72 79 0\n");
  EXPECT_EQ(r.err, "error: error: original\n\n");
}

TEST(DiagRecords, StreamSettingAndNoCount) {
  auto r = inChild([] {
    DIAG::diag_stream = stdout;
    DIAG::gwarning("t", 1, "to out").print();
    DIAG::diag_stream = nullptr;
    DIAG::diag_no_count = true;
    DIAG::diag_show_warnings = false;
    DIAG::gwarning("t", 1, "hidden").print();
    DIAG::gerror("t", 1, "uncounted").print();
    TestDiag fatal(&DIAG::msg_fatal, "t", 1);
    fatal.print_header();
    fatal.print_text("survived");
    fatal.finish();
    std::printf("count=%d\n", DIAG::diag_error_count);
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "warning: to out\ncount=0\n");
  EXPECT_EQ(r.err, "error: uncounted\nfatal error: survived\n");
}

TEST(DiagRecords, FatalExitsWithOne) {
  auto r = inChild([] {
    TestDiag fatal(&DIAG::msg_fatal, "t", 1);
    fatal.print_header();
    fatal.print_text("stop");
    fatal.finish();
    std::printf("not reached\n");
  });
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "fatal error: stop\n");
}

TEST(DiagRecords, InconsistentWidthAborts) {
  auto r = inChild([] {
    DIAG::diag_cols = 3;
    raiseError("x");
  });
  EXPECT_EQ(r.status, 128 + SIGABRT);
  EXPECT_NE(r.err.find("DIAG/diag:688"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("diag_cols > (indent + wrap_indent)"), std::string::npos);
}

TEST(DiagErrorLimit, HundredGoOnTheHundredAndFirstEnds) {
  std::string expected;
  for (int i = 1; i <= 100; ++i) expected += "error: e" + std::to_string(i) + "\n";
  auto hundred = inChild([] {
    for (int i = 0; i < 300; ++i) DIAG::gwarning("t", 1, "w").print();
    for (int i = 1; i <= 100; ++i) raiseError("e" + std::to_string(i));
    std::printf("still running\n");
  });
  EXPECT_EQ(hundred.status, 0);
  EXPECT_EQ(hundred.out, "still running\n");
  std::string warnings;
  for (int i = 0; i < 300; ++i) warnings += "warning: w\n";
  EXPECT_EQ(hundred.err, warnings + expected);

  auto more = inChild([] {
    for (int i = 1; i <= 101; ++i) raiseError("e" + std::to_string(i));
    std::printf("not reached\n");
  });
  EXPECT_EQ(more.status, 1);
  EXPECT_EQ(more.out, "");
  EXPECT_EQ(more.err, expected + "error: e101\nfatal error: error limit reached; 100 errors detected\n");

  // The number shown is the limit, not the count.
  auto small = inChild([] {
    DIAG::diag_error_limit = 2;
    for (int i = 0; i < 3; ++i) DIAG::gapperror("f", 5, "a").print();
  });
  EXPECT_EQ(small.status, 1);
  EXPECT_EQ(small.err, "f:5:internal error #99924: (a)\nf:5:internal error #99924: (a)\n"
                       "f:5:internal error #99924: (a)\n"
                       "fatal error: error limit reached; 2 errors detected\n");
}
