// Where the bytes of each member come from while an archive is written: one
// owner decides, by the member's size and origin, so that each byte is
// copied as few times as the write needs.
//
// - A member of up to 64 KiB is read whole, in one call, for the symbol
//   pass, and scanned in memory. A member file's bytes are kept for the
//   write, since opening a small file again costs more than its bytes: in
//   memory up to a budget, and past it the smallest go to an unnamed file
//   beside the archive (written and read back in large blocks). Whatever is
//   not kept is read again by the write.
// - A larger member file is scanned by positioned reads of its headers and
//   symbol tables only, and the write has the kernel copy it into the
//   archive, file to file.
// - The old archive is mapped: its members are scanned in place and written
//   from the mapping, whatever their size, so that their bytes are copied
//   once, into the new archive. (Where it cannot be mapped, its members
//   take the paths of member files.)
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

#include "archiver/archive.h"
#include "objfile/symbol_scan.h"

// Starts a write's symbol pass; forgets what an earlier write kept.
void beginMemberData(Archive& archive);

// Reads what the symbol scan of one member needs and scans it: true with
// `symbols` filled (valid until the next call) when the scan answered, false
// when the object reader must decide. A member file that cannot be opened is
// reported as the writer reports it.
bool scanMember(Archive& archive, ArchiveMember& member, std::vector<OFE::SCANNED_SYMBOL>& symbols);

// Ends the symbol pass: everything kept is ready for the write.
void finishMemberScan(Archive& archive);

// A stream over the member last scanned, for the object reader, read as a
// file of its own; `view` holds it when it is a view of the old archive.
// Released with releaseMemberStream.
STREAM_HANDLE* memberStream(Archive& archive, ArchiveMember& member, STREAM_HANDLE& view);
void releaseMemberStream(STREAM_HANDLE* stream, STREAM_HANDLE& view);

// Writes the member's header (through `writeHeader`) and its bytes, with the
// newline pad after an odd size. Failures are reported as the writer's
// open, read and write failures are.
void writeMemberData(Archive& archive, ArchiveMember& member, void (*writeHeader)(Archive&, ArchiveMember&));

// Releases what the write no longer needs.
void endMemberData(Archive& archive);

// Results of copyInKernel: a CopyResult, or nothing copied and the
// ordinary loop to do the work.
constexpr int kKernelCopyUnavailable = -1;
constexpr int kKernelCopySourceIsDirectory = -2;

// Copies `size` bytes from `from` at `offset` to the current end of `to` in
// the kernel, without passing them through this process.
int copyInKernel(int from, int64_t offset, int to, size_t size);
