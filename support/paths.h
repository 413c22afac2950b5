// Helpers on path strings and on the host. A user's path may separate its
// components with "\", "/" or ":"; file names are matched without regard to
// case.
#pragma once

#include <cstdio>

#include "support/stream_io.h"

// Splits `path` into directory (separator kept, "/" turned into "\"), base
// and extension; each result asked for points into a process-wide buffer
// that the next call overwrites.
void splitPath(const char* path, const char** directory, const char** base,
               const char** extension);

// Directory + separator + name + "." + extension. With a null destination
// the result is allocated with xmalloc; otherwise `destination` must hold it.
char* joinPath(char* destination, const char* directory, const char* name,
               const char* extension);

// Adds `extension` when `path` has none; with `replace` an existing one is
// replaced. `path` must have room for the result.
void defaultExtension(char* path, const char* extension, bool replace);

// The text after the last "\", "/" or ":"; null for a null or empty path.
const char* baseName(const char* path);

// Difference of the first pair of characters that differ after folding to
// lower case; 0 when the names are equal.
int compareNoCase(const char* a, const char* b);

// The path with each existing component spelled as it is on disk: the exact
// spelling first, else the first case-insensitive match in byte order.
// Newly allocated.
char* canonicalPath(const char* path);

// Whether the path names something that exists (directories count), after
// its trailing separators are removed.
bool fileExists(const char* path);

bool renameFile(const char* oldName, const char* newName);

// A unique name: the directory (or, when null, the temporary directory)
// joined with a freshly generated braced GUID. `prefix` is not used.
char* makeTempName(char* destination, const char* prefix, const char* directory);

// The braced, upper-case 38-character form of 128 random bits.
void makeGuidText(char out[39]);

STREAM_HANDLE* openFile(const char* path, const char* mode);
int closeFile(STREAM_HANDLE* handle);
