// The one place where a user's path meets the host: every backslash becomes
// "/" just before a file is opened, renamed, removed or looked up, so that
// messages keep the text as the user gave it.
#pragma once

#include <string>

std::string hostPath(const char* path);
