// Catches the C library's calls that look at a path without opening it, and those on folders.
#include "catch.h"

#include "world/model.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

// The caught functions have the C library's names, reserved ones among them, and our parameters'.
// NOLINTBEGIN(bugprone-reserved-identifier, cert-dcl37-c, cert-dcl51-cpp)
// NOLINTBEGIN(readability-identifier-naming, readability-inconsistent-declaration-parameter-name)
// NOLINTBEGIN(bugprone-macro-parentheses): a function's name takes none.

static const unsigned uiMAJOR_SG = 21;
static const unsigned uiMAJOR_TAPE = 9;
static const unsigned uiMINOR_NO_REWIND = 128;

// Looks whether a simulated file exists. Returns 0, or -1 with errno.
static int iExists(const PLACE* pPlace)
{
    const int iErrno = errno;
    gbInside = true;
    return (int)iDone(bFileExists(pPlace) ? 0 : -ENOENT, iErrno);
}

// The kind and the permissions of a place; a link is looked through unless bLink.
static mode_t modeOf(const PLACE* pPlace, bool bLink)
{
    switch (pPlace->eKind) {
    case PLACE_SG:
    case PLACE_TAPE:
        return S_IFCHR | 0666;
    case PLACE_LINK:
        return bLink ? S_IFLNK | 0777 : S_IFDIR | 0755;
    case PLACE_CLASS:
    case PLACE_ENTRY:
    case PLACE_DEVICE:
        return S_IFDIR | 0755;
    default:
        return S_IFREG | 0444;
    }
}

static unsigned uiMajorOf(const PLACE* pPlace)
{
    if (pPlace->eKind < PLACE_SG)
        return 0;
    return pPlace->eKind == PLACE_TAPE ? uiMAJOR_TAPE : uiMAJOR_SG;
}

static unsigned uiMinorOf(const PLACE* pPlace)
{
    if (pPlace->eKind < PLACE_SG)
        return 0;
    return (unsigned)pPlace->iNumber + (pPlace->eKind == PLACE_TAPE ? uiMINOR_NO_REWIND : 0);
}

// The beginning of what stat tells with 64-bit times, where those are not the rule: 32-bit programs
// built with them call functions of other names.
struct STAT_TIME64 {
    uint64_t st_dev;
    uint64_t st_ino;
    uint32_t st_mode;
    uint32_t st_nlink;
    uint32_t st_uid;
    uint32_t st_gid;
    uint64_t st_rdev;
};

// What stat tells of a place: owner and times are those of a device that every machine has.
template <typename STAT>
static int iStat(const PLACE* pPlace, STAT* pOut, int (*iNext)(const char*, STAT*), bool bLink)
{
    if (iExists(pPlace) != 0 || iNext("/dev/null", pOut) != 0)
        return -1;
    pOut->st_rdev = makedev(uiMajorOf(pPlace), uiMinorOf(pPlace));
    pOut->st_mode = modeOf(pPlace, bLink);
    return 0;
}

#define CATCH_STAT(f, TYPE, bLink)                                                                 \
    CAUGHT int f(const char* cpPath, struct TYPE* pOut) noexcept                                   \
    {                                                                                              \
        PLACE strPlace;                                                                            \
        return bCatch(cpPath, &strPlace) ? iStat<struct TYPE>(&strPlace, pOut, NEXT(f), bLink)     \
                                         : NEXT(f)(cpPath, pOut);                                  \
    }
CATCH_STAT(stat, stat, false)
CATCH_STAT(stat64, stat64, false)
CATCH_STAT(lstat, stat, true)
CATCH_STAT(lstat64, stat64, true)
#if __TIMESIZE == 32
CATCH_STAT(__stat64_time64, STAT_TIME64, false)
CATCH_STAT(__lstat64_time64, STAT_TIME64, true)
#endif

#define CATCH_STATAT(f, TYPE, nextStat)                                                            \
    CAUGHT int f(int iFolder, const char* cpPath, struct TYPE* pOut, int iFlags) noexcept          \
    {                                                                                              \
        PLACE strPlace;                                                                            \
        return bCatch(cpPath, &strPlace) ? iStat<struct TYPE>(&strPlace, pOut, NEXT(nextStat),     \
                                                              iFlags & AT_SYMLINK_NOFOLLOW)        \
                                         : NEXT(f)(iFolder, cpPath, pOut, iFlags);                 \
    }
CATCH_STATAT(fstatat, stat, stat)
CATCH_STATAT(fstatat64, stat64, stat64)
#if __TIMESIZE == 32
CATCH_STATAT(__fstatat64_time64, STAT_TIME64, __stat64_time64)
#endif

CAUGHT int statx(int iFolder, const char* cpPath, int iFlags, unsigned uiMask,
                 struct statx* pOut) noexcept
{
    PLACE strPlace;
    if (!bCatch(cpPath, &strPlace))
        return NEXT(statx)(iFolder, cpPath, iFlags, uiMask, pOut);
    if (iExists(&strPlace) != 0 || NEXT(statx)(AT_FDCWD, "/dev/null", 0, uiMask, pOut) != 0)
        return -1;
    pOut->stx_mode = (uint16_t)modeOf(&strPlace, (iFlags & AT_SYMLINK_NOFOLLOW) != 0);
    pOut->stx_rdev_major = uiMajorOf(&strPlace);
    pOut->stx_rdev_minor = uiMinorOf(&strPlace);
    return 0;
}

CAUGHT int access(const char* cpPath, int iMode) noexcept
{
    PLACE strPlace;
    return bCatch(cpPath, &strPlace) ? iExists(&strPlace) : NEXT(access)(cpPath, iMode);
}

CAUGHT int faccessat(int iFolder, const char* cpPath, int iMode, int iFlags) noexcept
{
    PLACE strPlace;
    return bCatch(cpPath, &strPlace) ? iExists(&strPlace)
                                     : NEXT(faccessat)(iFolder, cpPath, iMode, iFlags);
}

// None of ours has extended attributes, after which a long listing of files asks.
#define CATCH_GETXATTR(f)                                                                          \
    CAUGHT ssize_t f(const char* cpPath, const char* cpName, void* vpValue,                        \
                     size_t uiSize) noexcept                                                       \
    {                                                                                              \
        PLACE strPlace;                                                                            \
        if (!bCatch(cpPath, &strPlace))                                                            \
            return NEXT(f)(cpPath, cpName, vpValue, uiSize);                                       \
        errno = ENOTSUP;                                                                           \
        return -1;                                                                                 \
    }
CATCH_GETXATTR(getxattr)
CATCH_GETXATTR(lgetxattr)

// The target of a link, cut at the buffer's end as readlink does it.
static ssize_t iReadLink(const char* cpPath, const PLACE* pPlace, char* cpBuf, size_t uiSize)
{
    char szTarget[128];
    OUT strOut = {szTarget, sizeof(szTarget), 0, false};
    const int iErrno = errno;
    gbInside = true;
    if (pPlace->eKind != PLACE_LINK)
        return iDone(bFileExists(pPlace) ? -EINVAL : -ENOENT, iErrno);
    const int iError = iFileText(cpPath, pPlace, &strOut);
    const size_t uiLen = (size_t)strOut.iLen < uiSize ? (size_t)strOut.iLen : uiSize;
    memcpy(cpBuf, szTarget, uiLen);
    return iDone(iError != 0 ? -iError : (ssize_t)uiLen, iErrno);
}

CAUGHT ssize_t readlink(const char* cpPath, char* cpBuf, size_t uiSize) noexcept
{
    PLACE strPlace;
    return bCatch(cpPath, &strPlace) ? iReadLink(cpPath, &strPlace, cpBuf, uiSize)
                                     : NEXT(readlink)(cpPath, cpBuf, uiSize);
}

CAUGHT ssize_t readlinkat(int iFolder, const char* cpPath, char* cpBuf, size_t uiSize) noexcept
{
    PLACE strPlace;
    return bCatch(cpPath, &strPlace) ? iReadLink(cpPath, &strPlace, cpBuf, uiSize)
                                     : NEXT(readlinkat)(iFolder, cpPath, cpBuf, uiSize);
}

// What the checking macros of the C library's headers call instead.
CAUGHT ssize_t __readlink_chk(const char* cpPath, char* cpBuf, size_t uiSize, size_t uiRoom)
{
    gbInside = uiSize > uiRoom;
    if (gbInside)
        vFatal("readlink of %zu bytes into %zu", uiSize, uiRoom);
    return readlink(cpPath, cpBuf, uiSize);
}

CAUGHT int mknod(const char* cpPath, mode_t mode, dev_t device) noexcept
{
    PLACE strPlace;
    const int iErrno = errno;
    int iError = EPERM;
    if (!bCatch(cpPath, &strPlace))
        return NEXT(mknod)(cpPath, mode, device);
    gbInside = true;
    if (strPlace.eKind == PLACE_TAPE)
        iError = iFileMake(cpPath, strPlace.iNumber, major(device), minor(device));
    return (int)iDone(-iError, iErrno);
}

// An open folder: the names as they were when it was opened, one a line.
struct FOLDER {
    bool bOpen;
    char* cpNext;
    struct dirent strEntry; // the two kinds of an entry are the same where offsets have 64 bits
    struct dirent64 strEntry64;
    char szNames[16 * iDEVICE_MAX];
};
static FOLDER strFolders[4];

// The folder of ours that a handle stands for, null for the C library's.
static FOLDER* pFolderOf(DIR* pHandle)
{
    for (FOLDER& strFolder : strFolders) {
        if ((void*)&strFolder == (void*)pHandle)
            return &strFolder;
    }
    return nullptr;
}

// Opens a folder. Returns 0 or an error number.
static int iOpenFolder(const char* cpPath, const PLACE* pPlace, FOLDER* pFolder)
{
    OUT strOut = {pFolder->szNames, sizeof(pFolder->szNames), 0, false};
    const int iError = iFileText(cpPath, pPlace, &strOut);
    if (iError != 0)
        return iError;
    if (!S_ISDIR(modeOf(pPlace, false)))
        return ENOTDIR;
    pFolder->bOpen = true;
    pFolder->cpNext = pFolder->szNames;
    return 0;
}

CAUGHT DIR* opendir(const char* cpPath)
{
    PLACE strPlace;
    if (!bCatch(cpPath, &strPlace))
        return NEXT(opendir)(cpPath);
    FOLDER* pFree = nullptr;
    for (FOLDER& strFolder : strFolders)
        pFree = strFolder.bOpen ? pFree : &strFolder;
    if (strPlace.eKind == PLACE_LINK)
        strPlace.eKind = PLACE_DEVICE;
    const int iErrno = errno;
    gbInside = true;
    const int iError = pFree != nullptr ? iOpenFolder(cpPath, &strPlace, pFree) : EMFILE;
    return iDone(-iError, iErrno) == 0 ? (DIR*)pFree : nullptr;
}

template <typename ENTRY> static ENTRY* pNextEntry(FOLDER* pFolder, ENTRY* pEntry)
{
    const char* cpName = cpTakeLine(&pFolder->cpNext);
    if (cpName == nullptr)
        return nullptr;
    *pEntry = {};
    pEntry->d_ino = 1;
    pEntry->d_reclen = sizeof(*pEntry);
    pEntry->d_type = DT_UNKNOWN;
    memcpy(pEntry->d_name, cpName, strlen(cpName));
    return pEntry;
}

CAUGHT struct dirent* readdir(DIR* pHandle)
{
    FOLDER* pFolder = pFolderOf(pHandle);
    return pFolder != nullptr ? pNextEntry(pFolder, &pFolder->strEntry) : NEXT(readdir)(pHandle);
}

CAUGHT struct dirent64* readdir64(DIR* pHandle)
{
    FOLDER* pFolder = pFolderOf(pHandle);
    return pFolder != nullptr ? pNextEntry(pFolder, &pFolder->strEntry64)
                              : NEXT(readdir64)(pHandle);
}

CAUGHT int closedir(DIR* pHandle)
{
    FOLDER* pFolder = pFolderOf(pHandle);
    if (pFolder == nullptr)
        return NEXT(closedir)(pHandle);
    pFolder->bOpen = false;
    return 0;
}

// A folder of ours has no descriptor.
CAUGHT int dirfd(DIR* pHandle) noexcept
{
    if (pFolderOf(pHandle) == nullptr)
        return NEXT(dirfd)(pHandle);
    errno = ENOTSUP;
    return -1;
}

// NOLINTEND(bugprone-macro-parentheses)
// NOLINTEND(readability-identifier-naming, readability-inconsistent-declaration-parameter-name)
// NOLINTEND(bugprone-reserved-identifier, cert-dcl37-c, cert-dcl51-cpp)
