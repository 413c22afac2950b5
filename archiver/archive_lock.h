// Runs on one archive wait for each other: a run that writes the archive
// has it to itself from before it opens it until its write is finished or
// undone, and a run that only reads it never sees it half-written.
#pragma once

// Waits for the archive named `path` (shared with other readers when the
// run only reads it) and holds it until the process ends, however it ends.
// Called before the archive is opened. Where the file system refuses
// locks, the run goes on without them.
void lockArchive(const char* path, bool writes);
