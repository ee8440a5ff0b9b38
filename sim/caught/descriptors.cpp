// Catches the C library's file calls. Those on the kernel's SCSI listing, on the nodes of SCSI
// devices and on their folders in sysfs go to the simulated library, all others to the C library as
// they are. Here: opening, and what is done with a descriptor.
#include "catch.h"

#include "world/scenario.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

// The caught functions have the C library's names, reserved ones among them, and our parameters'.
// NOLINTBEGIN(bugprone-reserved-identifier, cert-dcl37-c, cert-dcl51-cpp)
// NOLINTBEGIN(readability-identifier-naming, readability-inconsistent-declaration-parameter-name)
// NOLINTBEGIN(bugprone-macro-parentheses): a function's name takes none.

static const unsigned uiFD_MAX = 4096;
static unsigned char gcFile[uiFD_MAX]; // place among the open devices + 1, by descriptor

__attribute__((constructor)) static void vStart(void)
{
    gbInside = true;
    vScenarioRead();
    gbInside = false;
}

static const int iSTATUS_LEFT = 98; // a directive of a strict scenario had no turn

// The end of a process, for a strict scenario. Its output goes out before the status changes.
__attribute__((destructor)) static void vEnd(void)
{
    gbInside = true;
    if (bScenarioLeft()) {
        fflush(nullptr);
        _exit(iSTATUS_LEFT);
    }
    gbInside = false;
}

// A shell ends this way. The simulator's own end, for a mistake, keeps its status.
CAUGHT void _exit(int iStatus)
{
    const bool bOurs = gbInside;
    gbInside = true;
    const bool bLeft = !bOurs && bScenarioLeft();
    NEXT(_exit)(bLeft ? iSTATUS_LEFT : iStatus);
    abort(); // never reached
}

// The open device behind a descriptor, -1 none.
static int iFileOf(int iFd)
{
    return (unsigned)iFd < uiFD_MAX ? gcFile[iFd] - 1 : -1;
}

bool bOpenNumber(int iFd, DEVICE_NUMBER* pNumber)
{
    const int iFile = iFileOf(iFd);
    if (iFile >= 0)
        *pNumber = strFileNumber(iFile);
    return iFile >= 0;
}

// Notes what stands behind a descriptor that the kernel has just given; what was noted before has
// been closed by other means.
static int iNote(int iFd, int iFile)
{
    if ((unsigned)iFd < uiFD_MAX)
        gcFile[iFd] = (unsigned char)(iFile + 1);
    return iFd;
}

static int iOpen(const char* cpPath, const PLACE* pPlace, int iFlags)
{
    int iFile;
    gbInside = true;
    const int iFd = iFileOpen(cpPath, pPlace, iFlags, &iFile);
    gbInside = false;
    return iNote(iFd, iFile);
}

// The optional last argument of an open call; for a call without it, nobody looks at the value.
#define TAKE_MODE(mode, iFlags)                                                                    \
    va_list args;                                                                                  \
    va_start(args, iFlags);                                                                        \
    mode_t mode = va_arg(args, mode_t);                                                            \
    va_end(args)

#define CATCH_OPEN(f)                                                                              \
    CAUGHT int f(const char* cpPath, int iFlags, ...)                                              \
    {                                                                                              \
        TAKE_MODE(mode, iFlags);                                                                   \
        PLACE strPlace;                                                                            \
        return bCatchLink(cpPath, &strPlace) ? iOpen(cpPath, &strPlace, iFlags)                    \
                                             : iNote(NEXT(f)(cpPath, iFlags, mode), -1);           \
    }
CATCH_OPEN(open)
CATCH_OPEN(open64)

#define CATCH_OPENAT(f)                                                                            \
    CAUGHT int f(int iFolder, const char* cpPath, int iFlags, ...)                                 \
    {                                                                                              \
        TAKE_MODE(mode, iFlags);                                                                   \
        PLACE strPlace;                                                                            \
        return bCatchLink(cpPath, &strPlace) ? iOpen(cpPath, &strPlace, iFlags)                    \
                                             : iNote(NEXT(f)(iFolder, cpPath, iFlags, mode), -1);  \
    }
CATCH_OPENAT(openat)
CATCH_OPENAT(openat64)

// What the checking macros of the C library's headers call instead.
CAUGHT int __open_2(const char* cpPath, int iFlags)
{
    return open(cpPath, iFlags);
}

CAUGHT int __open64_2(const char* cpPath, int iFlags)
{
    return open64(cpPath, iFlags);
}

// A stream serves for reading the texts; requests do not go through a stream's buffer.
#define CATCH_FOPEN(f)                                                                             \
    CAUGHT FILE* f(const char* cpPath, const char* cpMode)                                         \
    {                                                                                              \
        PLACE strPlace;                                                                            \
        if (!bCatch(cpPath, &strPlace))                                                            \
            return NEXT(f)(cpPath, cpMode);                                                        \
        errno = EINVAL;                                                                            \
        const int iFd = strPlace.eKind != PLACE_NODE ? iOpen(cpPath, &strPlace, O_RDONLY) : -1;    \
        return iFd < 0 ? nullptr : fdopen(iFd, "r");                                               \
    }
CATCH_FOPEN(fopen)
CATCH_FOPEN(fopen64)

CAUGHT ssize_t read(int iFd, void* vpBuf, size_t uiCount)
{
    const int iFile = iFileOf(iFd);
    const int iErrno = errno;
    if (iFile < 0)
        return NEXT(read)(iFd, vpBuf, uiCount);
    gbInside = true;
    return iDone(iFileRead(iFile, (unsigned char*)vpBuf, uiCount), iErrno);
}

CAUGHT ssize_t __read_chk(int iFd, void* vpBuf, size_t uiCount, size_t uiRoom)
{
    gbInside = uiCount > uiRoom;
    if (gbInside)
        vFatal("read of %zu bytes into %zu", uiCount, uiRoom);
    return read(iFd, vpBuf, uiCount);
}

CAUGHT ssize_t write(int iFd, const void* vpBuf, size_t uiCount)
{
    const int iFile = iFileOf(iFd);
    const int iErrno = errno;
    if (iFile < 0)
        return NEXT(write)(iFd, vpBuf, uiCount);
    gbInside = true;
    return iDone(iFileWrite(iFile, (const unsigned char*)vpBuf, uiCount), iErrno);
}

#define CATCH_IOCTL(f)                                                                             \
    CAUGHT int f(int iFd, unsigned long uiRequest, ...) noexcept                                   \
    {                                                                                              \
        va_list args;                                                                              \
        va_start(args, uiRequest);                                                                 \
        void* vpArg = va_arg(args, void*);                                                         \
        va_end(args);                                                                              \
        const int iFile = iFileOf(iFd);                                                            \
        const int iErrno = errno;                                                                  \
        if (iFile < 0)                                                                             \
            return NEXT(f)(iFd, uiRequest, vpArg);                                                 \
        gbInside = true;                                                                           \
        return (int)iDone(iFileControl(iFile, uiRequest, vpArg), iErrno);                          \
    }
CATCH_IOCTL(ioctl)
#if __TIMESIZE == 32
CATCH_IOCTL(__ioctl_time64) // of a 32-bit program with 64-bit times
#endif

// Forgets a descriptor that is about to be closed.
static void vForget(int iFd)
{
    const int iFile = iFileOf(iFd);
    const int iErrno = errno;
    if (iFile < 0)
        return;
    gcFile[iFd] = 0;
    gbInside = true;
    vFileClose(iFile, iFd);
    iDone(0, iErrno);
}

CAUGHT int close(int iFd)
{
    vForget(iFd);
    return NEXT(close)(iFd);
}

// Notes that iNew is another descriptor of what iOld leads to.
static int iShare(int iOld, int iNew)
{
    const int iFile = iFileOf(iOld);
    if (iFile >= 0 && (unsigned)iNew < uiFD_MAX && iOld != iNew)
        vFileShare(iFile);
    return iNote(iNew, iFile);
}

CAUGHT int dup(int iFd) noexcept
{
    return iShare(iFd, NEXT(dup)(iFd));
}

CAUGHT int dup2(int iFd, int iNew) noexcept
{
    if (iFd != iNew)
        vForget(iNew);
    return iShare(iFd, NEXT(dup2)(iFd, iNew));
}

// NOLINTEND(bugprone-macro-parentheses)
// NOLINTEND(readability-identifier-naming, readability-inconsistent-declaration-parameter-name)
// NOLINTEND(bugprone-reserved-identifier, cert-dcl37-c, cert-dcl51-cpp)
