// Runs on one archive wait for each other: a run that writes the archive
// has it to itself from before it opens it until its write is finished or
// undone, and a run that only reads it never sees it half-written. Runs on
// other archives of the same directory do not wait, beyond a moment.
//
// The write replaces the archive's file, so a lock on that file alone
// could be won by a run that then holds a file no longer the archive: a
// run locks the file it opened and, once it holds it, checks that the
// archive's name still leads to it, or starts again. The name changes
// hands only under an exclusive lock on the directory that holds the
// archive and its set-aside copy (the link target's, for an archive named
// through a symbolic link), held for a moment by the writer, and shared by
// every run while it opens the archive; so no run opens the archive while
// its name leads to nothing, or to a new file that its writer has not yet
// locked. Every lock leaves nothing on disk and goes with the process,
// however it ends. Where the file system refuses a lock, the run goes on
// without it.
#pragma once

// Waits for the archive named `path`, shared with other readers when the
// run only `writes` nothing, and holds it until the process ends. Called
// before the archive is opened. A run that will create the archive keeps
// the directory until endNameChange.
void lockArchive(const char* path, bool writes);

// Around the writer's change of the archive's name: the old archive set
// aside and the new file created under its name. endNameChange locks the
// new file, open as `fd`, until the process ends, and lets the directory go.
void beginNameChange();
void endNameChange(int fd);
