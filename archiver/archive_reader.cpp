// Building the archive model from an existing archive file.
#include <sys/stat.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "archiver/archive.h"
#include "archiver/archive_format.h"
#include "support/paths.h"

namespace {

FILE* inputFile(Archive& archive) { return archive.input ? archive.input->stream : nullptr; }

bool seekTo(Archive& archive, uint64_t offset) {
  FILE* f = inputFile(archive);
  return f && offset <= 0x7FFFFFFFFFFFFFFFull &&
         fseeko(f, static_cast<off_t>(offset), SEEK_SET) == 0;
}

uint64_t inputLength(Archive& archive) {
  int64_t known = stream_known_size(archive.input);
  if (known >= 0) return static_cast<uint64_t>(known);
  struct stat st;
  FILE* f = inputFile(archive);
  if (!f || fstat(fileno(f), &st) != 0) return 0;
  return static_cast<uint64_t>(st.st_size);
}

// Up to `length` bytes at `offset`: positioned reads through the handle's
// read-ahead window when the archive is a file, so that walking the headers
// of small members costs one system call per window, not per header; seek
// and read otherwise. The number read, or -1 when the offset is out of reach.
int64_t readAt(Archive& archive, uint64_t offset, void* buffer, size_t length) {
  if (!inputFile(archive) || offset > 0x7FFFFFFFFFFFFFFFull) return -1;
  int64_t got = stream_pread(archive.input, buffer, length, static_cast<int64_t>(offset));
  if (got >= 0) return got;
  if (!seekTo(archive, offset)) return -1;
  return static_cast<int64_t>(std::fread(buffer, 1, length, inputFile(archive)));
}

// Reads exactly `size` bytes at `offset` into zone memory (rounded up to
// even); null when the data is not all there.
uint8_t* readBlock(Archive& archive, uint64_t offset, uint32_t size) {
  uint32_t even = roundUpEven(size);
  // A header claiming more than the file holds would only fail the read
  // below; refuse it before allocating.
  if (offset + size > inputLength(archive)) return nullptr;
  auto* block = static_cast<uint8_t*>(zone_alloc(&archive.zone, even));
  int64_t got = readAt(archive, offset, block, even);
  if (got < static_cast<int64_t>(size)) return nullptr;
  return block;
}

void loadNameTable(Archive& archive, const ArchiveMember& table) {
  uint8_t* text = readBlock(archive, table.dataOffset, static_cast<uint32_t>(table.size));
  if (!text) reportArchiveError(archive, ReadError, "Cannot read name table: '%s'", archive.path);
  for (uint32_t i = 0; i < static_cast<uint32_t>(table.size); ++i)
    if (text[i] == '/' || text[i] == '\n') text[i] = 0;
  archive.nameTable = reinterpret_cast<char*>(text);
  archive.nameTableSize = static_cast<uint32_t>(table.size);
  archive.nameTableLoaded = true;
}

uint32_t bigEndian32(const uint8_t* p) {
  return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}

void loadSymbolTable(Archive& archive, const ArchiveMember& table) {
  uint32_t size = static_cast<uint32_t>(table.size);
  uint8_t* data = readBlock(archive, table.dataOffset, size);
  if (!data || size < 4)
    reportArchiveError(archive, ReadError, "Cannot read symbol table: '%s'", archive.path);
  archive.symbolData = data;
  int32_t count = static_cast<int32_t>(bigEndian32(data));
  if (count <= 0) return;
  // The count is bounded by the words actually present.
  uint64_t words = (size - 4) / 4;
  uint32_t n = static_cast<uint32_t>(std::min<uint64_t>(static_cast<uint32_t>(count), words));
  uint32_t namePos = 4 + 4 * n;
  for (uint32_t i = 0; i < n; ++i) {
    uint32_t length = namePos < size
        ? static_cast<uint32_t>(strnlen(reinterpret_cast<char*>(data) + namePos, size - namePos))
        : 0;
    const char* name = namePos < size
        ? zone_strndup(&archive.zone, reinterpret_cast<char*>(data) + namePos, length)
        : "";
    appendSymbol(archive, nullptr, name);
    archive.lastSymbol->memberOffset = bigEndian32(data + 4 + size_t{4} * i);
    namePos += length + 1;
  }
}

// Whether `name` and the header text agree in their first 15 characters,
// each ending at its first zero byte (the header text also at its end).
bool sameFirst15(const char* name, std::string_view text) {
  for (size_t i = 0; i < 15; ++i) {
    char fromText = i < text.size() ? text[i] : '\0';
    if (name[i] != fromText) return false;
    if (name[i] == '\0') return true;
  }
  return true;
}

}  // namespace

bool readMemberData(Archive& archive, const ArchiveMember& member, void* buffer) {
  auto* out = static_cast<uint8_t*>(buffer);
  size_t want = member.size > 0 ? static_cast<size_t>(member.size) : 0;
  size_t done = 0;
  // The read-ahead window hands out what it holds; ask again for the rest.
  while (done < want) {
    int64_t got = readAt(archive, member.dataOffset + done, out + done, want - done);
    if (got <= 0) return false;
    done += static_cast<size_t>(got);
  }
  return true;
}

// The member name from the 16-character field (rules of the three layouts).
const char* decodeMemberName(Archive& archive, std::string_view field, long uid) {
  std::string_view text = field;
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  if (text == kSymbolTableName || text == kPosixNameTableName || text == kQvNameTableName)
    return zone_strndup(&archive.zone, text.data(), static_cast<uint32_t>(text.size()));

  bool isReference = false;
  long reference = 0;
  if (archive.format == Posix && text.size() > 1 && text[0] == '/' &&
      text.find_first_not_of("0123456789", 1) == std::string_view::npos) {
    isReference = true;
    parseDecimal(text.substr(1), &reference);
    if (text.size() > 12) reference = -1;  // far beyond any table
  }
  if (!text.empty() && text.back() == '/') text.remove_suffix(1);

  if (archive.nameTableLoaded) {
    bool fromTable = false;
    long offset = 0;
    if (archive.format == Posix && isReference) {
      fromTable = true;
      offset = reference;
    } else if (archive.format == QvLongName && uid != 0) {
      fromTable = true;
      offset = uid;
    }
    if (fromTable) {
      if (offset < 0 || static_cast<unsigned long>(offset) >= archive.nameTableSize)
        reportArchiveError(archive, ReadError, "Corrupt member name: '%s'", archive.path);
      const char* entry = archive.nameTable + offset;
      std::string_view raw(entry, strnlen(entry, archive.nameTableSize - static_cast<uint32_t>(offset)));
      // Most names hold no escapes and are copied as they stand.
      const char* name = raw.find('|') == std::string_view::npos
          ? zone_strndup(&archive.zone, raw.data(), static_cast<uint32_t>(raw.size()))
          : zone_strdup(&archive.zone, unescapeTableName(std::string(raw)).c_str());
      // The header holds the first 15 characters of the name as it was,
      // before escaping, so that is what it is checked against.
      if (archive.format == QvLongName && !sameFirst15(name, text))
        reportArchiveError(archive, ReadError, "Corrupt member name: '%s'", archive.path);
      return name;
    }
  }
  return zone_strndup(&archive.zone, text.data(), static_cast<uint32_t>(text.size()));
}

ArchiveMember* readMemberHeader(Archive& archive, uint64_t offset) {
  char header[kHeaderSize];
  int64_t got = readAt(archive, offset, header, kHeaderSize);
  if (got <= 0) return nullptr;
  if (got < static_cast<int64_t>(kHeaderSize))
    reportArchiveError(archive, ReadError, "Cannot read member header: '%s'", archive.path);
  if (header[58] != '`' || header[59] != '\n')
    reportArchiveError(archive, ReadError, "Corrupt member header: '%s'", archive.path);

  long size = 0, date = 0, uid = 0;
  // A negative or huge size would make the member walk go backwards or wrap.
  if (!parseDecimal(rawField(header, kSizeField), &size) || size < 0 || size > 2147483647L)
    reportArchiveError(archive, ReadError, "Corrupt member header: '%s'", archive.path);
  bool dateOk = parseDecimal(rawField(header, kDateField), &date);
  bool uidOk = parseDecimal(rawField(header, kUidField), &uid);
  if (!uidOk) uid = 0;

  const char* name = decodeMemberName(archive, rawField(header, kNameField), uid);
  bool special = (name[0] == '/' || name[0] == '<') &&
                 (std::strcmp(name, kSymbolTableName) == 0 || isNameTableName(name));
  if (!special && (!dateOk || !uidOk))
    reportArchiveError(archive, ReadError, "Corrupt member header: '%s'", archive.path);

  auto* member = newMember(archive);
  member->name = name;
  member->date = static_cast<int32_t>(date);
  member->size = static_cast<int32_t>(size);
  member->dataOffset = offset + kHeaderSize;
  return member;
}

void loadSpecialMembers(Archive& archive, bool loadSymbols) {
  if (!archive.input) return;
  uint64_t position = kMagicSize;
  ArchiveMember* member = readMemberHeader(archive, position);
  if (!member) return;
  if (std::strcmp(member->name, kSymbolTableName) == 0) {
    if (loadSymbols) loadSymbolTable(archive, *member);
    position = member->dataOffset + roundUpEven(static_cast<uint32_t>(member->size));
    member = readMemberHeader(archive, position);
    if (!member) return;
  }
  if (isNameTableName(member->name)) {
    archive.format = std::strcmp(member->name, kQvNameTableName) == 0 ? QvLongName : Posix;
    loadNameTable(archive, *member);
    position = member->dataOffset + roundUpEven(static_cast<uint32_t>(member->size));
  }
  archive.firstMemberOffset = position;
}

void loadMembers(Archive& archive) {
  if (!archive.input) return;
  if (archive.firstMemberOffset == 0) loadSpecialMembers(archive, false);
  if (archive.firstMemberOffset == 0) return;
  uint64_t position = archive.firstMemberOffset;
  // Every step moves forward (sizes are never negative), as far as the
  // archive goes, whatever its size.
  for (;;) {
    ArchiveMember* member = readMemberHeader(archive, position);
    if (!member) break;
    appendMember(archive, member);
    position = member->dataOffset + roundUpEven(static_cast<uint32_t>(member->size));
  }
}
