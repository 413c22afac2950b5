#include "archiver/banner.h"

#include <string>

namespace {

struct BannerTexts {
  std::string versionNumber;
  std::string versionTag;
  std::string versionField;
  std::string title;
  std::string notice;
};

const BannerTexts& texts() {
  static const BannerTexts kept = [] {
    BannerTexts t;
    t.versionNumber = std::to_string(ZOLT_VERSION_MAJOR) + "." +
                      std::to_string(ZOLT_VERSION_MINOR) + "." +
                      std::to_string(ZOLT_VERSION_PATCH);
    t.versionTag = "v" + t.versionNumber;
    t.versionField = t.versionTag + ".LTS";
    t.title = std::string("Zq4") + " " + "Archiver";
    t.notice = "Copyright (c) 2025-2026 The zolt developers. All rights reserved.";
    return t;
  }();
  return kept;
}

}  // namespace

void printTitleLine(FILE* stream) {
  std::fprintf(stream, "%-*.*s%s\n", 40, 40, texts().title.c_str(), texts().versionField.c_str());
}

void printBanner(FILE* stream) {
  printTitleLine(stream);
  std::fprintf(stream, "%s\n", texts().notice.c_str());
}

void printToolVersion(FILE* stream) {
  printTitleLine(stream);
  std::fprintf(stream, "Build Number %s\n", ZOLT_BUILD_ID);
}
