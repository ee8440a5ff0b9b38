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

// Takes the number behind a node's name. Returns what follows it, null when there is no number.
const char* cpNodeNumber(const char* cp, int* ipNumber)
{
    const size_t uiDigits = strspn(cp, "0123456789");
    if (uiDigits == 0 || uiDigits > 5)
        return nullptr;
    *ipNumber = atoi(cp);
    return cp + uiDigits;
}

// Which of the simulated files a path names. Returns whether it is one; *pPlace tells which.
bool bPlace(const char* cpPath, PLACE* pPlace)
{
    static const struct {
        const char* cpPrefix;
        NODE eKind;
    } nodes[] = {
        {"/dev/sg",  NODE_SG  },
        {"/dev/nst", NODE_TAPE}
    };
    *pPlace = {};
    if (strcmp(cpPath, "/proc/scsi/scsi") == 0)
        pPlace->eKind = NODE_LISTING;
    if (strcmp(cpPath, "/proc/scsi/mvk-sim") == 0)
        pPlace->eKind = NODE_PICTURE;
    for (const auto& node : nodes) {
        const size_t uiPrefix = strlen(node.cpPrefix);
        if (strncmp(cpPath, node.cpPrefix, uiPrefix) != 0)
            continue;
        const char* cpRest = cpNodeNumber(cpPath + uiPrefix, &pPlace->iNumber);
        pPlace->eKind = cpRest != nullptr && *cpRest == '\0' ? node.eKind : NODE_NONE;
        pPlace->bTape = node.eKind == NODE_TAPE;
    }
    return pPlace->eKind != NODE_NONE || bSysfsPlace(cpPath, pPlace);
}

// The device behind a node, -1 none; the library must be entered.
int iDeviceBehind(const PLACE* pPlace)
{
    return pPlace->bTape ? iNodeDevice(pPlace->iNumber) : iSgDevice(pPlace->iNumber);
}

// The same for a library that is entered.
static bool bExists(const PLACE* pPlace)
{
    switch (pPlace->eKind) {
    case NODE_LISTING:
        return bListed();
    case NODE_PICTURE:
        return true;
    case NODE_SG:
    case NODE_TAPE:
        return iDeviceBehind(pPlace) >= 0;
    default:
        return bSysfsExists(pPlace);
    }
}

bool bPlaceExists(const PLACE* pPlace)
{
    vLibraryEnter();
    const bool bFound = bExists(pPlace);
    vLibraryLeave(0);
    return bFound;
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

// Writes what is to be read at a place: a text, the target of a link, or the names in a folder.
// Returns 0 or an error number.
int iNodeText(const char* cpPath, const PLACE* pPlace, OUT* pOut)
{
    const bool bSysfs = pPlace->eKind >= NODE_ABSENT;
    const RULE* pFail = bSysfs ? pRuleByName(ACT_OPEN, cpPath) : pRule(ACT_OPEN, -1, cpPath);
    if (pFail != nullptr)
        return pFail->iErrno;
    vLibraryEnter();
    const bool bFound = bExists(pPlace);
    if (!bFound)
        pOut->iLen = 0;
    else if (pPlace->eKind == NODE_LISTING)
        vListing(pOut);
    else if (pPlace->eKind == NODE_PICTURE)
        vPicture(pOut);
    else if (pPlace->eKind == NODE_LINK)
        vSysfsLink(pPlace, pOut);
    else if (pPlace->eKind == NODE_ATTRIBUTE)
        vSysfsAttribute(pPlace, pOut);
    else
        vSysfsFolder(pPlace, pOut);
    vLibraryLeave(0);
    return bFound ? 0 : ENOENT;
}

// A descriptor on a text: a file in memory.
static int iOpenText(const char* cpPath, const PLACE* pPlace)
{
    static char cText[TEXT_MAX];
    OUT out = {cText, TEXT_MAX, 0, 0};
    errno = iNodeText(cpPath, pPlace, &out);
    if (errno == 0 && pPlace->eKind >= NODE_CLASS && pPlace->eKind < NODE_ATTRIBUTE)
        errno = EISDIR; // a folder is read with opendir
    if (errno != 0)
        return -1;
    int iFd = memfd_create("mvk-sim", MFD_CLOEXEC);
    if (iFd >= 0 && write(iFd, out.cp, (size_t)out.iLen) == out.iLen)
        lseek(iFd, 0, SEEK_SET);
    return iFd;
}

// A descriptor on a device, with its place among the open devices in *ipFile.
static int iOpenDevice(const char* cpPath, const PLACE* pPlace, int iFlags, int* ipFile)
{
    const RULE* pFail = pRule(ACT_OPEN, -1, cpPath);
    if (pFail != nullptr) {
        errno = pFail->iErrno;
        return -1;
    }
    vLibraryEnter();
    int iDevice = iDeviceBehind(pPlace);
    vLibraryLeave(0);
    errno = ENOENT;
    if (iDevice < 0)
        return -1;
    int iFd = open("/dev/null", O_RDWR | (iFlags & (O_CLOEXEC | O_NONBLOCK)));
    *ipFile = iFd < 0 ? -1 : iFileNew(cpPath, pPlace->eKind, iDevice);
    if (iFd < 0 || *ipFile >= 0)
        return iFd;
    close(iFd);
    errno = EMFILE;
    return -1;
}

// Opens one of the simulated files. Returns a descriptor, or -1 with errno; *ipFile is its place
// among the open devices, -1 for a text.
int iNodeOpen(const char* cpPath, const PLACE* pPlace, int iFlags, int* ipFile)
{
    *ipFile = -1;
    if (pPlace->eKind < NODE_SG)
        return iOpenText(cpPath, pPlace);
    int iFd = iOpenDevice(cpPath, pPlace, iFlags, ipFile);
    int iErrno = errno;
    vLog(i64Now(), "open", cpPath, "%s", cpResult(iFd < 0 ? -iErrno : iFd));
    errno = iErrno;
    return iFd;
}
