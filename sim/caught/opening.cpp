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

bool bFileExists(const PLACE* pPlace, DEVICE_NUMBER* pNumber)
{
    vLibraryEnter();
    const bool bFound = bExists(pPlace);
    if (pPlace->eKind == PLACE_NODE)
        *pNumber = strNumberInDev(&pPlace->strNode);
    vLibraryLeave(false);
    return bFound;
}

// The path of a node, whatever it was reached by.
static void vNodePath(const NODE* pNode, char (&szPath)[32])
{
    OUT strOut = {szPath, sizeof(szPath), 0, false};
    vAdd(&strOut, "/dev/");
    vAddName(&strOut, pNode);
}

// Makes the node of the iNumber-th tape drive, in an entered library.
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

int iFileMake(const PLACE* pPlace, unsigned uiMajor, unsigned uiMinor)
{
    const NODE* pNode = &pPlace->strNode;
    const DEVICE_NUMBER strNumber = strDriverNumber(pNode);
    char szPath[32];
    int iError = EINVAL;
    if (pPlace->eKind != PLACE_NODE || pNode->eDriver != DRIVER_TAPE || pNode->iPart != iNO_REWIND)
        return EPERM;
    if (uiMajor == (unsigned)strNumber.iMajor && uiMinor == (unsigned)strNumber.iMinor) {
        vLibraryEnter();
        iError = iMake(pNode->iUnit);
        vLibraryLeave(iError == 0);
    }
    vNodePath(pNode, szPath);
    vLog(i64Now(), "mknod", szPath, "%u %u %s", uiMajor, uiMinor, cpResult(-iError));
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

// The device that opening a node leads to, by the number that stands there. Returns 0 or an error
// number.
static int iFollow(const NODE* pNamed, DEVICE_NUMBER* pNumber, NODE* pNode, int* ipDevice)
{
    *pNumber = strNumberInDev(pNamed);
    if (pNumber->eKind == NUMBER_NONE)
        return ENOENT;
    *ipDevice = bNodeOfNumber(pNumber, pNode) ? iDriverDevice(pNode) : -1;
    if (*ipDevice < 0)
        return ENXIO;
    const bool bTape = pNode->eDriver == DRIVER_TAPE;
    return bTape && gstrLib.strDevices[*ipDevice].bHeld ? EBUSY : 0;
}

// A descriptor on a device, with its place among the open devices in *ipFile. Returns a negative
// error number on failure.
static int iOpenDevice(const char* cpPath, const PLACE* pPlace, int iFlags, int* ipFile)
{
    DEVICE_NUMBER strNumber;
    NODE strNode;
    int iDevice;
    const RULE* pFail = pRule(ACTION_OPEN, -1, cpPath);
    if (pFail != nullptr)
        return -pFail->iErrno;
    vLibraryEnter();
    const int iError = iFollow(&pPlace->strNode, &strNumber, &strNode, &iDevice);
    vLibraryLeave(false);
    if (iError != 0)
        return -iError;
    const int iFd = open("/dev/null", O_RDWR | (iFlags & (O_CLOEXEC | O_NONBLOCK)));
    if (iFd < 0)
        return -errno;
    *ipFile = iFileNew(cpPath, &strNode, &strNumber, iDevice);
    if (*ipFile >= 0)
        return iFd;
    close(iFd);
    return -EMFILE;
}

int iFileOpen(const char* cpPath, const PLACE* pPlace, int iFlags, int* ipFile)
{
    char szPath[32];
    *ipFile = -1;
    if (pPlace->eKind != PLACE_NODE)
        return iOpenText(cpPath, pPlace);
    vNodePath(&pPlace->strNode, szPath);
    const int iErrno = errno;
    const int iFd = iOpenDevice(szPath, pPlace, iFlags, ipFile);
    vLog(i64Now(), "open", szPath, "%s", cpResult(iFd));
    errno = iFd < 0 ? -iFd : iErrno;
    return iFd < 0 ? -1 : iFd;
}
