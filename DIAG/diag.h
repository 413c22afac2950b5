// Diagnostic records and their printing: the header, the word-wrapped text,
// the echo of the source line, counting, the fatal exit and the error limit.
// The settings, the error count and the text buffer are process-wide.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>

// The order matters: counting and ending the program compare on the number.
enum DIAG_SEVERITY : int32_t {
  DIAG_SUPPRESSED = 0,
  DIAG_NO_ERROR = 1,
  DIAG_ADVICE = 2,
  DIAG_DEBUG = 3,
  DIAG_REMARK = 4,
  DIAG_WARNING = 5,
  DIAG_ERROR = 6,
  DIAG_FATAL = 7,
};

// One static record per message of the library.
struct DIAG_MESSAGE {
  int32_t code;
  const char* std_msg;  // printf format filled by the diagnostic's arguments
  const char* vrb_msg;  // only the debug dump prints it
  DIAG_SEVERITY severity;
  bool internal;           // a fault of the tool itself
  bool not_discretionary;  // when false the numbered header ends in "-D"
};

// A position in a source file that a diagnostic refers to.
struct DIAG_SRCINFO {
  virtual std::string file_name() const = 0;
  virtual uint32_t line() const = 0;    // 0: none
  virtual uint32_t column() const = 0;  // 1-based, 0: none
  virtual bool approximate() const = 0;
  virtual ~DIAG_SRCINFO() = default;
  virtual bool equals(const DIAG_SRCINFO& other) const = 0;
};

struct DIAG_SRCINFO_DATA : DIAG_SRCINFO {
  DIAG_SRCINFO_DATA(std::string file, uint32_t line, uint32_t column, bool approximate)
      : file_(std::move(file)), line_(line), column_(column), approximate_(approximate) {}
  std::string file_name() const override { return file_; }
  uint32_t line() const override { return line_; }
  uint32_t column() const override { return column_; }
  bool approximate() const override { return approximate_; }
  bool equals(const DIAG_SRCINFO& other) const override;

private:
  std::string file_;
  uint32_t line_;
  uint32_t column_;
  bool approximate_;
};

namespace DIAG {

// The library's own records.
extern const DIAG_MESSAGE msg_error_limit;     // 99900
extern const DIAG_MESSAGE msg_internal_debug;  // 99920
extern const DIAG_MESSAGE msg_remark;          // 99921
extern const DIAG_MESSAGE msg_warning;         // 99922
extern const DIAG_MESSAGE msg_error;           // 99923
extern const DIAG_MESSAGE msg_app_error;       // 99924
extern const DIAG_MESSAGE msg_fatal;           // 99925
extern const DIAG_MESSAGE msg_internal_fatal;  // 99926

// Settings. zolt never changes them; the tests do.
extern int diag_cols;               // output line width, 79
extern int indent;                  // spaces before every header, 0
extern int wrap_indent;             // extra spaces of continuation lines, 3
extern bool diag_wrap;              // word-wrap the text, true
extern bool diag_wrap_header;       // keep wrapping on for the header, false
extern bool diag_show_advice;       // false
extern bool diag_show_debug;        // false
extern bool diag_show_remarks;      // false
extern bool diag_show_warnings;     // true
extern bool diag_show_ids;          // numbered header for every severity, false
extern bool diag_show_raise_site;   // "%s:%u:" prefix, false
extern bool diag_show_source;       // echo the source line and a caret, false
extern bool diag_no_count;          // no counting, no fatal end, no limit, false
extern unsigned diag_error_limit;   // 100
extern FILE* diag_stream;           // when set, every diagnostic goes there

extern int diag_error_count;

// "(suppressed)", ..., "fatal error"; "(unknown)" outside 0 to 7.
const char* severity_word(int severity);

// "\"file\", line N (approximate)"; empty without a position or a file name.
std::string format_position(const DIAG_SRCINFO* position);

// Where the first `n` columns of `text` (of `length` characters) may end:
// the index of the last character of the piece. 0 can also mean that
// nothing fits.
size_t find_break(const char* text, size_t length, int n);

}  // namespace DIAG

// One occurrence of a message, printed by the raising code and destroyed.
class DIAGNOSTIC {
public:
  // Takes ownership of `position` (may be null).
  DIAGNOSTIC(const DIAG_MESSAGE* message, const char* raise_file, uint32_t raise_line,
             DIAG_SRCINFO* position = nullptr);
  // Copies the record and the raising site; a fresh line state; the position
  // is copied through its queries.
  DIAGNOSTIC(const DIAGNOSTIC& other);
  DIAGNOSTIC& operator=(const DIAGNOSTIC&) = delete;

  virtual ~DIAGNOSTIC();
  virtual DIAGNOSTIC* clone() const = 0;
  // The header only; the kinds print the whole diagnostic.
  virtual int print();
  virtual bool is_deferred() const { return false; }
  // Same code and an equal source position (false without a position).
  virtual bool same_as(const DIAGNOSTIC& other) const;
  virtual void on_raise() {}
  // Debug listing on standard output.
  virtual void dump() const;

  // The header; the characters printed.
  int print_header();
  // Formats the text and prints it wrapped; the formatted length.
  int print_text(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  int vprint_text(const char* fmt, va_list args);
  // Ends the line, counts, and ends the program when the diagnostic is fatal
  // or the error limit is passed; the characters printed for the newline.
  int finish();

  const DIAG_MESSAGE* message() const { return message_; }
  DIAG_SEVERITY severity() const { return message_->severity; }
  const DIAG_SRCINFO* position() const { return position_; }
  int cols_left() const { return cols_left_; }
  bool header_done() const { return header_done_; }
  // The stream this diagnostic is printed on.
  FILE* out() const;

private:
  bool shown() const;
  void new_line();
  void print_wrapped(const char* text, size_t length);
  void show_source_line() const;

  const DIAG_MESSAGE* message_;
  int32_t cols_left_;
  DIAG_SRCINFO* position_;
  const char* raise_file_;
  uint32_t raise_line_;
  bool header_done_ = false;
};
