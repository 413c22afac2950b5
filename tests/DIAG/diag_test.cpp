// Diagnostic records: headers, wrapping, routing, counting, source echo.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

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
  // Every line fits, continuations start with 3 blanks, and dropping the
  // indentation gives back the words in order.
  std::string joined;
  size_t lines = 0;
  for (size_t pos = 0, nl; (nl = r.err.find('\n', pos)) != std::string::npos; pos = nl + 1, ++lines) {
    std::string line = r.err.substr(pos, nl - pos), indent = lines ? "   " : "error: ";
    EXPECT_LE(line.size(), 79u) << line;
    ASSERT_EQ(line.substr(0, indent.size()), indent);
    ASSERT_NE(line[indent.size()], ' ');
    joined += line.substr(indent.size()) + " ";
  }
  EXPECT_GT(lines, 5u);
  auto squeeze = [](std::string s) {
    for (size_t at; (at = s.find("  ")) != std::string::npos;) s.erase(at, 1);
    return s.substr(0, s.find_last_not_of(' ') + 1);
  };
  EXPECT_EQ(squeeze(joined), squeeze(text));
}

TEST(DiagRecords, HeadersClonesStreamsAndCounting) {
  auto r = inChild([] {
    DIAG::gerror e("t", 1, "x");
    e.print_header();
    e.print_text("abc");
    e.print_header();  // closes the open line
    e.print_text("def");
    int first = e.finish();
    int second = e.finish();
    std::printf("%d %d %d\n", first, second, DIAG::diag_error_count);
    // A clone starts a fresh line.
    DIAG::gerror o("t", 1, "original");
    o.print_header();
    DIAGNOSTIC* c = o.clone();
    std::printf("%d %d %d\n", o.cols_left(), c->cols_left(), c->header_done());
    c->print();
    delete c;
    o.finish();
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
  EXPECT_EQ(r.out, "1 0 2\n72 79 0\nwarning: to out\ncount=4\n");
  EXPECT_EQ(r.err, "error: abc\nerror: def\nerror: error: original\n\n"
                   "error: uncounted\nfatal error: survived\n");
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
    std::atexit([] { std::fputs("write undone\n", stderr); });
    for (int i = 1; i <= 101; ++i) raiseError("e" + std::to_string(i));
    std::printf("not reached\n");
  });
  EXPECT_EQ(more.status, 1);
  EXPECT_EQ(more.out, "");
  // The exit-time handlers run, so a write in progress is undone.
  EXPECT_EQ(more.err, expected + "error: e101\nfatal error: error limit reached; 100 errors detected\n"
                                 "write undone\n");

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
