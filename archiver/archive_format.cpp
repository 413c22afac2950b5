#include "archiver/archive_format.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

std::string rawField(const char* header, HeaderField field) {
  return std::string(header + field.offset, field.width);
}

bool parseDecimal(const std::string& text, long* value) {
  const char* p = text.c_str();
  while (*p && std::isspace(static_cast<unsigned char>(*p))) ++p;
  const char* digits = p;
  if (*digits == '+' || *digits == '-') ++digits;
  if (!std::isdigit(static_cast<unsigned char>(*digits))) return false;
  errno = 0;
  *value = std::strtol(p, nullptr, 10);
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
