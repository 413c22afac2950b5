// The fatal paths of the diagnostics as the program sees them: a die ends
// in the fatal-signal handler with status 2; the error limit and fatal
// diagnostics exit with status 1 through exit-time handlers.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "DIAG/child_capture.h"
#include "DIAG/user_msg_api.h"
#include "support/fatal_signal.h"

using testutil::inChild;

TEST(DiagAbort, DieEndsInTheFatalHandlerWithStatusTwo) {
  auto r = inChild([] {
    install_fatal_handler([](int s) { fatal_signal(s, "zolt-test-name-string", nullptr); },
                          nullptr);
    std::atexit([] { std::fputs("exit handler ran\n", stderr); });
    user_msg_die(user_msg_reporter(), "OF_MACHINE::flags", "Not an ELF section");
  });
  EXPECT_EQ(r.status, 2);
  const std::string head =
      "DIAG/user_msg_api:213:internal fatal error #99926: (OF_MACHINE::flags: Not an\n"
      "   ELF section)\n"
      "\nINTERNAL ERROR: ";
  ASSERT_EQ(r.err.substr(0, head.size()), head) << r.err;
  EXPECT_NE(r.err.find(" had an internal inconsistency and aborted\n"), std::string::npos);
  // The handler ends the process without exit-time clean-up.
  EXPECT_EQ(r.err.find("exit handler ran"), std::string::npos);
}

TEST(DiagAbort, ErrorLimitRunsExitHandlers) {
  auto r = inChild([] {
    std::atexit([] { std::fputs("write undone\n", stderr); });
    for (int i = 0; i < 101; ++i) user_msg_error(user_msg_reporter(), "e");
  });
  EXPECT_EQ(r.status, 1);
  std::string expected;
  for (int i = 0; i < 101; ++i) expected += "error: e\n";
  EXPECT_EQ(r.err, expected + "fatal error: error limit reached; 100 errors detected\n"
                              "write undone\n");
}
