// The printf-style reporters: raising sites, bodies, counting, die.
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "common/test_util.h"
#include "DIAG/diag.h"
#include "DIAG/user_msg_api.h"

using testutil::inChild;

TEST(UserMsgApi, ReportersAndTheirLines) {
  auto r = inChild([] {
    DIAG_REPORTER* rep = user_msg_reporter();
    std::printf("same=%d flag=%d\n", rep == user_msg_reporter(), rep->warnings_are_errors);
    user_msg_remark(rep, "remark %d", 1);
    user_msg_warning(rep, 0, "warning %s", "two");
    user_msg_error(rep, "error %c", '3');
    user_msg_app_error(rep, "pfread called with a NULL FILE pointer");
    user_msg_app_error(rep, "short %u", 4u);
    std::printf("count=%d\n", DIAG::diag_error_count);
    rep->warnings_are_errors = true;
    user_msg_warning(rep, 0, "promoted");
    std::printf("count=%d\n", DIAG::diag_error_count);
    DIAG::diag_show_remarks = true;
    DIAG::diag_show_raise_site = true;
    user_msg_remark(rep, "seen");
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "same=1 flag=0\ncount=3\ncount=4\nDIAG/user_msg_api:63:remark: seen\n");
  EXPECT_EQ(r.err,
            "warning: warning two\n"
            "error: error 3\n"
            "DIAG/user_msg_api:175:internal error #99924: (pfread called with a NULL FILE\n"
            "   pointer)\n"
            "DIAG/user_msg_api:175:internal error #99924: (short 4)\n"
            "error: promoted\n");
}

TEST(UserMsgApi, RaisingSitesOfWarningsAndErrors) {
  auto r = inChild([] {
    DIAG::diag_show_raise_site = true;
    DIAG_REPORTER* rep = user_msg_reporter();
    user_msg_warning(rep, 0, "w");
    user_msg_error(rep, "e");
    rep->warnings_are_errors = true;
    user_msg_warning(rep, 0, "we");
  });
  EXPECT_EQ(r.err, "DIAG/user_msg_api:115:warning: w\nDIAG/user_msg_api:148:error: e\n"
                   "DIAG/user_msg_api:113:error: we\n");
}

TEST(UserMsgApi, PercentFromArgumentsAndNullFormat) {
  auto r = inChild([] {
    DIAG_REPORTER* rep = user_msg_reporter();
    user_msg_error(rep, "%s", "100%d %s");
    user_msg_app_error(rep, "%s", "50%");
    user_msg_error(rep, nullptr);
    std::printf("count=%d\n", DIAG::diag_error_count);
  });
  EXPECT_EQ(r.status, 0);
  // An empty text still ends its line and is counted.
  EXPECT_EQ(r.err, "error: 100%d %s\nDIAG/user_msg_api:175:internal error #99924: (50%)\nerror: \n");
  EXPECT_EQ(r.out, "count=3\n");
}

TEST(UserMsgApi, DieAborts) {
  auto r = inChild([] {
    user_msg_die(user_msg_reporter(), "ZQ4_MACHINE::section_flags", "Not an ELF section %d", 5);
  });
  // Without a fatal-signal handler the abort signal ends the child.
  EXPECT_EQ(r.status, 128 + SIGABRT);
  EXPECT_EQ(r.err, "DIAG/user_msg_api:213:internal fatal error #99926: (ZQ4_MACHINE::section_flags:\n"
                   "   Not an ELF section 5)\n");
}
