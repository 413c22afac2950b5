#include "support/paths.h"

#include <dirent.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <unordered_map>

#include "support/checked_alloc.h"
#include "support/host_path.h"

namespace {

constexpr size_t kPartMax = 499;
char splitDirectory[512];
char splitBase[512];
char splitExtension[512];

bool isSeparator(char c) { return c == '\\' || c == '/' || c == ':'; }

void copyPart(char* dest, const char* from, size_t length) {
  if (length > kPartMax) length = kPartMax;
  std::memcpy(dest, from, length);
  dest[length] = '\0';
}

int fold(char c) { return std::tolower(static_cast<unsigned char>(c)); }

bool hostExists(const std::string& hostName) {
  struct stat st;
  return lstat(hostName.c_str(), &st) == 0;
}

// The first entry of directory `dir` (host form, "" for the current
// directory) that equals `name` without regard to case, in byte order;
// empty when there is none.
std::string findEntryIgnoringCase(const std::string& dir, const std::string& name) {
  DIR* d = opendir(dir.empty() ? "." : dir.c_str());
  if (!d) return "";
  std::string best;
  while (dirent* e = readdir(d)) {
    const char* entry = e->d_name;
    if (std::strcmp(entry, ".") == 0 || std::strcmp(entry, "..") == 0) continue;
    if (std::strlen(entry) == name.size() && compareNoCase(entry, name.c_str()) == 0 &&
        (best.empty() || std::strcmp(entry, best.c_str()) < 0))
      best = entry;
  }
  closedir(d);
  return best;
}

// The on-disk spelling of `name` in directory `dir`: the exact name when it
// exists, otherwise the first case-insensitive match, otherwise empty.
std::string findEntry(const std::string& dir, const std::string& name) {
  std::string full = dir.empty() ? name : dir + name;
  if (hostExists(full)) return name;
  return findEntryIgnoringCase(dir, name);
}

// Directories named by many arguments (obj/a.o, obj/b.o, ...) are looked up
// once: the spelling found for a directory component is remembered.
std::string findDirectoryEntry(const std::string& dir, const std::string& name) {
  static std::unordered_map<std::string, std::string> spelled;
  std::string key = dir;
  key += '\0';
  key += name;
  auto it = spelled.find(key);
  if (it != spelled.end()) return it->second;
  std::string found = findEntry(dir, name);
  spelled.emplace(std::move(key), found);
  return found;
}

}  // namespace

void splitPath(const char* path, const char** directory, const char** base,
               const char** extension) {
  splitDirectory[0] = splitBase[0] = splitExtension[0] = '\0';
  if (path && *path) {
    size_t length = std::strlen(path);
    size_t baseStart = 0;
    for (size_t i = 0; i < length; ++i)
      if (isSeparator(path[i])) baseStart = i + 1;
    const char* dot = std::strrchr(path + baseStart, '.');
    size_t baseEnd = length;
    if (dot) {
      size_t dotPos = static_cast<size_t>(dot - path);
      // "a." keeps its dot in the base and has an empty extension.
      if (dotPos + 1 < length) {
        baseEnd = dotPos;
        copyPart(splitExtension, dot + 1, length - dotPos - 1);
      }
    }
    copyPart(splitBase, path + baseStart, baseEnd - baseStart);
    copyPart(splitDirectory, path, baseStart);
    if (directory)
      for (char* p = splitDirectory; *p; ++p)
        if (*p == '/') *p = '\\';
  }
  if (directory) *directory = splitDirectory;
  if (base) *base = splitBase;
  if (extension) *extension = splitExtension;
}

char* joinPath(char* destination, const char* directory, const char* name,
               const char* extension) {
  std::string result;
  if (directory && *directory) {
    result = directory;
    char last = result.back();
    if (last != '/' && last != '\\' && last != ':')
      result += std::strchr(directory, '/') ? '/' : '\\';
  }
  if (name) result += name;
  if (extension && *extension) {
    if (*extension != '.') result += '.';
    result += extension;
  }
  if (!destination) destination = static_cast<char*>(xmalloc(result.size() + 1));
  std::memcpy(destination, result.c_str(), result.size() + 1);
  return destination;
}

void defaultExtension(char* path, const char* extension, bool replace) {
  char* dot = std::strrchr(path, '.');
  bool hasExtension = dot && !std::strpbrk(dot, "\\/");
  const char* ext = extension ? extension : "";
  if (hasExtension) {
    if (!replace) return;
    if (*ext == '.') ++ext;
    if (*ext)
      std::strcpy(dot + 1, ext);
    else
      *dot = '\0';
    return;
  }
  if (!*ext) return;
  if (*ext != '.') std::strcat(path, ".");
  std::strcat(path, ext);
}

const char* baseName(const char* path) {
  if (!path || !*path) return nullptr;
  const char* base = path;
  for (const char* p = path; *p; ++p)
    if (isSeparator(*p)) base = p + 1;
  return base;
}

int compareNoCase(const char* a, const char* b) {
  while (*a && *b && fold(*a) == fold(*b)) {
    ++a;
    ++b;
  }
  return fold(*a) - fold(*b);
}

char* canonicalPath(const char* path) {
  // A ":" is an ordinary character here: this host has no drives.
  std::string in = path ? path : "";
  std::string out;
  std::string hostSoFar;  // the canonical prefix in host form
  size_t pos = 0;
  if (!in.empty() && (in[0] == '\\' || in[0] == '/')) {
    out += in[0];
    hostSoFar += '/';
    pos = 1;
  }
  while (pos <= in.size()) {
    size_t end = in.find_first_of("\\/", pos);
    bool last = end == std::string::npos;
    if (last) end = in.size();
    std::string component = in.substr(pos, end - pos);
    if (last && component.empty()) break;
    std::string spelled;
    if (component.empty() || component == "." || component == "..") {
      spelled = component;
    } else {
      spelled = last ? findEntry(hostSoFar, component) : findDirectoryEntry(hostSoFar, component);
      if (spelled.empty()) {
        // Not on disk: the rest stays as given.
        out += in.substr(pos);
        break;
      }
    }
    out += spelled;
    hostSoFar += spelled;
    if (last) break;
    out += in[end];
    hostSoFar += '/';
    pos = end + 1;
  }
  char* result = static_cast<char*>(xmalloc(out.size() + 1));
  std::memcpy(result, out.c_str(), out.size() + 1);
  return result;
}

bool fileExists(const char* path) {
  std::string p = path ? path : "";
  while (!p.empty() && (p.back() == '\\' || p.back() == '/')) p.pop_back();
  struct stat st;
  return stat(hostPath(p.c_str()).c_str(), &st) == 0;
}

bool renameFile(const char* oldName, const char* newName) {
  return std::rename(hostPath(oldName).c_str(), hostPath(newName).c_str()) == 0;
}

void makeGuidText(char out[39]) {
  unsigned char bytes[16];
  size_t got = 0;
  while (got < sizeof bytes) {
    ssize_t n = getrandom(bytes + got, sizeof bytes - got, 0);
    if (n < 0) {
      if (errno == EINTR) continue;
      std::fputs("ERROR: cannot create temporary file name; could not allocate GUID\n", stderr);
      std::exit(1);
    }
    got += static_cast<size_t>(n);
  }
  // Version 4, variant 1: a random GUID in the registry's text form.
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
  std::snprintf(out, 39,
                "{%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                bytes[0], bytes[1], bytes[2], bytes[3], bytes[4], bytes[5], bytes[6], bytes[7],
                bytes[8], bytes[9], bytes[10], bytes[11], bytes[12], bytes[13], bytes[14],
                bytes[15]);
}

char* makeTempName(char* destination, const char* /*prefix*/, const char* directory) {
  std::string tempDir;
  if (!directory) {
    const char* value = nullptr;
    for (const char* var : {"TMP", "TEMP", "TMPDIR"}) {
      value = std::getenv(var);
      if (value && *value) break;
      value = nullptr;
    }
    tempDir = value ? value : "/tmp/";
    if (tempDir.size() > 260) {
      std::fputs("ERROR: You must set either the TMP or TEMP environment variable\n", stderr);
      std::exit(1);
    }
    directory = tempDir.c_str();
  }
  char guid[39];
  makeGuidText(guid);
  char* joined = joinPath(nullptr, directory, guid, nullptr);
  if (!destination) return joined;
  std::strcpy(destination, joined);
  std::free(joined);
  return destination;
}

STREAM_HANDLE* openFile(const char* path, const char* mode) {
  STREAM_HANDLE* handle = stream_open(path, mode);
  if (!handle) return nullptr;
  // A directory opens as a stream on this host; it is no file to read or write.
  struct stat st;
  if (fstat(fileno(handle->stream), &st) == 0) {
    if (S_ISDIR(st.st_mode)) {
      stream_close(handle);
      errno = EISDIR;
      return nullptr;
    }
    if (S_ISREG(st.st_mode) && std::strpbrk(mode, "wa+") == nullptr) handle->known_size = st.st_size;
  }
  return handle;
}

int closeFile(STREAM_HANDLE* handle) { return stream_close(handle); }
