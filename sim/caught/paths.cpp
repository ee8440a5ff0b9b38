// Catches the C library's calls that look at a path without opening it, but for those that stat.
#include "catch.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

// The caught functions have the C library's names, reserved ones among them, and our parameters'.
// NOLINTBEGIN(bugprone-reserved-identifier, cert-dcl37-c, cert-dcl51-cpp)
// NOLINTBEGIN(readability-identifier-naming, readability-inconsistent-declaration-parameter-name)
// NOLINTBEGIN(bugprone-macro-parentheses): a function's name takes none.

// Looks whether a simulated file exists. Returns 0, or -1 with errno.
static int iExists(const PLACE* pPlace)
{
    DEVICE_NUMBER strNumber;
    const int iErrno = errno;
    gbInside = true;
    return (int)iDone(-iFileLook(pPlace, &strNumber), iErrno);
}

CAUGHT int access(const char* cpPath, int iMode) noexcept
{
    PLACE strPlace;
    return bCatchLink(cpPath, &strPlace) ? iExists(&strPlace) : NEXT(access)(cpPath, iMode);
}

CAUGHT int faccessat(int iFolder, const char* cpPath, int iMode, int iFlags) noexcept
{
    PLACE strPlace;
    return bCatchLink(cpPath, &strPlace) ? iExists(&strPlace)
                                         : NEXT(faccessat)(iFolder, cpPath, iMode, iFlags);
}

// None of ours has extended attributes, after which a long listing of files asks.
#define CATCH_GETXATTR(f, bOurs)                                                                   \
    CAUGHT ssize_t f(const char* cpPath, const char* cpName, void* vpValue,                        \
                     size_t uiSize) noexcept                                                       \
    {                                                                                              \
        PLACE strPlace;                                                                            \
        if (!bOurs(cpPath, &strPlace))                                                             \
            return NEXT(f)(cpPath, cpName, vpValue, uiSize);                                       \
        errno = ENOTSUP;                                                                           \
        return -1;                                                                                 \
    }
CATCH_GETXATTR(getxattr, bCatchLink)
CATCH_GETXATTR(lgetxattr, bCatch)

// The target of a link, cut at the buffer's end as readlink does it.
static ssize_t iReadLink(const char* cpPath, const PLACE* pPlace, char* cpBuf, size_t uiSize)
{
    char szTarget[128];
    OUT strOut = {szTarget, sizeof(szTarget), 0, false};
    const int iErrno = errno;
    gbInside = true;
    if (pPlace->eKind != PLACE_LINK)
        return iDone(iExists(pPlace) == 0 ? -EINVAL : -ENOENT, iErrno);
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
    if (!bCatch(cpPath, &strPlace))
        return NEXT(mknod)(cpPath, mode, device);
    gbInside = true;
    return (int)iDone(-iFileMake(&strPlace, major(device), minor(device)), iErrno);
}

// NOLINTEND(bugprone-macro-parentheses)
// NOLINTEND(readability-identifier-naming, readability-inconsistent-declaration-parameter-name)
// NOLINTEND(bugprone-reserved-identifier, cert-dcl37-c, cert-dcl51-cpp)
