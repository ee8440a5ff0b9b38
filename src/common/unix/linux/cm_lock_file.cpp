// What counts as a lock file, and its lock. Stands on the C library alone.
#include "cm_lock_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

// Returns 0 for the descriptor of a lock file, otherwise the error number that says why not.
static int iWhyNot(int iFD)
{
    struct stat strStatus;
    if (fstat(iFD, &strStatus) != 0)
        return errno;
    if (!S_ISREG(strStatus.st_mode))
        return EINVAL;
    if (strStatus.st_nlink == 1)
        return 0;
    return strStatus.st_nlink == 0 ? ENOENT : EMLINK;
}

int iOpenLockFile(const char* cpPath, int iFlags)
{
    // A link would lead to a file of somebody else. O_NONBLOCK is for the pipe: on a regular file
    // it changes nothing, not even the wait for a lock.
    const int iFD = open(cpPath, iFlags | O_NOFOLLOW | O_NONBLOCK, 0644);
    if (iFD < 0)
        return -1;
    const int iErrno = iWhyNot(iFD);
    if (iErrno == 0)
        return iFD;
    close(iFD);
    errno = iErrno;
    return -1;
}

int iLockFile(int iFD, int iCommand)
{
    struct flock strLock = {};
    strLock.l_type = F_WRLCK;
    strLock.l_whence = SEEK_SET;
    return fcntl(iFD, iCommand, &strLock);
}
