#include "support/xml_writer.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "DIAG/user_msg_api.h"
#include "support/checked_io.h"

namespace {

size_t max_tag_name_length = 0;

int put(XML_WRITER* w, const char* text, size_t length) {
  if (length == 0) return 0;
  pfwrite(text, 1, length, w->out, false);
  return static_cast<int>(length);
}

int put(XML_WRITER* w, const std::string& text) { return put(w, text.data(), text.size()); }

int put_format(XML_WRITER* w, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
int put_format(XML_WRITER* w, const char* fmt, ...) {
  char buffer[64];
  va_list args;
  va_start(args, fmt);
  int n = std::vsnprintf(buffer, sizeof buffer, fmt, args);
  va_end(args);
  return n > 0 ? put(w, buffer, static_cast<size_t>(n)) : 0;
}

int put_indent(XML_WRITER* w) {
  static const std::string blanks(255, ' ');
  int count = w->depth * w->indent_width;
  int written = 0;
  for (; count >= 255; count -= 255) written += put(w, blanks);
  if (count > 0) written += put(w, blanks.data(), static_cast<size_t>(count));
  return written;
}

int put_escaped(XML_WRITER* w, const char* text) {
  if (!text) return 0;
  std::string out;
  for (const char* p = text; *p; ++p) {
    switch (*p) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&apos;"; break;
      default: out += *p;
    }
  }
  return put(w, out);
}

// Base64 in lines of 76 characters (57 bytes), each begun with two blanks.
int put_base64(XML_WRITER* w, const uint8_t* bytes, size_t length) {
  static const char alphabet[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out = "  ";
  for (size_t i = 0; bytes && i < length; i += 3) {
    if (i > 0 && i % 57 == 0) out += "\n  ";
    uint32_t group = static_cast<uint32_t>(bytes[i]) << 16;
    if (i + 1 < length) group |= static_cast<uint32_t>(bytes[i + 1]) << 8;
    if (i + 2 < length) group |= bytes[i + 2];
    out += alphabet[(group >> 18) & 63];
    out += alphabet[(group >> 12) & 63];
    out += i + 1 < length ? alphabet[(group >> 6) & 63] : '=';
    out += i + 2 < length ? alphabet[group & 63] : '=';
  }
  out += "\n";
  return put(w, out);
}

// Takes the value of `kind` from `args`, and writes it when `write` is set.
int put_value(XML_WRITER* w, int kind, va_list& args, bool write) {
  switch (kind) {
    case XML_HEX64: {
      unsigned long long v = va_arg(args, unsigned long long);
      return write ? put_format(w, "0x%llx", v) : 0;
    }
    case XML_SIGNED32: {
      long v = va_arg(args, int32_t);
      return write ? put_format(w, "%ld", v) : 0;
    }
    case XML_UNSIGNED32: {
      unsigned long v = va_arg(args, uint32_t);
      return write ? put_format(w, "%lu", v) : 0;
    }
    case XML_TEXT: {
      const char* v = va_arg(args, const char*);
      return write ? put_escaped(w, v) : 0;
    }
    case XML_BYTES: {
      const void* v = va_arg(args, const void*);
      size_t n = va_arg(args, size_t);
      return write ? put_base64(w, static_cast<const uint8_t*>(v), n) : 0;
    }
    default:
      return 0;
  }
}

}  // namespace

XML_TAG::XML_TAG(std::string tag_name, uint32_t first, uint32_t second)
    : name(std::move(tag_name)), value1(first), value2(second) {
  max_tag_name_length = std::max(max_tag_name_length, name.size());
}

size_t xml_max_tag_name_length() { return max_tag_name_length; }

int xml_element(XML_WRITER* w, unsigned flags, int content_kind, XML_TAG* tag,
                int attribute_count, ...) {
  if (tag->name.empty()) tag->name = "reserved";
  const bool open = flags & XML_OPEN;
  const bool close = flags & XML_CLOSE;
  const bool empty = flags & XML_EMPTY;
  // Opened and closed in one call, or empty: never a scope.
  const bool scope = !(open && close) && !empty;
  const bool line_content = content_kind == XML_NONE || content_kind == XML_BYTES;

  va_list args;
  va_start(args, attribute_count);
  int written = 0;
  const bool start_tag = open || empty;
  if (start_tag) {
    written += put_indent(w);
    written += put(w, "<" + tag->name);
  }
  for (int i = 0; i < attribute_count; ++i) {
    const char* name = va_arg(args, const char*);
    int kind = va_arg(args, int);
    if (start_tag) written += put(w, std::string(" ") + (name ? name : "") + "=\"");
    written += put_value(w, kind, args, start_tag);
    if (start_tag) written += put(w, "\"", 1);
  }
  if (start_tag) {
    if (empty) written += put(w, "/", 1);
    written += put(w, ">", 1);
    if (line_content) written += put(w, "\n", 1);
    if (open && scope) {
      ++w->depth;
      w->scopes.push_back(tag);
    }
  }
  if (content_kind != XML_NONE) {
    if (empty)
      user_msg_app_error(user_msg_reporter(), "printing content after empty <%s> tag",
                         tag->name.c_str());
    written += put_value(w, content_kind, args, true);
  }
  va_end(args);

  if (close) {
    if (scope) {
      if (w->scopes.empty()) {
        user_msg_app_error(user_msg_reporter(), "closing scope <%s> when there is no scope open",
                           tag->name.c_str());
      } else {
        const XML_TAG* top = w->scopes.back();
        w->scopes.pop_back();
        if (top != tag)
          user_msg_app_error(user_msg_reporter(), "closing scope <%s> when the current scope is <%s>",
                             tag->name.c_str(), top->name.c_str());
      }
      --w->depth;
    }
    if (line_content) written += put_indent(w);
    written += put(w, "</" + tag->name + ">\n");
  }
  return written;
}

int xml_indent_printf(XML_WRITER* w, const char* fmt, ...) {
  int written = put_indent(w);
  va_list args;
  va_start(args, fmt);
  va_list again;
  va_copy(again, args);
  int n = std::vsnprintf(nullptr, 0, fmt, args);
  if (n > 0) {
    std::vector<char> text(static_cast<size_t>(n) + 1);
    std::vsnprintf(text.data(), text.size(), fmt, again);
    written += put(w, text.data(), static_cast<size_t>(n));
  }
  va_end(again);
  va_end(args);
  return written;
}
