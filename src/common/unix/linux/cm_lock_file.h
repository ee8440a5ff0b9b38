// What counts as a lock file, whose it is, and its lock. Stands on the helpers for strings.
#pragma once

// Opens the lock file cpPath with the open flags iFlags. With O_CREAT a missing one is made with
// mode 0644; in a folder with the set-group-ID bit that its group can write, with the folder's read
// and write bits for owner and group, whatever the umask, and an older one gets these bits when its
// owner opens it. In a folder where others can write, a planted link would have this program empty
// or make a file of its choice, and a planted pipe would hold it for ever: only a regular file with
// one name counts. Returns the descriptor, or -1 with errno: ELOOP for a symbolic link, EMLINK for
// a file with several names, EINVAL or ENXIO for what is no file, ENOENT also for one whose name is
// gone.
int iOpenLockFile(const char* cpPath, int iFlags);

// Asks for the exclusive lock on the whole file; iCommand is F_SETLK (do not wait) or F_SETLKW.
// Returns 0, or -1 with errno.
int iLockFile(int iFD, int iCommand);
