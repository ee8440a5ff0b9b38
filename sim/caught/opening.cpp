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

// The path of a node, whatever it was reached by.
static void vNodePath(const NODE* pNode, char (&szPath)[32])
{
    OUT strOut = {szPath, sizeof(szPath), 0, false};
    vAdd(&strOut, "/dev/");
    vAddName(&strOut, pNode);
}

// What stands in /dev under the name of a node, unless the scenario orders otherwise.
static DEVICE_NUMBER strNumberNow(const NODE* pNode, const char* cpPath)
{
    const RULE* pOther = pRuleByName(ACTION_NODE, cpPath);
    return pOther != nullptr ? pOther->strNumber : strNumberInDev(pNode);
}

static int iLookAtNode(const NODE* pNode, DEVICE_NUMBER* pNumber)
{
    char szPath[32];
    vNodePath(pNode, szPath);
    const RULE* pFail = pRule(ACTION_STAT, -1, szPath);
    if (pFail != nullptr)
        return pFail->iErrno;
    *pNumber = strNumberNow(pNode, szPath);
    return pNumber->eKind != NUMBER_NONE ? 0 : ENOENT;
}

int iFileLook(const PLACE* pPlace, DEVICE_NUMBER* pNumber)
{
    int iError;
    vLibraryEnter();
    if (pPlace->eKind == PLACE_NODE)
        iError = iLookAtNode(&pPlace->strNode, pNumber);
    else
        iError = bExists(pPlace) ? 0 : ENOENT;
    vLibraryLeave(false);
    return iError;
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
static int iFollow(const NODE* pNamed, const char* cpPath, DEVICE_NUMBER* pNumber, NODE* pNode,
                   int* ipDevice)
{
    *pNumber = strNumberNow(pNamed, cpPath);
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
    const int iError = iFollow(&pPlace->strNode, cpPath, &strNumber, &strNode, &iDevice);
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

// Logs the opening of a node, and where it led unless that is what the driver made there.
static void vLogOpen(const char* cpPath, const NODE* pNode, int iFd, int iFile)
{
    const DEVICE_NUMBER strMade = strDriverNumber(pNode);
    const DEVICE_NUMBER strIs = iFile >= 0 ? strFileNumber(iFile) : strMade;
    if (strIs.eKind == strMade.eKind && strIs.iMajor == strMade.iMajor &&
        strIs.iMinor == strMade.iMinor)
        vLog(i64Now(), "open", cpPath, "%s", cpResult(iFd));
    else
        vLog(i64Now(), "open", cpPath, "%s %c %d %d", cpResult(iFd),
             strIs.eKind == NUMBER_BLOCK ? 'b' : 'c', strIs.iMajor, strIs.iMinor);
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
    vLogOpen(szPath, &pPlace->strNode, iFd, *ipFile);
    errno = iFd < 0 ? -iFd : iErrno;
    return iFd < 0 ? -1 : iFd;
}
