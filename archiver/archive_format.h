// The bytes of an archive: magic, the 60-byte member header, the special
// member names, and the escaping of names in a name table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

constexpr char kArchiveMagic[] = "!<arch>\n";
constexpr size_t kMagicSize = 8;
constexpr size_t kHeaderSize = 60;
constexpr size_t kNameFieldSize = 16;
// One digit short of what the 10-character size field could hold.
constexpr int32_t kMaxMemberSize = 100000000;
// A QvLongName offset must fit the 6-character uid field.
constexpr uint32_t kMaxNameOffset = 1000000;
// Names this long go to the name table (or are cut in the Original layout).
constexpr size_t kLongNameLength = 16;

constexpr char kSymbolTableName[] = "/";
constexpr char kPosixNameTableName[] = "//";
constexpr char kQvNameTableName[] = "<filenames>/";

// Header field offsets and widths.
struct HeaderField {
  size_t offset;
  size_t width;
};
constexpr HeaderField kNameField{0, 16};
constexpr HeaderField kDateField{16, 12};
constexpr HeaderField kUidField{28, 6};
constexpr HeaderField kSizeField{48, 10};
constexpr HeaderField kTerminatorField{58, 2};

// A header field as text, trailing blanks kept (the name decoder trims).
std::string_view rawField(const char* header, HeaderField field);

// Reads a decimal number the way "%ld" does: leading white space, an
// optional sign, then at least one digit; the rest is ignored.
bool parseDecimal(std::string_view text, long* value);

uint32_t roundUpEven(uint32_t n);

// The name as stored in a name table: unchanged unless it holds "/" or "\",
// in which case "|" doubles and each run of one separator becomes "|".
std::string escapeTableName(const std::string& name);
// The reverse: "||" reads as "|", a single "|" as "/".
std::string unescapeTableName(const std::string& text);

bool isNameTableName(const char* name);
