// The one place where a user's path meets the host: every backslash becomes
// "/" just before a file is opened, renamed, removed or looked up, so that
// messages keep the text as the user gave it.
#pragma once

#include <string>

std::string hostPath(const char* path);

// The host path of the file that `path` really names: a symbolic link is
// followed to the end, so that an archive named through a link is replaced
// at its target and the link stays a link. Otherwise the path as it is.
std::string resolvedHostPath(const char* path);

// The directory part of a host path: "." when it has none.
std::string hostDirectory(const std::string& hostFile);
