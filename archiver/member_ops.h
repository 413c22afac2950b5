// The five commands on the archive model, and the pairing of file
// arguments with members.
#pragma once

#include "archiver/archive.h"
#include "archiver/command_line.h"

void addFiles(CommandLine& commandLine, Archive& archive);
void replaceMembers(CommandLine& commandLine, Archive& archive);
void deleteMembers(CommandLine& commandLine, Archive& archive);
void extractMembers(CommandLine& commandLine, Archive& archive);
void listMembers(CommandLine& commandLine, Archive& archive);

// The first uncleared file argument whose base name equals `memberName`
// without regard to case; it is cleared. Null when none matches.
const char* matchArgument(CommandLine& commandLine, const char* memberName);

// Builds the new archive, then prints the symbols when asked.
void finishWrite(CommandLine& commandLine, Archive& archive);

// The 24-character local-time form "Tue Mar  4 09:05:00 2025".
void formatDate(int32_t date, char out[32]);

// True when extraction skipped a member: one whose name would have written
// outside the current directory, or whose target is the archive itself.
bool membersSkipped();
