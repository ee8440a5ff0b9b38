// The simulated files by their paths: opening, making, looking.
#include "files.h"
#include "views.h"
#include "world/log.h"
#include "world/scenario.h"
#include "world/state.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

static const unsigned uiMAJOR_TAPE = 9;
static const unsigned uiMINOR_NO_REWIND = 128;

bool bFileExists(const PLACE* pPlace)
{
    vLibraryEnter();
    const bool bFound = bExists(pPlace);
    vLibraryLeave(false);
    return bFound;
}

// The same for a library that is entered.
static int iMake(int iNumber)
{
    int iTape = 0;
    for (int i = 0; i < gstrLib.iDevices; i++) {
        DEVICE* pDev = &gstrLib.strDevices[i];
        if (pDev->eType != TYPE_TAPE || iTape++ != iNumber)
            continue;
        if (pDev->iNode >= 0 || iNodeDevice(iNumber) >= 0)
            return EEXIST;
        pDev->iNode = iNumber;
        return 0;
    }
    return ENODEV;
}

int iFileMake(const char* cpPath, int iNumber, unsigned uiMajor, unsigned uiMinor)
{
    int iError = EINVAL;
    if (uiMajor == uiMAJOR_TAPE && uiMinor == (unsigned)iNumber + uiMINOR_NO_REWIND) {
        vLibraryEnter();
        iError = iMake(iNumber);
        vLibraryLeave(iError == 0);
    }
    vLog(i64Now(), "mknod", cpPath, "%u %u %s", uiMajor, uiMinor, cpResult(-iError));
    return iError;
}

int iFileText(const char* cpPath, const PLACE* pPlace, OUT* pOut)
{
    const RULE* pFail = pPlace->eKind >= PLACE_ABSENT ? pRuleByName(ACTION_OPEN, cpPath)
                                                      : pRule(ACTION_OPEN, -1, cpPath);
    if (pFail != nullptr)
        return pFail->iErrno;
    vLibraryEnter();
    const bool bFound = bExists(pPlace);
    if (bFound)
        vView(pPlace, pOut);
    vLibraryLeave(false);
    return bFound ? 0 : ENOENT;
}

// A descriptor on a text: a file in memory.
static int iOpenText(const char* cpPath, const PLACE* pPlace)
{
    static char cText[iTEXT_MAX];
    OUT strOut = {cText, iTEXT_MAX, 0, false};
    int iError = iFileText(cpPath, pPlace, &strOut);
    if (iError == 0 && pPlace->eKind >= PLACE_CLASS && pPlace->eKind < PLACE_ATTRIBUTE)
        iError = EISDIR; // a folder is read with opendir
    if (iError != 0) {
        errno = iError;
        return -1;
    }
    const int iFd = memfd_create("mvk-sim", MFD_CLOEXEC);
    if (iFd >= 0 && write(iFd, strOut.cp, (size_t)strOut.iLen) == strOut.iLen)
        lseek(iFd, 0, SEEK_SET);
    return iFd;
}

// A descriptor on a device, with its place among the open devices in *ipFile.
static int iOpenDevice(const char* cpPath, const PLACE* pPlace, int iFlags, int* ipFile)
{
    const RULE* pFail = pRule(ACTION_OPEN, -1, cpPath);
    if (pFail != nullptr) {
        errno = pFail->iErrno;
        return -1;
    }
    vLibraryEnter();
    const int iDevice = iDeviceBehind(pPlace);
    vLibraryLeave(false);
    errno = ENOENT;
    if (iDevice < 0)
        return -1;
    const int iFd = open("/dev/null", O_RDWR | (iFlags & (O_CLOEXEC | O_NONBLOCK)));
    if (iFd < 0)
        return -1;
    *ipFile = iFileNew(cpPath, pPlace->eKind, iDevice);
    if (*ipFile >= 0)
        return iFd;
    close(iFd);
    errno = EMFILE;
    return -1;
}

int iFileOpen(const char* cpPath, const PLACE* pPlace, int iFlags, int* ipFile)
{
    *ipFile = -1;
    if (pPlace->eKind < PLACE_SG)
        return iOpenText(cpPath, pPlace);
    const int iFd = iOpenDevice(cpPath, pPlace, iFlags, ipFile);
    const int iErrno = errno;
    vLog(i64Now(), "open", cpPath, "%s", cpResult(iFd < 0 ? -iErrno : iFd));
    errno = iErrno;
    return iFd;
}
