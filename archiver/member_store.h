// Member files kept between the symbol pass and the write. The symbol pass
// reads every small member file whole; keeping those bytes lets the write
// copy them without a second open, read and close per file, which on a
// library of tens of thousands of objects is most of the run.
//
// The bytes stay in memory up to a fixed budget. Past it they go to an
// unnamed file beside the archive (staged and read back in large blocks),
// so memory stays bounded whatever the archive. Whatever cannot be kept
// (no room for the file, a failed write) is simply read again by the write.
#pragma once

#include <cstdint>

#include "archiver/archive.h"

// Starts keeping for a write of `archive`; forgets what an earlier write kept.
void beginKeeping(Archive& archive);
// Keeps the `member.size` bytes just read from the member's file.
void keepMemberFile(Archive& archive, ArchiveMember& member, const uint8_t* bytes);
// Makes everything kept readable by the write.
void finishKeeping(Archive& archive);
// A kept member's bytes, valid until the next call; null when the member's
// file was not kept.
const uint8_t* keptBytes(Archive& archive, const ArchiveMember& member);
// Releases what the write no longer needs.
void endKeeping(Archive& archive);
