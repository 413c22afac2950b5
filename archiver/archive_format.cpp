#include "archiver/archive_format.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

std::string_view rawField(const char* header, HeaderField field) {
  return std::string_view(header + field.offset, field.width);
}

namespace {

// The C locale's classes, which the process never leaves: plain tests are
// cheaper than the library's tables on every header of a large archive.
bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

bool parseDecimal(std::string_view text, long* value) {
  size_t i = 0;
  while (i < text.size() && isSpace(text[i])) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  if (i >= text.size() || !isDigit(text[i])) return false;
  // Header fields hold at most 12 characters, far from overflowing a long;
  // longer texts saturate as strtol does.
  unsigned long magnitude = 0;
  for (; i < text.size() && isDigit(text[i]); ++i) {
    unsigned digit = static_cast<unsigned>(text[i] - '0');
    if (magnitude > (static_cast<unsigned long>(LONG_MAX) + 1 - digit) / 10) {
      *value = negative ? LONG_MIN : LONG_MAX;
      return true;
    }
    magnitude = magnitude * 10 + digit;
  }
  if (!negative && magnitude > static_cast<unsigned long>(LONG_MAX)) magnitude = LONG_MAX;
  *value = negative ? static_cast<long>(0 - magnitude) : static_cast<long>(magnitude);
  return true;
}

uint32_t roundUpEven(uint32_t n) { return n + (n & 1u); }

std::string escapeTableName(const std::string& name) {
  if (name.find_first_of("/\\") == std::string::npos) return name;
  std::string out;
  for (size_t i = 0; i < name.size();) {
    char c = name[i];
    if (c == '/' || c == '\\') {
      while (i < name.size() && name[i] == c) ++i;
      out += '|';
    } else {
      if (c == '|') out += '|';
      out += c;
      ++i;
    }
  }
  return out;
}

std::string unescapeTableName(const std::string& text) {
  if (text.find('|') == std::string::npos) return text;
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '|') {
      out += text[i];
    } else if (i + 1 < text.size() && text[i + 1] == '|') {
      out += '|';
      ++i;
    } else {
      out += '/';
    }
  }
  return out;
}

bool isNameTableName(const char* name) {
  return std::strcmp(name, kPosixNameTableName) == 0 || std::strcmp(name, kQvNameTableName) == 0;
}
