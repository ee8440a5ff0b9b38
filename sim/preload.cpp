// Catches the C library's file calls. Those on the kernel's SCSI listing, on /dev/sg<n>, on
// /dev/nst<n> and on their folders in sysfs go to the simulated library, all others to the C
// library as they are. Here: opening, and what is done with a descriptor.
#include "preload.h"

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

enum { FD_MAX = 4096 };
static unsigned char gcFile[FD_MAX]; // place among the open devices + 1, by descriptor
int giInside;

__attribute__((constructor)) static void vStart(void)
{
    giInside = 1;
    vScenarioRead();
    giInside = 0;
}

static const int iSTATUS_LEFT = 98; // a directive of a strict scenario had no turn

// The end of a process, for a strict scenario. Its output goes out before the status changes.
__attribute__((destructor)) static void vEnd(void)
{
    giInside = 1;
    if (bScenarioLeft()) {
        fflush(nullptr);
        _exit(iSTATUS_LEFT);
    }
    giInside = 0;
}

// A shell ends this way. The simulator's own end, for a mistake, keeps its status.
CAUGHT void _exit(int iStatus)
{
    const bool bLeft = !giInside && bScenarioLeft();
    NEXT(_exit)(bLeft ? iSTATUS_LEFT : iStatus);
    abort(); // never reached
}

bool bCatch(const char* cpPath, PLACE* pPlace)
{
    const char* volatile cpGiven = cpPath; // the headers promise that it is never null
    return !giInside && cpGiven && cpPath[0] == '/' && strchr("dps", cpPath[1]) &&
           bPlace(cpPath, pPlace);
}

ssize_t iDone(ssize_t iResult, int iErrno)
{
    giInside = 0;
    errno = iResult < 0 ? (int)-iResult : iErrno;
    return iResult < 0 ? -1 : iResult;
}

// The open device behind a descriptor, -1 none.
static int iFileOf(int iFd)
{
    return (unsigned)iFd < FD_MAX ? gcFile[iFd] - 1 : -1;
}

// Notes what stands behind a descriptor that the kernel has just given; what was noted before has
// been closed by other means.
static int iNote(int iFd, int iFile)
{
    if ((unsigned)iFd < FD_MAX)
        gcFile[iFd] = (unsigned char)(iFile + 1);
    return iFd;
}

static int iOpen(const char* cpPath, const PLACE* pPlace, int iFlags)
{
    int iFile;
    giInside = 1;
    int iFd = iNodeOpen(cpPath, pPlace, iFlags, &iFile);
    giInside = 0;
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
        PLACE place;                                                                               \
        return bCatch(cpPath, &place) ? iOpen(cpPath, &place, iFlags)                              \
                                      : iNote(NEXT(f)(cpPath, iFlags, mode), -1);                  \
    }
CATCH_OPEN(open)
CATCH_OPEN(open64)

#define CATCH_OPENAT(f)                                                                            \
    CAUGHT int f(int iFolder, const char* cpPath, int iFlags, ...)                                 \
    {                                                                                              \
        TAKE_MODE(mode, iFlags);                                                                   \
        PLACE place;                                                                               \
        return bCatch(cpPath, &place) ? iOpen(cpPath, &place, iFlags)                              \
                                      : iNote(NEXT(f)(iFolder, cpPath, iFlags, mode), -1);         \
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
        PLACE place;                                                                               \
        if (!bCatch(cpPath, &place))                                                               \
            return NEXT(f)(cpPath, cpMode);                                                        \
        errno = EINVAL;                                                                            \
        int iFd = place.eKind < NODE_SG ? iOpen(cpPath, &place, O_RDONLY) : -1;                    \
        return iFd < 0 ? nullptr : fdopen(iFd, "r");                                               \
    }
CATCH_FOPEN(fopen)
CATCH_FOPEN(fopen64)

CAUGHT ssize_t read(int iFd, void* vpBuf, size_t uiCount)
{
    int iFile = iFileOf(iFd), iErrno = errno;
    if (iFile < 0)
        return NEXT(read)(iFd, vpBuf, uiCount);
    giInside = 1;
    return iDone(iFileRead(iFile, (unsigned char*)vpBuf, uiCount), iErrno);
}

CAUGHT ssize_t __read_chk(int iFd, void* vpBuf, size_t uiCount, size_t uiRoom)
{
    giInside = uiCount > uiRoom;
    if (giInside)
        vFatal("read of %zu bytes into %zu", uiCount, uiRoom);
    return read(iFd, vpBuf, uiCount);
}

CAUGHT ssize_t write(int iFd, const void* vpBuf, size_t uiCount)
{
    int iFile = iFileOf(iFd), iErrno = errno;
    if (iFile < 0)
        return NEXT(write)(iFd, vpBuf, uiCount);
    giInside = 1;
    return iDone(iFileWrite(iFile, (const unsigned char*)vpBuf, uiCount), iErrno);
}

CAUGHT int ioctl(int iFd, unsigned long uiRequest, ...) noexcept
{
    va_list args;
    va_start(args, uiRequest);
    void* vpArg = va_arg(args, void*);
    va_end(args);
    int iFile = iFileOf(iFd), iErrno = errno;
    if (iFile < 0)
        return NEXT(ioctl)(iFd, uiRequest, vpArg);
    giInside = 1;
    return (int)iDone(iFileControl(iFile, uiRequest, vpArg), iErrno);
}

// Forgets a descriptor that is about to be closed.
static void vForget(int iFd)
{
    int iFile = iFileOf(iFd), iErrno = errno;
    if (iFile < 0)
        return;
    gcFile[iFd] = 0;
    giInside = 1;
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
    int iFile = iFileOf(iOld);
    if (iFile >= 0 && (unsigned)iNew < FD_MAX && iOld != iNew)
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
