// Names and numbers of nodes, as node.h says.
#include "node.h"

#include <stdlib.h>
#include <string.h>
#include <sys/sysmacros.h>

struct DRIVER_NAMES {
    const char* cpClass;
    const char* cpPrefix;
    bool bBlock;
    int iMajor;
};

static const DRIVER_NAMES strDrivers[DRIVERS] = {
    {"scsi_generic", "sg",  false, 21},
    {"scsi_tape",    "st",  false, 9 },
    {"scsi_changer", "sch", false, 86},
    {"block",        "sd",  true,  8 },
    {"block",        "sr",  true,  11},
};

static const char szMODES[] = {'\0', 'l', 'm', 'a'}; // what ends the name of a tape node
static const int iPARTS = 16;                        // numbers of a disk

const char* cpClassOf(DRIVER eDriver)
{
    return strDrivers[eDriver].cpClass;
}

bool bSameClass(DRIVER eFirst, DRIVER eSecond)
{
    return strcmp(cpClassOf(eFirst), cpClassOf(eSecond)) == 0;
}

bool bPartition(const NODE* pNode)
{
    return pNode->eDriver == DRIVER_DISK && pNode->iPart != 0;
}

// Takes digits without a leading zero.
static const char* cpTakeDigits(const char* cp, int* ipNumber)
{
    const size_t uiDigits = strspn(cp, "0123456789");
    if (uiDigits == 0 || uiDigits > 7 || (uiDigits > 1 && *cp == '0'))
        return nullptr;
    *ipNumber = atoi(cp);
    return cp + uiDigits;
}

// Takes the letters of a disk, a to z, aa to zz and so on, and the number of a partition.
static const char* cpTakeDisk(const char* cp, NODE* pNode)
{
    const char* cpFirst = cp;
    for (pNode->iUnit = -1; *cp >= 'a' && *cp <= 'z' && cp < cpFirst + 3; cp++)
        pNode->iUnit = (pNode->iUnit + 1) * 26 + (*cp - 'a');
    if (cp == cpFirst)
        return nullptr;
    if (*cp >= '1' && *cp <= '9')
        cp = cpTakeDigits(cp, &pNode->iPart);
    return pNode->iPart < iPARTS ? cp : nullptr;
}

const char* cpTakeName(const char* cp, NODE* pNode)
{
    *pNode = {};
    const bool bStays = strncmp(cp, "nst", 3) == 0;
    cp += bStays ? 1 : 0;
    for (int i = 0; i < DRIVERS; i++) {
        const size_t uiPrefix = strlen(strDrivers[i].cpPrefix);
        if (strncmp(cp, strDrivers[i].cpPrefix, uiPrefix) != 0)
            continue;
        pNode->eDriver = (DRIVER)i;
        if (i == DRIVER_DISK)
            return cpTakeDisk(cp + uiPrefix, pNode);
        const char* cpEnd = cpTakeDigits(cp + uiPrefix, &pNode->iUnit);
        if (cpEnd == nullptr || i != DRIVER_TAPE)
            return cpEnd;
        for (int iMode = 1; iMode < iNO_REWIND; iMode++)
            pNode->iPart = *cpEnd == szMODES[iMode] ? iMode : pNode->iPart;
        cpEnd += pNode->iPart != 0 ? 1 : 0;
        pNode->iPart += bStays ? iNO_REWIND : 0;
        return cpEnd;
    }
    return nullptr;
}

void vAddName(OUT* pOut, const NODE* pNode)
{
    const bool bTape = pNode->eDriver == DRIVER_TAPE;
    vAdd(pOut, "%s%s", bTape && pNode->iPart >= iNO_REWIND ? "n" : "",
         strDrivers[pNode->eDriver].cpPrefix);
    if (pNode->eDriver != DRIVER_DISK) {
        vAdd(pOut, "%d", pNode->iUnit);
        if (bTape && pNode->iPart % iNO_REWIND != 0)
            vAdd(pOut, "%c", szMODES[pNode->iPart % iNO_REWIND]);
        return;
    }
    char szLetters[8] = "";
    char* cp = szLetters + sizeof(szLetters) - 1;
    for (int i = pNode->iUnit; i >= 0; i = i / 26 - 1)
        *--cp = (char)('a' + i % 26);
    vAdd(pOut, "%s", cp);
    if (pNode->iPart != 0)
        vAdd(pOut, "%d", pNode->iPart);
}

// The sixteen major numbers of disks, each for as many disks: 8, 65 to 71, 128 to 135.
static int iDiskMajor(int iIndex)
{
    if (iIndex == 0)
        return 8;
    return iIndex < 8 ? 64 + iIndex : 120 + iIndex;
}

DEVICE_NUMBER strDriverNumber(const NODE* pNode)
{
    const DRIVER_NAMES* pDriver = &strDrivers[pNode->eDriver];
    DEVICE_NUMBER strNumber = {pDriver->bBlock ? NUMBER_BLOCK : NUMBER_CHARACTER, pDriver->iMajor,
                               pNode->iUnit};
    if (pNode->eDriver == DRIVER_TAPE) {
        // The low five bits of the unit, two of the mode, one for no rewind, the rest of the unit.
        strNumber.iMinor = (pNode->iUnit & ~31) << 3 | (pNode->iUnit & 31) | pNode->iPart << 5;
    } else if (pNode->eDriver == DRIVER_DISK) {
        strNumber.iMajor = iDiskMajor(pNode->iUnit >> 4 & 15);
        strNumber.iMinor = (pNode->iUnit & 15) << 4 | (pNode->iUnit & 0xFFF00) | pNode->iPart;
    }
    return strNumber;
}

// The node of a driver under a minor number, and for disks under the iIndex-th major number.
static NODE strNodeOfMinor(DRIVER eDriver, int iIndex, int iMinor)
{
    if (eDriver == DRIVER_TAPE)
        return {eDriver, (iMinor & ~255) >> 3 | (iMinor & 31), iMinor >> 5 & 7};
    if (eDriver == DRIVER_DISK)
        return {eDriver, (iMinor & 0xFFF00) | iIndex << 4 | (iMinor >> 4 & 15), iMinor & 15};
    return {eDriver, iMinor, 0};
}

bool bNodeOfNumber(const DEVICE_NUMBER* pNumber, NODE* pNode)
{
    for (int i = 0; i < DRIVERS; i++) {
        if (strDrivers[i].bBlock != (pNumber->eKind == NUMBER_BLOCK))
            continue;
        for (int iIndex = 0; iIndex < (i == DRIVER_DISK ? 16 : 1); iIndex++) {
            if (pNumber->iMajor != (i == DRIVER_DISK ? iDiskMajor(iIndex) : strDrivers[i].iMajor))
                continue;
            *pNode = strNodeOfMinor((DRIVER)i, iIndex, pNumber->iMinor);
            return true;
        }
    }
    return false;
}

const char* cpTakeDeviceNumber(const char* cp, bool bBlock, NODE* pNode)
{
    DEVICE_NUMBER strNumber = {bBlock ? NUMBER_BLOCK : NUMBER_CHARACTER, 0, 0};
    cp = cpTakeDigits(cp, &strNumber.iMajor);
    if (cp == nullptr || *cp != ':')
        return nullptr;
    cp = cpTakeDigits(cp + 1, &strNumber.iMinor);
    return cp != nullptr && bNodeOfNumber(&strNumber, pNode) ? cp : nullptr;
}

// The driver that gives a device a node beside the generic one, DRIVERS for none.
static DRIVER eDriverOf(const DEVICE* pDev)
{
    switch (pDev->eType) {
    case TYPE_TAPE:
        return DRIVER_TAPE;
    case TYPE_CHANGER:
        return DRIVER_CHANGER;
    case TYPE_DISK:
    case TYPE_OPTICAL:
        return DRIVER_DISK;
    case TYPE_WORM:
    case TYPE_CD:
        return DRIVER_CD;
    }
    return DRIVERS;
}

// The number that the driver of a device counts it by.
static int iUnitOf(const DEVICE* pDev)
{
    return pDev->eType == TYPE_TAPE ? pDev->iNode : pDev->iUnit;
}

int iDriverDevice(const NODE* pNode)
{
    if (pNode->eDriver == DRIVER_GENERIC)
        return iSgDevice(pNode->iUnit);
    if (pNode->eDriver == DRIVER_DISK && pNode->iPart > 1)
        return -1; // a disk has one partition here
    for (int i = 0; i < gstrLib.iDevices; i++) {
        const DEVICE* pDev = &gstrLib.strDevices[i];
        if (eDriverOf(pDev) == pNode->eDriver && iUnitOf(pDev) == pNode->iUnit)
            return i;
    }
    return -1;
}

int iNodesOf(int iDevice, DRIVER eDriver, NODE* pFirst)
{
    static const int iNodes[DRIVERS] = {1, 2 * iNO_REWIND, 1, 2, 1};
    const DEVICE* pDev = &gstrLib.strDevices[iDevice];
    *pFirst = {eDriver, eDriver == DRIVER_GENERIC ? pDev->iSg : iUnitOf(pDev), 0};
    const bool bHas = eDriver == DRIVER_GENERIC || eDriver == eDriverOf(pDev);
    return bHas && pFirst->iUnit >= 0 ? iNodes[eDriver] : 0;
}

DEVICE_NUMBER strNumberInDev(const NODE* pNode)
{
    const int iDevice = iDriverDevice(pNode);
    if (iDevice < 0)
        return {NUMBER_NONE, 0, 0};
    const DEVICE* pDev = &gstrLib.strDevices[iDevice];
    if (pNode->eDriver == DRIVER_GENERIC && pDev->strGenericNode.eKind != NUMBER_DRIVER)
        return pDev->strGenericNode;
    if (pNode->eDriver == DRIVER_TAPE && pNode->iPart == iNO_REWIND &&
        pDev->strTapeNode.eKind != NUMBER_DRIVER)
        return pDev->strTapeNode;
    return strDriverNumber(pNode);
}
