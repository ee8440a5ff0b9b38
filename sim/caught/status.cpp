// Catches the C library's calls that tell of a file what it is: stat and its relatives.
#include "catch.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

// The caught functions have the C library's names, and our parameters'.
// NOLINTBEGIN(readability-identifier-naming, readability-inconsistent-declaration-parameter-name)
// NOLINTBEGIN(bugprone-macro-parentheses): a function's name takes none.

#if __TIMESIZE == 32
// The beginning of what 32-bit programs are told that are built with 64-bit times: they call
// functions of other names.
struct STAT_TIME64 {
    uint64_t st_dev;
    uint64_t st_ino;
    uint32_t st_mode;
    uint32_t st_nlink;
    uint32_t st_uid;
    uint32_t st_gid;
    uint64_t st_rdev;
};
#endif

// What is told of a file of ours. All else is told as of a device that every machine has.
struct LOOK {
    mode_t mode;
    unsigned uiMajor;
    unsigned uiMinor;
};

static mode_t modeOfNode(const DEVICE_NUMBER* pNumber)
{
    return (pNumber->eKind == NUMBER_BLOCK ? S_IFBLK : S_IFCHR) | 0666;
}

// The kind and the permissions of a place; a link is looked through unless bLink.
static mode_t modeOf(const PLACE* pPlace, const DEVICE_NUMBER* pNumber, bool bLink)
{
    switch (pPlace->eKind) {
    case PLACE_NODE:
        return modeOfNode(pNumber);
    case PLACE_LINK:
        return bLink ? S_IFLNK | 0777 : S_IFDIR | 0755;
    case PLACE_CLASS:
    case PLACE_ENTRY:
    case PLACE_DEVICE:
    case PLACE_NODES:
        return S_IFDIR | 0755;
    default:
        return S_IFREG | 0444;
    }
}

// Looks at a place. Returns 0, or -1 with errno.
static int iLook(const PLACE* pPlace, bool bLink, LOOK* pLook)
{
    DEVICE_NUMBER strNumber = {};
    const int iErrno = errno;
    gbInside = true;
    const int iError = iFileLook(pPlace, &strNumber);
    *pLook = {modeOf(pPlace, &strNumber, bLink), (unsigned)strNumber.iMajor,
              (unsigned)strNumber.iMinor};
    return (int)iDone(-iError, iErrno);
}

// Looks at what was opened. Returns false for a descriptor that is not ours.
static bool bLookAtOpen(int iFd, LOOK* pLook)
{
    DEVICE_NUMBER strNumber;
    if (!bOpenNumber(iFd, &strNumber))
        return false;
    *pLook = {modeOfNode(&strNumber), (unsigned)strNumber.iMajor, (unsigned)strNumber.iMinor};
    return true;
}

template <typename STAT> static int iTell(STAT* pOut, const LOOK* pLook, int iResult)
{
    if (iResult == 0) {
        pOut->st_rdev = makedev(pLook->uiMajor, pLook->uiMinor);
        pOut->st_mode = pLook->mode;
    }
    return iResult;
}

// Whether a device of the machine has a number of our drivers.
static bool bOurNumber(mode_t mode, unsigned uiMajor, unsigned uiMinor)
{
    NODE strNode;
    const DEVICE_NUMBER strNumber = {S_ISBLK(mode) ? NUMBER_BLOCK : NUMBER_CHARACTER, (int)uiMajor,
                                     (int)uiMinor};
    return (S_ISBLK(mode) || S_ISCHR(mode)) && bNodeOfNumber(&strNumber, &strNode);
}

// Whether what the C library found of a path may be of ours: a link that leads to nothing, or a
// device of the machine.
template <typename STAT> static bool bMayBeOurs(int iResult, const STAT* p)
{
    return iResult == 0 ? bOurNumber(p->st_mode, major(p->st_rdev), minor(p->st_rdev))
                        : errno == ENOENT;
}

static bool bMayBeOursX(int iResult, const struct statx* p)
{
    return iResult == 0 ? bOurNumber(p->stx_mode, p->stx_rdev_major, p->stx_rdev_minor)
                        : errno == ENOENT;
}

// stat of a path; iNext is the C library's way. Links to ours are followed unless bLink.
template <typename STAT, typename NEXT_STAT>
static int iStat(const char* cpPath, STAT* pOut, bool bLink, NEXT_STAT iNext)
{
    PLACE strPlace;
    LOOK strLook;
    if (!bCatch(cpPath, &strPlace)) {
        const int iResult = iNext(cpPath, pOut);
        if (bLink || !bMayBeOurs(iResult, pOut) || !bCatchLink(cpPath, &strPlace))
            return iResult;
    }
    return iLook(&strPlace, bLink, &strLook) == 0 ? iTell(pOut, &strLook, iNext("/dev/null", pOut))
                                                  : -1;
}

template <typename STAT> static int iStatOpen(int iFd, STAT* pOut, int (*iNext)(int, STAT*))
{
    LOOK strLook;
    return bLookAtOpen(iFd, &strLook) ? iTell(pOut, &strLook, iNext(iFd, pOut)) : iNext(iFd, pOut);
}

#define CATCH_STAT(f, TYPE, bLink)                                                                 \
    CAUGHT int f(const char* cpPath, struct TYPE* pOut) noexcept                                   \
    {                                                                                              \
        return iStat(cpPath, pOut, bLink, NEXT(f));                                                \
    }
CATCH_STAT(stat, stat, false)
CATCH_STAT(stat64, stat64, false)
CATCH_STAT(lstat, stat, true)
CATCH_STAT(lstat64, stat64, true)
#if __TIMESIZE == 32
CATCH_STAT(__stat64_time64, STAT_TIME64, false)
CATCH_STAT(__lstat64_time64, STAT_TIME64, true)
#endif

#define CATCH_FSTAT(f, TYPE)                                                                       \
    CAUGHT int f(int iFd, struct TYPE* pOut) noexcept                                              \
    {                                                                                              \
        return iStatOpen<struct TYPE>(iFd, pOut, NEXT(f));                                         \
    }
CATCH_FSTAT(fstat, stat)
CATCH_FSTAT(fstat64, stat64)
#if __TIMESIZE == 32
CATCH_FSTAT(__fstat64_time64, STAT_TIME64)
#endif

// Whether a call names an open file alone.
static bool bEmptyPath(const char* cpPath, int iFlags)
{
    const char* volatile cpGiven = cpPath; // the headers promise that it is never null
    return (iFlags & AT_EMPTY_PATH) != 0 && (cpGiven == nullptr || cpPath[0] == '\0');
}

#define CATCH_STATAT(f, TYPE, openStat)                                                            \
    CAUGHT int f(int iFolder, const char* cpPath, struct TYPE* pOut, int iFlags) noexcept          \
    {                                                                                              \
        if (bEmptyPath(cpPath, iFlags))                                                            \
            return openStat(iFolder, pOut);                                                        \
        return iStat(cpPath, pOut, (iFlags & AT_SYMLINK_NOFOLLOW) != 0,                            \
                     [=](const char* cpAsked, struct TYPE* pAsked) {                               \
                         return NEXT(f)(iFolder, cpAsked, pAsked, iFlags);                         \
                     });                                                                           \
    }
CATCH_STATAT(fstatat, stat, fstat)
CATCH_STATAT(fstatat64, stat64, fstat64)
#if __TIMESIZE == 32
CATCH_STATAT(__fstatat64_time64, STAT_TIME64, __fstat64_time64)
#endif

static int iTellX(struct statx* pOut, const LOOK* pLook, int iResult)
{
    if (iResult == 0) {
        pOut->stx_mode = (uint16_t)pLook->mode;
        pOut->stx_rdev_major = pLook->uiMajor;
        pOut->stx_rdev_minor = pLook->uiMinor;
    }
    return iResult;
}

CAUGHT int statx(int iFolder, const char* cpPath, int iFlags, unsigned uiMask,
                 struct statx* pOut) noexcept
{
    PLACE strPlace;
    LOOK strLook;
    const bool bLink = (iFlags & AT_SYMLINK_NOFOLLOW) != 0;
    const auto iNext = NEXT(statx);
    if (bEmptyPath(cpPath, iFlags)) {
        const int iResult = iNext(iFolder, cpPath, iFlags, uiMask, pOut);
        return bLookAtOpen(iFolder, &strLook) ? iTellX(pOut, &strLook, iResult) : iResult;
    }
    if (!bCatch(cpPath, &strPlace)) {
        const int iResult = iNext(iFolder, cpPath, iFlags, uiMask, pOut);
        if (bLink || !bMayBeOursX(iResult, pOut) || !bCatchLink(cpPath, &strPlace))
            return iResult;
    }
    if (iLook(&strPlace, bLink, &strLook) != 0)
        return -1;
    return iTellX(pOut, &strLook, iNext(AT_FDCWD, "/dev/null", 0, uiMask, pOut));
}

// NOLINTEND(bugprone-macro-parentheses)
// NOLINTEND(readability-identifier-naming, readability-inconsistent-declaration-parameter-name)
