// Runs on one archive wait for each other: a run that writes the archive
// has it to itself from before it reads it until its write is finished or
// undone, and a run that only reads it never sees it half-written. Runs on
// other archives of the same directory do not wait, beyond a moment.
//
// A run locks the archive's file on the descriptor it reads it through.
// The write replaces that file, so a run that waited may wake up holding a
// file that is no longer the archive: it then checks that the archive's
// name still leads to its file, and starts again if not. The name changes
// hands only under an exclusive lock on the directory that holds the
// archive and its set-aside copy (the link target's, for an archive named
// through a symbolic link): the writer holds it while it sets the old
// archive aside and creates and locks the new file, and every run holds it
// shared while it opens the archive and while it checks the name. So no
// run opens the archive while its name leads to nothing, or to a new file
// not yet locked. Every lock leaves nothing on disk and goes with the
// process, however it ends. Where the file system refuses a lock (or no
// descriptor is left for it), the run goes on without it.
#pragma once

#include "support/stream_io.h"

// The archive named `path`, opened for reading as initArchive would open
// it, once no other run writes it (`writes`: once no other run uses it).
// It stays locked while it is open. Null when it cannot be opened; a run
// that will then create the archive keeps the directory until
// endNameChange.
STREAM_HANDLE* openLockedArchive(const char* path, bool writes);

// Around the writer's change of the archive's name: the old archive set
// aside and the new file created under its name. endNameChange locks the
// new file, open as `fd`, until the process ends, and lets the directory go.
void beginNameChange();
void endNameChange(int fd);
