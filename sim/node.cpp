// The simulated files by their paths: the kernel's listing, the picture of the library, the generic
// devices and the tape nodes. Also the log.
#include "sim.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

// One line of the log, in one write, so that lines of several processes do not mix: time in
// nanoseconds, process, event, device, then what belongs to the event.
void vLog(int64_t i64At, const char* cpEvent, const char* cpPath, const char* cpFormat, ...)
{
    static char cLine[1 << 19];
    const char* cpLog = getenv("MVK_SIM_LOG");
    if (!cpLog || !*cpLog)
        return;
    OUT out = {cLine, (int)sizeof(cLine) - 512, 0, 0};
    vAdd(&out, "%lld %d %s %s ", (long long)i64At, (int)getpid(), cpEvent, cpPath);
    va_list args;
    va_start(args, cpFormat);
    out.iLen += vsnprintf(out.cp + out.iLen, (size_t)(out.iMax - out.iLen), cpFormat, args);
    va_end(args);
    vAdd(&out, "\n");
    int iFd = open(cpLog, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (iFd < 0 || write(iFd, out.cp, (size_t)out.iLen) != out.iLen)
        vFatal("cannot write the log %s: %s", cpLog, strerror(errno));
    close(iFd);
}

// A result as the log shows it: a count, or the name of an error.
const char* cpResult(ssize_t iResult)
{
    static char szCount[24];
    if (iResult < 0)
        return strerrorname_np((int)-iResult);
    snprintf(szCount, sizeof(szCount), "%zd", iResult);
    return szCount;
}

// Which of the simulated files a path names, and the number in its name.
int iNodeKind(const char* cpPath, int* ipNumber)
{
    static const struct {
        const char* cpPrefix;
        int iKind;
    } nodes[] = {
        {"/dev/sg",  NODE_SG  },
        {"/dev/nst", NODE_TAPE}
    };
    if (strcmp(cpPath, "/proc/scsi/scsi") == 0)
        return NODE_LISTING;
    if (strcmp(cpPath, "/proc/scsi/mvk-sim") == 0)
        return NODE_PICTURE;
    for (const auto& node : nodes) {
        size_t uiPrefix = strlen(node.cpPrefix);
        if (strncmp(cpPath, node.cpPrefix, uiPrefix) != 0)
            continue;
        const char* cpNumber = cpPath + uiPrefix;
        size_t uiDigits = strspn(cpNumber, "0123456789");
        *ipNumber = atoi(cpNumber);
        return uiDigits > 0 && uiDigits < 6 && !cpNumber[uiDigits] ? node.iKind : NODE_NONE;
    }
    return NODE_NONE;
}

// The device behind a node, -1 none; the library must be entered.
static int iDeviceBehind(int iKind, int iNumber)
{
    if (iKind == NODE_TAPE)
        return iNodeDevice(iNumber);
    return iNumber < gLib.iDevices ? iNumber : -1;
}

int iNodeExists(int iKind, int iNumber)
{
    if (iKind < NODE_SG)
        return 1;
    vLibraryEnter();
    int iDevice = iDeviceBehind(iKind, iNumber);
    vLibraryLeave(0);
    return iDevice >= 0;
}

// mknod of a tape node: the drive with this number among the tape drives gets its node back.
// Returns 0 or an error number.
int iNodeMake(const char* cpPath, int iNumber, unsigned uiMajor, unsigned uiMinor)
{
    int iError = uiMajor == 9 && uiMinor == (unsigned)iNumber + 128 ? ENODEV : EINVAL, iTape = 0;
    vLibraryEnter();
    for (int i = 0; i < gLib.iDevices && iError == ENODEV; i++) {
        DEVICE* pDev = &gLib.device[i];
        if (pDev->iType != TYPE_TAPE || iTape++ != iNumber)
            continue;
        iError = pDev->iNode >= 0 || iNodeDevice(iNumber) >= 0 ? EEXIST : 0;
        if (iError == 0)
            pDev->iNode = iNumber;
    }
    vLibraryLeave(iError == 0);
    vLog(i64Now(), "mknod", cpPath, "%u %u %s", uiMajor, uiMinor, cpResult(-iError));
    return iError;
}

// A descriptor on the kernel's listing or on the picture: a file in memory.
static int iOpenText(int iKind)
{
    static char cText[TEXT_MAX];
    OUT out = {cText, TEXT_MAX, 0, 0};
    vLibraryEnter();
    if (iKind == NODE_LISTING)
        vListing(&out);
    else
        vPicture(&out);
    vLibraryLeave(0);
    int iFd = memfd_create("mvk-sim", MFD_CLOEXEC);
    if (iFd >= 0 && write(iFd, out.cp, (size_t)out.iLen) == out.iLen)
        lseek(iFd, 0, SEEK_SET);
    return iFd;
}

// A descriptor on a device, with its place among the open devices in *ipFile.
static int iOpenDevice(const char* cpPath, int iKind, int iNumber, int iFlags, int* ipFile)
{
    vLibraryEnter();
    int iDevice = iDeviceBehind(iKind, iNumber);
    vLibraryLeave(0);
    errno = ENOENT;
    if (iDevice < 0)
        return -1;
    int iFd = open("/dev/null", O_RDWR | (iFlags & (O_CLOEXEC | O_NONBLOCK)));
    *ipFile = iFd < 0 ? -1 : iFileNew(cpPath, iKind, iDevice);
    if (iFd < 0 || *ipFile >= 0)
        return iFd;
    close(iFd);
    errno = EMFILE;
    return -1;
}

// Opens one of the simulated files. Returns a descriptor, or -1 with errno; *ipFile is its place
// among the open devices, -1 for a text.
int iNodeOpen(const char* cpPath, int iKind, int iNumber, int iFlags, int* ipFile)
{
    const RULE* pFail = pRule(ACT_OPEN, -1, cpPath);
    int iFd = -1;
    *ipFile = -1;
    if (pFail)
        errno = pFail->iErrno;
    else if (iKind < NODE_SG)
        iFd = iOpenText(iKind);
    else
        iFd = iOpenDevice(cpPath, iKind, iNumber, iFlags, ipFile);
    int iErrno = errno;
    if (iKind >= NODE_SG)
        vLog(i64Now(), "open", cpPath, "%s", cpResult(iFd < 0 ? -iErrno : iFd));
    errno = iErrno;
    return iFd;
}
