// Reading a command file one token at a time: white space separates words,
// with block and line comments, double quotes and backslash escapes.
#pragma once

#include <cstdio>

// The next token, allocated with xmalloc and owned by the caller, or null at
// the end of the file (or for a null stream). An unterminated comment or
// quote ends the process with status -1.
char* readCommandToken(FILE* stream);

// Replaces how an unterminated comment or quote ends the run (std::exit by
// default; it must not return). For harnesses that read many files.
void setCommandFileFailureExit(void (*exitFunction)(int status));
