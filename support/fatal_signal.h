// The fatal-signal handler: every signal that can end the process ends it
// with a short report on standard error and status 2.
#pragma once

// Run in the handler just before the process ends, with the signal number.
// It must use only async-signal-safe calls.
using FatalCleanupHook = void (*)(int signo);

// Installs `handler` for SIGILL, SIGABRT, SIGFPE, SIGSEGV, SIGBUS, SIGTERM,
// SIGINT and SIGQUIT (the console break), ignores SIGXFSZ, and stores `hook`.
void install_fatal_handler(void (*handler)(int), FatalCleanupHook hook);

// Replaces the clean-up hook (null removes it).
void set_fatal_cleanup_hook(FatalCleanupHook hook);

// Writes the report for `signo` naming `tool_name` and ends the process with
// status 2. `detail_format` (printf-style, may be null) adds a detail line.
[[noreturn]] void fatal_signal(int signo, const char* tool_name, const char* detail_format, ...);

// The text that follows the tool name in the INTERNAL ERROR line.
const char* fault_description(int signo);

// The closing advice of the report, on standard error.
void print_defect_advice();

// Ends the process through the handler's report as if `signo` had been
// raised, without undefined behaviour: used where the program stops on
// purpose (for example SIGSEGV for a missing interface).
[[noreturn]] void raise_fatal(int signo);
