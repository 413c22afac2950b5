// Reading archives and object files back in the symbol-table tests: the
// members of an archive with their header offsets, the "/" member decoded
// word by word, and what readelf says an object file defines.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/test_util.h"

namespace e2e {

// One member as it lies in the file.
struct RawMember {
  std::string field;    // the 16-character name field, trailing blanks removed
  long uid = 0;
  uint64_t header = 0;  // file offset of the 60-byte header
  uint64_t size = 0;    // the size field
  std::string data;     // `size` bytes of data
  std::string pad;      // the byte after odd-sized data, else empty
};

// Splits archive bytes into members. Fails the test on anything malformed.
inline std::vector<RawMember> parseArchive(const std::string& bytes) {
  std::vector<RawMember> members;
  if (bytes.compare(0, 8, "!<arch>\n") != 0) {
    ADD_FAILURE() << "no archive magic";
    return members;
  }
  uint64_t pos = 8;
  while (pos < bytes.size()) {
    if (pos + 60 > bytes.size()) {
      ADD_FAILURE() << "truncated header at " << pos;
      break;
    }
    std::string h = bytes.substr(pos, 60);
    if (h.compare(58, 2, "`\n") != 0) {
      ADD_FAILURE() << "bad header terminator at " << pos;
      break;
    }
    RawMember m;
    m.field = h.substr(0, 16);
    m.field.erase(m.field.find_last_not_of(' ') + 1);
    m.uid = std::atol(h.substr(28, 6).c_str());  // GNU ar leaves it blank in "//"
    m.header = pos;
    m.size = std::stoull(h.substr(48, 10));
    if (pos + 60 + m.size > bytes.size()) {
      ADD_FAILURE() << "member data past the end at " << pos;
      break;
    }
    m.data = bytes.substr(pos + 60, m.size);
    pos += 60 + m.size;
    if (m.size % 2) {
      if (pos < bytes.size()) m.pad = bytes.substr(pos, 1);
      pos += 1;
    }
    members.push_back(std::move(m));
  }
  return members;
}

// The members other than the symbol table and the name table.
inline std::vector<RawMember> ordinaryMembers(const std::vector<RawMember>& all) {
  std::vector<RawMember> out;
  for (size_t i = 0; i < all.size(); ++i) {
    const std::string& f = all[i].field;
    if (i == 0 && (f == "/" || f == "/SYM64/")) continue;
    bool afterMap = i == 1 && (all[0].field == "/" || all[0].field == "/SYM64/");
    if ((i == 0 || afterMap) && (f == "//" || f == "<filenames>/")) continue;
    out.push_back(all[i]);
  }
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
  if (!f.empty() && f.back() == '/') return f.substr(0, f.size() - 1);
  return f;
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
// one gives an empty map. Checks the layout of the member on the way: the
// names fill the data exactly, up to one zero pad byte that the size
// field counts.
inline std::vector<MapEntry> symbolMap(const std::vector<RawMember>& all) {
  std::vector<MapEntry> map;
  if (all.empty() || all[0].field != "/") return map;
  const std::string& d = all[0].data;
  if (d.size() < 4) {
    ADD_FAILURE() << "symbol table shorter than its count";
    return map;
  }
  uint32_t n = bigEndian32(d, 0);
  if (4 + 4ull * n > d.size()) {
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

// One line of `readelf -sW` for the ".symtab" section.
struct ElfSymbol {
  std::string file;  // the path after "File: ", when several files were given
  std::string bind;  // LOCAL, GLOBAL, WEAK, UNIQUE, ...
  std::string ndx;   // UND, ABS, COM or a section number
  std::string name;
};

// Every ".symtab" entry of the given files, in file and table order.
inline std::vector<ElfSymbol> readelfSymbols(const std::vector<std::string>& files,
                                             const std::string& cwd = "") {
  std::vector<std::string> argv{"readelf", "-sW"};
  argv.insert(argv.end(), files.begin(), files.end());
  testutil::RunResult r = testutil::run(argv, cwd);
  EXPECT_EQ(r.status, 0) << r.err;
  std::vector<ElfSymbol> out;
  std::istringstream lines(r.out);
  std::string line, file = files.size() == 1 ? files[0] : "";
  bool inSymtab = false;
  while (std::getline(lines, line)) {
    if (line.rfind("File: ", 0) == 0) {
      file = line.substr(6);
      continue;
    }
    if (line.rfind("Symbol table '", 0) == 0) {
      inSymtab = line.rfind("Symbol table '.symtab'", 0) == 0;
      continue;
    }
    if (!inSymtab) continue;
    std::istringstream in(line);
    std::vector<std::string> t;
    for (std::string w; in >> w;) t.push_back(w);
    // A value readelf has no word for reads "<OS specific>: 11" or
    // "<unknown>: 12" (Type and Bind columns): make it one token.
    for (size_t col = 3; col <= 4 && col < t.size(); ++col) {
      if (t[col].front() != '<') continue;
      size_t end = col;
      while (end + 1 < t.size() && t[end].find(">:") == std::string::npos) ++end;
      if (end + 1 < t.size()) ++end;  // the number
      for (size_t k = col + 1; k <= end; ++k) t[col] += " " + t[k];
      t.erase(t.begin() + col + 1, t.begin() + end + 1);
    }
    if (t.size() < 7 || t[0].back() != ':' || t[0] == "Num:") continue;
    // Num Value Size Type Bind Vis [target notes in brackets] Ndx [Name]
    size_t i = 6;
    if (t[i].front() == '[') {
      while (i < t.size() && t[i].back() != ']') ++i;
      ++i;
    }
    if (i >= t.size()) continue;
    out.push_back({file, t[4], t[i], i + 1 < t.size() ? t[i + 1] : ""});
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

}  // namespace e2e
