#include "DIAG/diag.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "DIAG/diag_kinds.h"

namespace DIAG {

// Raising sites are printed under the library's own names, whatever the
// path of the build.
constexpr const char* kDiagFile = "DIAG/diag";
constexpr uint32_t kErrorLimitLine = 151;
constexpr uint32_t kWrapAssertLine = 688;

const DIAG_MESSAGE msg_error_limit = {99900, "error limit reached; %u errors detected", "",
                                      DIAG_FATAL, false, false};
const DIAG_MESSAGE msg_internal_debug = {99920, "%s", "", DIAG_DEBUG, true, false};
const DIAG_MESSAGE msg_remark = {99921, "%s", "", DIAG_REMARK, false, true};
const DIAG_MESSAGE msg_warning = {99922, "%s", "", DIAG_WARNING, false, true};
const DIAG_MESSAGE msg_error = {99923, "%s", "", DIAG_ERROR, false, true};
const DIAG_MESSAGE msg_app_error = {99924, "%s", "", DIAG_ERROR, true, true};
const DIAG_MESSAGE msg_fatal = {99925, "%s", "", DIAG_FATAL, false, true};
const DIAG_MESSAGE msg_internal_fatal = {99926, "%s", "", DIAG_FATAL, true, true};

int diag_cols = 79;
int indent = 0;
int wrap_indent = 3;
bool diag_wrap = true;
bool diag_wrap_header = false;
bool diag_show_advice = false;
bool diag_show_debug = false;
bool diag_show_remarks = false;
bool diag_show_warnings = true;
bool diag_show_ids = false;
bool diag_show_raise_site = false;
bool diag_show_source = false;
bool diag_no_count = false;
unsigned diag_error_limit = 100;
FILE* diag_stream = nullptr;

int diag_error_count = 0;

namespace {

// Shared by all formatting; grows, never shrinks.
std::vector<char> diag_text_buffer;

bool is_white(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

void spaces(FILE* out, int n) {
  for (int i = 0; i < n; ++i) std::fputc(' ', out);
}

}  // namespace

const char* severity_word(int severity) {
  switch (severity) {
    case DIAG_SUPPRESSED: return "(suppressed)";
    case DIAG_NO_ERROR: return "(no error)";
    case DIAG_ADVICE: return "advice";
    case DIAG_DEBUG: return "debug";
    case DIAG_REMARK: return "remark";
    case DIAG_WARNING: return "warning";
    case DIAG_ERROR: return "error";
    case DIAG_FATAL: return "fatal error";
    default: return "(unknown)";
  }
}

std::string format_position(const DIAG_SRCINFO* position) {
  if (!position) return {};
  std::string file = position->file_name();
  if (file.empty()) return {};
  std::string text = "\"" + file + "\"";
  if (position->line() != 0) text += ", line " + std::to_string(position->line());
  if (position->approximate()) text += " (approximate)";
  return text;
}

size_t find_break(const char* text, size_t length, int n) {
  if (length == 0) return 0;
  if (!diag_wrap || n < 0 || length < static_cast<size_t>(n)) return length - 1;
  // A text of exactly n characters is taken as not fitting.
  if (n == 0) return 0;
  size_t p = static_cast<size_t>(n) - 1;
  if (length - p >= 2 && is_white(text[p + 1])) return p;
  while (p > 0 && !is_white(text[p])) --p;
  if (!is_white(text[p])) return 0;
  while (p > 0 && is_white(text[p])) --p;
  return p;
}

}  // namespace DIAG

using namespace DIAG;

bool DIAG_SRCINFO_DATA::equals(const DIAG_SRCINFO& other) const {
  return line_ == other.line() && column_ == other.column() && file_ == other.file_name();
}

DIAGNOSTIC::DIAGNOSTIC(const DIAG_MESSAGE* message, const char* raise_file, uint32_t raise_line,
                       DIAG_SRCINFO* position)
    : message_(message), cols_left_(diag_cols), position_(position), raise_file_(raise_file),
      raise_line_(raise_line) {}

DIAGNOSTIC::DIAGNOSTIC(const DIAGNOSTIC& other)
    : message_(other.message_), cols_left_(diag_cols), position_(nullptr),
      raise_file_(other.raise_file_), raise_line_(other.raise_line_) {
  if (other.position_) {
    position_ = new DIAG_SRCINFO_DATA(other.position_->file_name(), other.position_->line(),
                                      other.position_->column(),
                                      other.position_->approximate());
  }
}

DIAGNOSTIC::~DIAGNOSTIC() { delete position_; }

int DIAGNOSTIC::print() { return print_header(); }

bool DIAGNOSTIC::same_as(const DIAGNOSTIC& other) const {
  if (message_->code != other.message_->code || !position_ || !other.position_) return false;
  return position_->equals(*other.position_);
}

void DIAGNOSTIC::dump() const {
  std::printf("Code : %d\n", message_->code);
  std::printf("std_msg : %s\n", message_->std_msg);
  std::printf("vrb_msg : %s\n", message_->vrb_msg);
  if (position_) {
    std::printf("File : %s\n", position_->file_name().c_str());
    std::printf("Line : %d\n", static_cast<int>(position_->line()));
    std::printf("Column: %d\n", static_cast<int>(position_->column()));
  }
}

FILE* DIAGNOSTIC::out() const {
  if (diag_stream) return diag_stream;
  int s = severity();
  return (s >= DIAG_SUPPRESSED && s <= DIAG_REMARK) ? stdout : stderr;
}

bool DIAGNOSTIC::shown() const {
  switch (severity()) {
    case DIAG_SUPPRESSED: return false;
    case DIAG_ADVICE: return diag_show_advice;
    case DIAG_DEBUG: return diag_show_debug;
    case DIAG_REMARK: return diag_show_remarks;
    case DIAG_WARNING: return diag_show_warnings;
    default: return true;
  }
}

int DIAGNOSTIC::print_header() {
  header_done_ = true;
  if (!shown()) return 0;
  finish();
  bool saved_wrap = diag_wrap;
  if (!diag_wrap_header) diag_wrap = false;
  int printed = 0;
  for (int i = 0; i < indent; ++i) printed += print_text(" ");
  if (diag_show_raise_site || message_->internal)
    printed += print_text("%s:%u:", raise_file_ ? raise_file_ : "", raise_line_);
  std::string position = format_position(position_);
  if (!position.empty()) printed += print_text("%s: ", position.c_str());
  int s = severity();
  if (!diag_show_ids && !message_->internal && s != DIAG_ADVICE) {
    printed += print_text("%s: ", severity_word(s));
  } else {
    bool discretionary = !message_->not_discretionary && !message_->internal && s < DIAG_FATAL;
    printed += print_text("%s%s #%u%s: ", message_->internal ? "internal " : "",
                          severity_word(s), static_cast<unsigned>(message_->code),
                          discretionary ? "-D" : "");
  }
  diag_wrap = saved_wrap;
  return printed;
}

int DIAGNOSTIC::print_text(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  int n = vprint_text(fmt, args);
  va_end(args);
  return n;
}

int DIAGNOSTIC::vprint_text(const char* fmt, va_list args) {
  if (!shown()) return 0;
  va_list again;
  va_copy(again, args);
  int n = std::vsnprintf(diag_text_buffer.data(), diag_text_buffer.size(), fmt, args);
  if (n < 0) n = 0;
  if (static_cast<size_t>(n) >= diag_text_buffer.size()) {
    diag_text_buffer.assign(static_cast<size_t>(n) + 1, '\0');
    n = std::vsnprintf(diag_text_buffer.data(), diag_text_buffer.size(), fmt, again);
    if (n < 0) n = 0;
  }
  va_end(again);
  if (diag_wrap && cols_left_ < 1) new_line();
  print_wrapped(diag_text_buffer.data(), static_cast<size_t>(n));
  return n;
}

void DIAGNOSTIC::new_line() {
  FILE* stream = out();
  std::fputc('\n', stream);
  cols_left_ = diag_cols - (indent + wrap_indent);
  spaces(stream, indent + wrap_indent);
}

void DIAGNOSTIC::print_wrapped(const char* text, size_t length) {
  if (!(diag_cols > indent + wrap_indent)) {
    std::fflush(stdout);
    std::fprintf(stderr, "%s:%u: print_wrapped: Assertion `%s' failed.\n", kDiagFile,
                 kWrapAssertLine, "diag_cols > (indent + wrap_indent)");
    std::abort();
  }
  const int full = diag_cols - (indent + wrap_indent);
  FILE* stream = out();
  const char* end = text + length;
  while (text < end) {
    size_t left = static_cast<size_t>(end - text);
    size_t piece;  // characters printed from `text`
    size_t b = find_break(text, left, cols_left_);
    if (b == 0) {
      size_t b2 = find_break(text, left, full);
      if (b2 > 0) {
        new_line();
        piece = b2 + 1;
      } else {
        // Nothing fits anywhere: cut hard, always making progress.
        piece = std::max<size_t>(1, std::min<size_t>(std::max(cols_left_, 0), left));
      }
    } else {
      piece = b + 1;
    }
    // A line feed ends the piece; it is consumed, not printed.
    size_t skip = 0;
    if (const void* lf = std::memchr(text, '\n', piece)) {
      piece = static_cast<size_t>(static_cast<const char*>(lf) - text);
      skip = 1;
    }
    std::fprintf(stream, "%.*s", static_cast<int>(piece), text);
    cols_left_ -= static_cast<int32_t>(piece);
    text += piece + skip;
    while (text < end && is_white(*text)) ++text;
    if (text >= end) break;
    new_line();
  }
}

int DIAGNOSTIC::finish() {
  if (cols_left_ >= diag_cols) return 0;
  cols_left_ = diag_cols;
  int printed = std::fprintf(out(), "\n");
  if (diag_show_source) show_source_line();
  if (diag_no_count) return printed;
  int s = severity();
  if (s >= DIAG_ERROR) ++diag_error_count;
  if (s >= DIAG_FATAL) {
    if (message_->internal) std::abort();  // the fatal-signal handler reports it
    std::exit(1);  // not _exit: exit-time handlers undo a write in progress
  }
  if (diag_error_count > static_cast<int>(diag_error_limit)) {
    max_errors limit(kDiagFile, kErrorLimitLine, diag_error_limit);
    limit.print();
  }
  return printed;
}

void DIAGNOSTIC::show_source_line() const {
  if (!position_ || position_->line() == 0 || position_->approximate()) return;
  std::string file = position_->file_name();
  if (file.empty()) return;
  FILE* in = std::fopen(file.c_str(), "r");
  if (!in) return;
  std::string kept;
  uint32_t line = 1;
  const uint32_t wanted = position_->line();
  for (int c; (c = std::fgetc(in)) != EOF;) {
    if (line > wanted && c != '\n') break;
    if (line == wanted) kept += static_cast<char>(c);
    if (c == '\n') ++line;
  }
  std::fclose(in);
  if (kept.empty()) return;
  FILE* stream = out();
  std::fwrite(kept.data(), 1, kept.size(), stream);
  if (position_->column() != 0)
    std::fprintf(stream, "%-*s^\n", static_cast<int>(position_->column() - 1), "");
}
