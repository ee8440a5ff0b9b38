// What counts as a lock file, whose it is, and its lock. Stands on the helpers for strings.
#include "cm_lock_file.h"

#include "cm_text.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

// Returns 0 for the descriptor of a lock file, whose status it fills in, otherwise the error number
// that says why not.
static int iWhyNot(int iFD, struct stat* pStatus)
{
    if (fstat(iFD, pStatus) != 0)
        return errno;
    if (!S_ISREG(pStatus->st_mode))
        return EINVAL;
    if (pStatus->st_nlink == 1)
        return 0;
    return pStatus->st_nlink == 0 ? ENOENT : EMLINK;
}

// Returns whether the folder of cpPath is shared by a group to which the files in it belong too.
// Its status is filled in then.
static bool bSharedFolder(const char* cpPath, struct stat* pFolder)
{
    char szFolder[PATH_MAX];
    v_COPY(szFolder, sizeof(szFolder), cpPath);
    char* cpSlash = strrchr(szFolder, '/');
    if (cpSlash == nullptr)
        return false;
    cpSlash[1] = '\0';
    const mode_t iShared = S_ISGID | S_IWGRP;
    return stat(szFolder, pFolder) == 0 && (pFolder->st_mode & iShared) == iShared;
}

// Gives a lock file of an older time, if it is this user's, the mode that it would be made with.
static void vHeal(int iFD, const struct stat* pStatus, const struct stat* pFolder, mode_t iMode)
{
    // What has another group than the folder was not made there.
    if (pStatus->st_uid == geteuid() && pStatus->st_gid == pFolder->st_gid &&
        (pStatus->st_mode & 07777) != iMode)
        fchmod(iFD, iMode); // without success it is no worse than before
}

int iOpenLockFile(const char* cpPath, int iFlags)
{
    struct stat strFolder;
    struct stat strStatus;
    const bool bShared = (iFlags & O_CREAT) != 0 && bSharedFolder(cpPath, &strFolder);
    const mode_t iMode = bShared ? strFolder.st_mode & 0660 : 0644;
    // The umask is set aside: with a mode that is mended afterwards another member of the group
    // could meet a file that shuts him out.
    const mode_t iMask = bShared ? umask(0) : 0;
    // A link would lead to a file of somebody else. O_NONBLOCK is for the pipe: on a regular file
    // it changes nothing, not even the wait for a lock.
    const int iFD = open(cpPath, iFlags | O_NOFOLLOW | O_NONBLOCK, iMode);
    if (bShared)
        umask(iMask);
    if (iFD < 0)
        return -1;
    const int iErrno = iWhyNot(iFD, &strStatus);
    if (iErrno == 0) {
        if (bShared)
            vHeal(iFD, &strStatus, &strFolder, iMode);
        return iFD;
    }
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
