// Catches the C library's file calls. Those on the kernel's SCSI listing, on /dev/sg<n> and on
// /dev/nst<n> go to the simulated library, all others to the C library as they are.
#include "sim.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

// The caught functions have the C library's names, reserved ones among them, and our parameters'.
// NOLINTBEGIN(bugprone-reserved-identifier, cert-dcl37-c, cert-dcl51-cpp)
// NOLINTBEGIN(readability-identifier-naming, readability-inconsistent-declaration-parameter-name)
// NOLINTBEGIN(bugprone-macro-parentheses): a function's name takes none.

#define CAUGHT extern "C" __attribute__((visibility("default")))

// The function of this name that the program would have called without us.
#define NEXT(f)                                                                                    \
    ([]() {                                                                                        \
        static void* vp;                                                                           \
        if (!vp)                                                                                   \
            vp = dlsym(RTLD_NEXT, #f);                                                             \
        return (decltype(&f))vp;                                                                   \
    }())

enum { FD_MAX = 4096 };
static unsigned char gcFile[FD_MAX]; // place among the open devices + 1, by descriptor
static int giInside;                 // the simulator's own file calls are under way

__attribute__((constructor)) static void vStart(void)
{
    giInside = 1;
    vScenarioRead();
    giInside = 0;
}

// Which simulated file a path names, NODE_NONE for the file calls of the simulator itself.
static int iKindOf(const char* cpPath, int* ipNumber)
{
    const char* volatile cpGiven = cpPath; // the headers promise that it is never null
    if (giInside || !cpGiven || cpPath[0] != '/' || (cpPath[1] != 'd' && cpPath[1] != 'p'))
        return NODE_NONE;
    return iNodeKind(cpPath, ipNumber);
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

static int iOpen(const char* cpPath, int iKind, int iNumber, int iFlags)
{
    int iFile;
    giInside = 1;
    int iFd = iNodeOpen(cpPath, iKind, iNumber, iFlags, &iFile);
    giInside = 0;
    return iNote(iFd, iFile);
}

// Turns a result with a negative error number into the C library's way, and keeps errno otherwise.
static ssize_t iDone(ssize_t iResult, int iErrno)
{
    giInside = 0;
    errno = iResult < 0 ? (int)-iResult : iErrno;
    return iResult < 0 ? -1 : iResult;
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
        int iNumber, iKind = iKindOf(cpPath, &iNumber);                                            \
        return iKind ? iOpen(cpPath, iKind, iNumber, iFlags)                                       \
                     : iNote(NEXT(f)(cpPath, iFlags, mode), -1);                                   \
    }
CATCH_OPEN(open)
CATCH_OPEN(open64)

#define CATCH_OPENAT(f)                                                                            \
    CAUGHT int f(int iFolder, const char* cpPath, int iFlags, ...)                                 \
    {                                                                                              \
        TAKE_MODE(mode, iFlags);                                                                   \
        int iNumber, iKind = iKindOf(cpPath, &iNumber);                                            \
        return iKind ? iOpen(cpPath, iKind, iNumber, iFlags)                                       \
                     : iNote(NEXT(f)(iFolder, cpPath, iFlags, mode), -1);                          \
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
        int iNumber, iKind = iKindOf(cpPath, &iNumber);                                            \
        if (!iKind)                                                                                \
            return NEXT(f)(cpPath, cpMode);                                                        \
        errno = EINVAL;                                                                            \
        int iFd = iKind < NODE_SG ? iOpen(cpPath, iKind, iNumber, O_RDONLY) : -1;                  \
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
    if (uiCount > uiRoom)
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

// Looks whether a simulated file exists. Returns 0, or -1 with errno.
static int iExists(int iKind, int iNumber)
{
    int iErrno = errno;
    giInside = 1;
    return (int)iDone(iNodeExists(iKind, iNumber) ? 0 : -ENOENT, iErrno);
}

// What a path's file looks like: a character device, or a file to read.
#define CATCH_STAT(f, TYPE)                                                                        \
    CAUGHT int f(const char* cpPath, struct TYPE* pOut) noexcept                                   \
    {                                                                                              \
        int iNumber, iKind = iKindOf(cpPath, &iNumber);                                            \
        if (!iKind)                                                                                \
            return NEXT(f)(cpPath, pOut);                                                          \
        if (iExists(iKind, iNumber) != 0 || NEXT(f)("/dev/null", pOut) != 0)                       \
            return -1;                                                                             \
        unsigned uiMinor = (unsigned)iNumber + (iKind == NODE_TAPE ? 128 : 0);                     \
        pOut->st_rdev = iKind < NODE_SG ? 0 : makedev(iKind == NODE_TAPE ? 9 : 21, uiMinor);       \
        pOut->st_mode = iKind < NODE_SG ? S_IFREG | 0444 : pOut->st_mode;                          \
        return 0;                                                                                  \
    }
CATCH_STAT(stat, stat)
CATCH_STAT(stat64, stat64)
CATCH_STAT(lstat, stat)

CAUGHT int access(const char* cpPath, int iMode) noexcept
{
    int iNumber, iKind = iKindOf(cpPath, &iNumber);
    return iKind ? iExists(iKind, iNumber) : NEXT(access)(cpPath, iMode);
}

CAUGHT int faccessat(int iFolder, const char* cpPath, int iMode, int iFlags) noexcept
{
    int iNumber, iKind = iKindOf(cpPath, &iNumber);
    return iKind ? iExists(iKind, iNumber) : NEXT(faccessat)(iFolder, cpPath, iMode, iFlags);
}

CAUGHT int mknod(const char* cpPath, mode_t mode, dev_t device) noexcept
{
    int iNumber, iKind = iKindOf(cpPath, &iNumber), iErrno = errno, iError = EPERM;
    if (!iKind)
        return NEXT(mknod)(cpPath, mode, device);
    giInside = 1;
    if (iKind == NODE_TAPE)
        iError = iNodeMake(cpPath, iNumber, major(device), minor(device));
    return (int)iDone(-iError, iErrno);
}

// NOLINTEND(bugprone-macro-parentheses)
// NOLINTEND(readability-identifier-naming, readability-inconsistent-declaration-parameter-name)
// NOLINTEND(bugprone-reserved-identifier, cert-dcl37-c, cert-dcl51-cpp)
