// The run: dispatch of the one command, and the exit status.
#pragma once

#include "archiver/archive.h"
#include "archiver/command_line.h"

void runCommand(CommandLine& commandLine, Archive& archive);

// Prints "'%s' not found" for every file argument no command used; returns
// the exit status (1 when there was one, else 0).
int reportUnmatchedFiles(CommandLine& commandLine);

// The archive engine's error callback: undoes a write in progress, prints
// the message and ends the process with status 1.
[[noreturn]] void archiveErrorExit(Archive& archive, ArchiveError kind, const char* message);

// Prints `text` with each "%%" shown as one "%" and every other character
// as it stands.
void printCollapsingPercents(FILE* stream, const char* text);

int zoltMain(int argc, char** argv);
