#include "DIAG/diag_kinds.h"

#include <utility>

namespace DIAG {

namespace {

std::string take(std::string& text) {
  std::string taken = std::move(text);
  text.clear();
  return taken;
}

// Remarks, warnings and errors print their text as it stands.
int print_plain(DIAGNOSTIC& d, const std::string& text) {
  int printed = d.print_header();
  printed += d.print_text(d.message()->std_msg, text.c_str());
  d.finish();
  return printed;
}

// Internal kinds print their text in parentheses.
int print_parenthesised(DIAGNOSTIC& d, const std::string& text) {
  int printed = d.print_header();
  printed += d.print_text("(%s)", text.c_str());
  d.finish();
  return printed;
}

}  // namespace

gremark::gremark(const char* file, uint32_t line, std::string&& text)
    : DIAGNOSTIC(&msg_remark, file, line), text_(take(text)) {}
int gremark::print() { return print_plain(*this, text_); }

gwarning::gwarning(const char* file, uint32_t line, std::string&& text)
    : DIAGNOSTIC(&msg_warning, file, line), text_(take(text)) {}
int gwarning::print() { return print_plain(*this, text_); }

gerror::gerror(const char* file, uint32_t line, std::string&& text)
    : DIAGNOSTIC(&msg_error, file, line), text_(take(text)) {}
int gerror::print() { return print_plain(*this, text_); }

gapperror::gapperror(const char* file, uint32_t line, std::string&& text)
    : DIAGNOSTIC(&msg_app_error, file, line), text_(take(text)) {}
int gapperror::print() { return print_parenthesised(*this, text_); }

gdie::gdie(const char* file, uint32_t line, std::string&& text)
    : DIAGNOSTIC(&msg_internal_fatal, file, line), text_(take(text)) {}
int gdie::print() { return print_parenthesised(*this, text_); }

max_errors::max_errors(const char* file, uint32_t line, uint32_t limit)
    : DIAGNOSTIC(&msg_error_limit, file, line), limit_(limit) {}

int max_errors::print() {
  int printed = print_header();
  printed += print_text(message()->std_msg, limit_);
  finish();
  return printed;
}

}  // namespace DIAG
