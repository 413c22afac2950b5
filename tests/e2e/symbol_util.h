// Reading archives and object files back in the symbol-table tests: the
// members of an archive with their header offsets, the "/" member decoded
// word by word, and what readelf says an object file defines.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/elf_util.h"
#include "common/test_util.h"

namespace e2e {

using testutil::ElfSymbol;
using testutil::readelfSymbols;

// One member as it lies in the file.
struct RawMember {
  std::string field;    // the 16-character name field, trailing blanks removed
  long uid = 0;
  uint64_t header = 0;  // file offset of the 60-byte header
  uint64_t size = 0;    // the size field
  std::string data;     // `size` bytes of data
};

// Splits archive bytes into members. Fails the test on anything malformed.
inline std::vector<RawMember> parseArchive(const std::string& bytes) {
  std::vector<RawMember> members;
  EXPECT_EQ(bytes.substr(0, 8), "!<arch>\n");
  for (uint64_t pos = 8; pos < bytes.size();) {
    std::string h = bytes.substr(pos, 60);
    if (h.size() < 60 || h.compare(58, 2, "`\n") != 0) {
      ADD_FAILURE() << "bad header at " << pos;
      break;
    }
    RawMember m;
    m.field = h.substr(0, 16);
    m.field.erase(m.field.find_last_not_of(' ') + 1);
    m.uid = std::atol(h.substr(28, 6).c_str());  // GNU ar leaves it blank in "//"
    m.header = pos;
    m.size = std::stoull(h.substr(48, 10));
    m.data = bytes.substr(pos + 60, m.size);
    EXPECT_EQ(m.data.size(), m.size) << "member data past the end at " << pos;
    pos += 60 + m.size + m.size % 2;
    members.push_back(std::move(m));
  }
  return members;
}

// The members other than the symbol table and the name table.
inline std::vector<RawMember> ordinaryMembers(const std::vector<RawMember>& all) {
  std::vector<RawMember> out;
  size_t i = !all.empty() && (all[0].field == "/" || all[0].field == "/SYM64/");
  if (i < all.size() && (all[i].field == "//" || all[i].field == "<filenames>/")) ++i;
  out.assign(all.begin() + std::min(i, all.size()), all.end());
  return out;
}

// A member's name: short names from the field, long ones from a "//" table.
inline std::string memberName(const std::vector<RawMember>& all, const RawMember& m) {
  const std::string& f = m.field;
  if (f.size() > 1 && f[0] == '/' && f.find_first_not_of("0123456789", 1) == std::string::npos) {
    for (const auto& t : all)
      if (t.field == "//") {
        size_t off = std::stoul(f.substr(1));
        return t.data.substr(off, t.data.find("/\n", off) - off);
      }
  }
  return !f.empty() && f.back() == '/' ? f.substr(0, f.size() - 1) : f;
}

inline uint32_t bigEndian32(const std::string& s, size_t at) {
  return (uint32_t(uint8_t(s[at])) << 24) | (uint32_t(uint8_t(s[at + 1])) << 16) |
         (uint32_t(uint8_t(s[at + 2])) << 8) | uint32_t(uint8_t(s[at + 3]));
}

struct MapEntry {
  std::string name;
  uint32_t offset;
  bool operator==(const MapEntry&) const = default;
};

inline std::ostream& operator<<(std::ostream& os, const MapEntry& e) {
  return os << e.name << "@" << e.offset;
}

// Decodes the "/" member (32-bit words, big-endian). An archive without
// one gives an empty map. The names must fill the data, up to one zero pad
// byte that the size field counts.
inline std::vector<MapEntry> symbolMap(const std::vector<RawMember>& all) {
  std::vector<MapEntry> map;
  if (all.empty() || all[0].field != "/") return map;
  const std::string& d = all[0].data;
  uint32_t n = d.size() < 4 ? 0 : bigEndian32(d, 0);
  if (d.size() < 4 || 4 + 4ull * n > d.size()) {
    ADD_FAILURE() << "symbol table count " << n << " too large for " << d.size() << " bytes";
    return map;
  }
  size_t pos = 4 + 4ull * n;
  for (uint32_t i = 0; i < n; ++i) {
    size_t end = d.find('\0', pos);
    if (end == std::string::npos) {
      ADD_FAILURE() << "symbol name " << i << " not terminated";
      return map;
    }
    map.push_back({d.substr(pos, end - pos), bigEndian32(d, 4 + 4 * i)});
    pos = end + 1;
  }
  return map;
}

// The symbol map as (member position among the ordinary members, name);
// an offset that is not a member header gives position -1.
inline std::vector<std::pair<int, std::string>> mapByMember(const std::vector<RawMember>& all) {
  std::vector<RawMember> ordinary = ordinaryMembers(all);
  std::vector<std::pair<int, std::string>> out;
  for (const auto& e : symbolMap(all)) {
    int at = -1;
    for (size_t i = 0; i < ordinary.size(); ++i)
      if (ordinary[i].header == e.offset) at = static_cast<int>(i);
    out.emplace_back(at, e.name);
  }
  return out;
}

// What the archive takes from one object by readelf's account: global or
// weak, and not undefined (so sections, ABS and COM all count).
inline std::vector<std::string> readelfDefinitions(const std::string& path) {
  std::vector<std::string> names;
  for (const auto& s : readelfSymbols({path}))
    if ((s.bind == "GLOBAL" || s.bind == "WEAK") && s.ndx != "UND") names.push_back(s.name);
  return names;
}

inline std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> out;
  std::istringstream in(text);
  for (std::string l; std::getline(in, l);) out.push_back(l);
  return out;
}

// The "s" listing lines for `names`, and the names back from such lines.
inline std::string symbolLines(const std::vector<std::string>& names) {
  std::string out;
  for (const auto& n : names) out += "  ==>  symbol defined: '" + n + "'\n";
  return out;
}
inline std::vector<std::string> printedSymbols(const std::string& out) {
  std::vector<std::string> names;
  const std::string head = "  ==>  symbol defined: '";
  for (const auto& l : lines(out))
    if (l.rfind(head, 0) == 0 && l.back() == '\'')
      names.push_back(l.substr(head.size(), l.size() - head.size() - 1));
  return names;
}

}  // namespace e2e
