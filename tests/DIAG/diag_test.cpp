// The diagnostics as they print: header forms, streams, filters, wrapping at
// the line width, counting, the fatal ends, the error limit and the
// reporters' raising sites, positions and the source echo (which no caller
// in zolt uses). Each row runs in a child of its own, since the settings and
// the count are process-wide.
#include <gtest/gtest.h>

#include <memory>

#include "DIAG/diag_kinds.h"
#include "DIAG/user_msg_api.h"
#include "unit.h"

using namespace DIAG;

namespace {

// A diagnostic over any record.
struct D : DIAGNOSTIC {
  using DIAGNOSTIC::DIAGNOSTIC;
  DIAGNOSTIC* clone() const override { return new D(*this); }
};

void say(const DIAG_MESSAGE& m, const std::string& text, DIAG_SRCINFO* at = nullptr) {
  D d(&m, "src/x", 9, at);
  d.print_header(), d.print_text("%s", text.c_str()), d.finish();
}

void error(const std::string& text) { gerror("t", 1, std::string(text)).print(); }

struct Row {
  std::function<void()> run;
  int status;
  std::string out, err;
};

void expectRows(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    unit::Ran r = unit::inChild(row.run);
    EXPECT_EQ(std::tuple(r.status, r.out, r.err), std::tuple(row.status, row.out, row.err)) << &row - rows.data();
  }
}

}  // namespace

TEST(Diag, HeadersStreamsFiltersAndClones) {
  expectRows({
      {[] {
         for (int s = 0; s <= 6; ++s) say({s, "%s", "", DIAG_SEVERITY(s), false, true}, "s");  // the defaults
         diag_show_warnings = false;
         say(msg_warning, "hidden"), std::printf("%d\n", diag_error_count);
         diag_show_advice = diag_show_debug = diag_show_remarks = diag_show_warnings = diag_no_count = true;
         for (int s = -1; s <= 8; ++s) say({s + 10, "%s", "", DIAG_SEVERITY(s), false, true}, "t");
         say({1234, "%s", "", DIAG_ADVICE, false, false}, "hint");  // always numbered
         diag_show_ids = true;
         say(msg_error, "a"), say({42, "%s", "", DIAG_ERROR, false, false}, "b");
         say({43, "%s", "", DIAG_FATAL, false, false}, "c"), say({44, "%s", "", DIAG_ERROR, true, false}, "d");
         diag_show_ids = false, diag_show_raise_site = true, indent = 2;
         say(msg_warning, "e");
       }, 0, "(no error): s\n1\n(no error): t\nadvice #12: t\ndebug: t\nremark: t\nadvice #1234-D: hint\n",
       "warning: s\nerror: s\n(unknown): t\nwarning: t\nerror: t\nfatal error: t\n(unknown): t\nerror #99923: a\n"
       "error #42-D: b\nfatal error #43: c\nsrc/x:9:internal error #44: d\n  src/x:9:warning: e\n"},
      {[] {
         gerror e("t", 1, "x"), o("t", 1, "original");
         e.print_header(), e.print_text("abc"), e.print_header(), e.print_text("def");  // the second closes the line
         const int first = e.finish(), second = e.finish();
         o.print_header();
         std::unique_ptr<DIAGNOSTIC> c(o.clone());
         std::printf("%d %d %d %d %d %d ", first, second, diag_error_count, o.cols_left(), c->cols_left(),
                     c->header_done());
         c->print(), o.finish();
         D filtered(&msg_remark, "t", 1);
         std::printf("%d %d", filtered.print_header(), filtered.finish());
       }, 0, "1 0 2 72 79 0 0 0", "error: abc\nerror: def\nerror: error: original\n\n"},
  });
}

TEST(Diag, WrappingAtTheLineWidth) {
  const std::string a60(60, 'a'), b11(11, 'b'), x72(72, 'x'), n80(80, 'n');
  expectRows({
      {[&] {
         error(a60 + " " + b11), error(a60.substr(1) + " " + b11), error(x72 + x72.substr(44));
         error("first line\nsecond   line\n\n  third\n"), error("ab " + n80), error("ends with a blank ");
         gerror two("t", 1, "");
         two.print_header(), two.print_text("%s", x72.c_str() + 1), two.print_text("z"), two.print_text("q");
         two.print_text("%s", x72.c_str()), two.print_text("hello world"), two.finish();
         say(msg_error, "x", new DIAG_SRCINFO_DATA(n80, 2, 0, false));  // the header is never wrapped
         indent = 2, wrap_indent = 1, diag_cols = 20;
         error("aaaa bbbb cccc dddd eeee");
         indent = 0, wrap_indent = 3, diag_cols = 4;
         error("ab cd");
       }, 0, "",
       "error: " + a60 + "\n   " + b11 + "\nerror: " + a60.substr(1) + " " + b11 + "\nerror: " + x72 + "\n   " +
           x72.substr(44) + "\nerror: first line\n   second   line\n   third\nerror: ab\n   " + n80.substr(4) +
           "\n   nnnn\nerror: ends with a blank \nerror: " + x72.substr(1) + "z\n   q" + x72 + "\n   hello world\n\"" +
           n80 + "\", line 2: error: \n   x\n  error: aaaa bbbb\n   cccc dddd eeee\nerror: \n   a\n   b\n   c\n   d\n"},
      {[] { diag_cols = 3, error("x"); }, 128 + SIGABRT, "",
       "DIAG/diag:688: print_wrapped: Assertion `diag_cols > (indent + wrap_indent)' failed.\n"},
  });
}

TEST(Diag, PositionsAndTheSourceEcho) {
  const std::string file = unit::scratch("echo.c"), at = "\"" + file + "\", line ";
  unit::spit(file, "one\n\tint x = 1;\nthree");
  expectRows({{[&] {
                 diag_show_source = true;
                 for (auto [line, column, approximate] : {std::tuple{2u, 6u, false}, {3u, 0u, false}, {1u, 1u, true},
                                                          {9u, 1u, false}, {0u, 1u, true}})
                   say(msg_error, "e", new DIAG_SRCINFO_DATA(file, line, column, approximate));
                 say(msg_error, "e", new DIAG_SRCINFO_DATA("", 1, 1, false));
               }, 0, "", at + "2: error: e\n\tint x = 1;\n     ^\n" + at + "3: error: e\nthree" + at +
                            "1 (approximate): error: e\n" + at + "9: error: e\n\"" + file +
                            "\" (approximate): error: e\nerror: e\n"}});
}

TEST(Diag, CountingFatalEndsAndTheErrorLimit) {
  static const auto exitHandler = [] { std::atexit([] { std::fputs("exit handlers ran\n", stderr); }); };
  expectRows({
      {[] {
         diag_no_count = true, say(msg_fatal, "survived"), std::printf("%d", diag_error_count);
         diag_no_count = false, exitHandler(), say(msg_fatal, "stop"), std::printf("not reached");
       }, 1, "0", "fatal error: survived\nfatal error: stop\nexit handlers ran\n"},
      {[] { gdie("f", 5, "x").print(); }, 128 + SIGABRT, "", "f:5:internal fatal error #99926: (x)\n"},
      {[] {
         diag_error_limit = 2;
         for (int i = 0; i < 3; ++i) user_msg_app_error(user_msg_reporter(), "a");
       }, 1, "", unit::appError("a") + unit::appError("a") + unit::appError("a") +
                     "fatal error: error limit reached; 2 errors detected\n"},
  });
}

TEST(UserMsgApi, TextsLinesAndWhatTheyRaise) {
  expectRows({
      {[] {
         DIAG_REPORTER* r = user_msg_reporter();
         std::printf("%d %d ", r == user_msg_reporter(), r->warnings_are_errors);
         user_msg_remark(r, "remark %d", 1), user_msg_warning(r, 0, "warning %s", "two");
         user_msg_error(r, "%s", "100%d");
         user_msg_app_error(r, "pfread called with a NULL FILE pointer");
         r->warnings_are_errors = true;
         user_msg_warning(r, 0, "promoted"), user_msg_error(r, nullptr), std::printf("%d\n", diag_error_count);
         diag_show_raise_site = diag_show_remarks = true, r->warnings_are_errors = false;
         user_msg_remark(r, "r"), user_msg_warning(r, 0, "w"), user_msg_error(r, "e");
         r->warnings_are_errors = true;
         user_msg_warning(r, 0, "we");
       }, 0, "1 0 4\nDIAG/user_msg_api:63:remark: r\n",
       "warning: warning two\nerror: 100%d\nDIAG/user_msg_api:175:internal error #99924: (pfread called with a NULL "
       "FILE\n   pointer)\nerror: promoted\nerror: \nDIAG/user_msg_api:115:warning: w\nDIAG/user_msg_api:148:error: "
       "e\nDIAG/user_msg_api:113:error: we\n"},
      {[] { user_msg_die(user_msg_reporter(), "at%d", "x%s", 5, "y"); }, 128 + SIGABRT, "",
       "DIAG/user_msg_api:213:internal fatal error #99926: (at5: xy)\n"},
  });
}
