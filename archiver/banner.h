// The tool version banner: title line, notice line and build-number line.
#pragma once

#include <cstdio>

void printTitleLine(FILE* stream);
void printBanner(FILE* stream);
void printToolVersion(FILE* stream);
