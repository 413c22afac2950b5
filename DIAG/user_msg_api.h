// The printf-style reporters through which the libraries report: each
// formats its arguments once, raises the matching diagnostic kind with this
// file and a fixed line as its raising site, prints it and destroys it.
#pragma once

// The process-wide reporter; made on the first call of user_msg_reporter and
// never freed.
struct DIAG_REPORTER {
  bool warnings_are_errors = false;  // nothing in zolt sets it
};

DIAG_REPORTER* user_msg_reporter();

// A null format counts as an empty text. A percent sign produced by the
// arguments is printed as it stands.
void user_msg_remark(DIAG_REPORTER* reporter, const char* fmt, ...)
    __attribute__((format(printf, 2, 3)));

// `ignored` is kept for the callers' sake (they pass 0).
void user_msg_warning(DIAG_REPORTER* reporter, int ignored, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));

// Counted; returns unless the error limit is passed.
void user_msg_error(DIAG_REPORTER* reporter, const char* fmt, ...)
    __attribute__((format(printf, 2, 3)));

// An internal error: printed with the raising site and the text in
// parentheses; counted; returns unless the error limit is passed.
void user_msg_app_error(DIAG_REPORTER* reporter, const char* fmt, ...)
    __attribute__((format(printf, 2, 3)));

// An internal fatal error: "location: fmt" is formatted with the arguments
// (so a percent sign in `location` is read as a conversion), printed, and the
// process aborts into the fatal-signal handler.
[[noreturn]] void user_msg_die(DIAG_REPORTER* reporter, const char* location,
                               const char* fmt, ...);
