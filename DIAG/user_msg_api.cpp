#include "DIAG/user_msg_api.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "DIAG/diag_kinds.h"

namespace {

// The raising sites printed by the internal kinds: this file under its
// library name, and one fixed line per reporter.
constexpr const char* kApiFile = "DIAG/user_msg_api";
constexpr uint32_t kRemarkLine = 63;
constexpr uint32_t kWarningAsErrorLine = 113;
constexpr uint32_t kWarningLine = 115;
constexpr uint32_t kErrorLine = 148;
constexpr uint32_t kAppErrorLine = 175;
constexpr uint32_t kDieLine = 213;

// Formats once; the kinds only copy the result, so a percent sign that the
// arguments produce is printed as it stands.
std::string format_text(const char* fmt, va_list args) {
  if (!fmt) return {};
  va_list again;
  va_copy(again, args);
  int n = std::vsnprintf(nullptr, 0, fmt, args);
  if (n < 0) n = 0;
  std::vector<char> buffer(static_cast<size_t>(n) + 1, '\0');
  std::vsnprintf(buffer.data(), buffer.size(), fmt, again);
  va_end(again);
  return std::string(buffer.data(), static_cast<size_t>(n));
}

}  // namespace

DIAG_REPORTER* user_msg_reporter() {
  static DIAG_REPORTER* reporter = new DIAG_REPORTER;
  return reporter;
}

void user_msg_remark(DIAG_REPORTER*, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  std::string text = format_text(fmt, args);
  va_end(args);
  DIAG::gremark(kApiFile, kRemarkLine, std::move(text)).print();
}

void user_msg_warning(DIAG_REPORTER* reporter, int, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  std::string text = format_text(fmt, args);
  va_end(args);
  if (reporter && reporter->warnings_are_errors)
    DIAG::gerror(kApiFile, kWarningAsErrorLine, std::move(text)).print();
  else
    DIAG::gwarning(kApiFile, kWarningLine, std::move(text)).print();
}

void user_msg_error(DIAG_REPORTER*, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  std::string text = format_text(fmt, args);
  va_end(args);
  DIAG::gerror(kApiFile, kErrorLine, std::move(text)).print();
}

void user_msg_app_error(DIAG_REPORTER*, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  std::string text = format_text(fmt, args);
  va_end(args);
  DIAG::gapperror(kApiFile, kAppErrorLine, std::move(text)).print();
}

void user_msg_die(DIAG_REPORTER*, const char* location, const char* fmt, ...) {
  // The joined text is the format: a percent sign in the location is read
  // as a conversion, so callers pass plain names.
  std::string joined = std::string(location ? location : "") + ": " + (fmt ? fmt : "");
  va_list args;
  va_start(args, fmt);
  std::string text = format_text(joined.c_str(), args);
  va_end(args);
  DIAG::gdie(kApiFile, kDieLine, std::move(text)).print();
  // Only reached when counting is switched off.
  std::abort();
}
