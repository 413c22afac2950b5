// A small streaming writer of indented XML. It checks that elements are
// closed in the order they were opened and reports misuse as application
// errors, then goes on writing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "support/stream_io.h"

// The tag of an element, with two values kept for the caller.
struct XML_TAG {
  explicit XML_TAG(std::string tag_name, uint32_t first = 0, uint32_t second = 0);
  std::string name;  // an empty name is written, and replaced, as "reserved"
  uint32_t value1;
  uint32_t value2;
};

// The longest tag name created so far (process-wide).
size_t xml_max_tag_name_length();

// Element flags.
enum : unsigned { XML_OPEN = 1, XML_CLOSE = 2, XML_EMPTY = 4 };

// Content kinds, and the variadic arguments each takes:
// XML_HEX64 unsigned long long ("0x%llx"), XML_SIGNED32 int32_t ("%ld"),
// XML_UNSIGNED32 uint32_t ("%lu"), XML_TEXT const char* (escaped),
// XML_BYTES const void* and then size_t (Base64). Any other kind takes and
// writes nothing.
enum : int { XML_NONE = 0, XML_HEX64 = 1, XML_SIGNED32 = 2, XML_UNSIGNED32 = 3, XML_TEXT = 4, XML_BYTES = 5 };

struct XML_WRITER {
  XML_WRITER(STREAM_HANDLE* stream, int indent) : indent_width(indent), out(stream) {}
  int32_t depth = 0;         // open scopes
  int32_t indent_width;      // blanks per level
  STREAM_HANDLE* out;
  std::deque<const XML_TAG*> scopes;
};

// Writes one element: `attribute_count` triples (const char* name, int kind,
// value) follow, then the content value when `content_kind` is not
// XML_NONE. An element opened without being closed or empty in the same
// call becomes a scope. Returns the number of characters written.
int xml_element(XML_WRITER* writer, unsigned flags, int content_kind, XML_TAG* tag,
                int attribute_count, ...);

// depth x indent blanks, then the formatted text; the characters written.
int xml_indent_printf(XML_WRITER* writer, const char* fmt, ...)
    __attribute__((format(printf, 2, 3)));
