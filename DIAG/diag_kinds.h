// The concrete diagnostics: five kinds that carry a free text, and the
// error-limit diagnostic raised by DIAGNOSTIC::finish.
#pragma once

#include <string>

#include "DIAG/diag.h"

namespace DIAG {

// Each text kind takes the raising site and the already formatted text,
// which is moved in (the caller's string is left empty).
class gremark : public DIAGNOSTIC {
public:
  gremark(const char* file, uint32_t line, std::string&& text);
  gremark(const gremark& other) : DIAGNOSTIC(other), text_(other.text_) {}
  DIAGNOSTIC* clone() const override { return new gremark(*this); }
  int print() override;
  const std::string& text() const { return text_; }

private:
  std::string text_;
};

class gwarning : public DIAGNOSTIC {
public:
  gwarning(const char* file, uint32_t line, std::string&& text);
  gwarning(const gwarning& other) : DIAGNOSTIC(other), text_(other.text_) {}
  DIAGNOSTIC* clone() const override { return new gwarning(*this); }
  int print() override;
  const std::string& text() const { return text_; }

private:
  std::string text_;
};

class gerror : public DIAGNOSTIC {
public:
  gerror(const char* file, uint32_t line, std::string&& text);
  gerror(const gerror& other) : DIAGNOSTIC(other), text_(other.text_) {}
  DIAGNOSTIC* clone() const override { return new gerror(*this); }
  int print() override;
  const std::string& text() const { return text_; }

private:
  std::string text_;
};

// Internal error: the text is printed in parentheses; the caller goes on.
class gapperror : public DIAGNOSTIC {
public:
  gapperror(const char* file, uint32_t line, std::string&& text);
  gapperror(const gapperror& other) : DIAGNOSTIC(other), text_(other.text_) {}
  DIAGNOSTIC* clone() const override { return new gapperror(*this); }
  int print() override;
  const std::string& text() const { return text_; }

private:
  std::string text_;
};

// Internal fatal error: printed like gapperror, then the process aborts.
class gdie : public DIAGNOSTIC {
public:
  gdie(const char* file, uint32_t line, std::string&& text);
  gdie(const gdie& other) : DIAGNOSTIC(other), text_(other.text_) {}
  DIAGNOSTIC* clone() const override { return new gdie(*this); }
  int print() override;
  const std::string& text() const { return text_; }

private:
  std::string text_;
};

// Shows the limit, not the count; ends the program with status 1.
class max_errors : public DIAGNOSTIC {
public:
  max_errors(const char* file, uint32_t line, uint32_t limit);
  max_errors(const max_errors& other) : DIAGNOSTIC(other), limit_(other.limit_) {}
  DIAGNOSTIC* clone() const override { return new max_errors(*this); }
  int print() override;

private:
  uint32_t limit_;
};

}  // namespace DIAG
