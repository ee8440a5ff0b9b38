// What a media changer does with a command: the inventory and the moves. Layouts are those of
// SMC-2.
#include "commands.h"

#include <string.h>

enum ELEMENT_FLAG { FLAG_FULL = 1, FLAG_EXCEPTION = 4, FLAG_ACCESS = 8, FLAG_PORT = 0x30 };

static const int iTAG_LENGTH = 36; // of a volume tag
static const int iTAG_TEXT = 32;   // its part that is filled with blanks

int iAddressPage(const REQUEST* pReq, unsigned char* cpOut)
{
    const DEVICE* pDev = pDeviceOf(pReq);
    memset(cpOut, 0, 20);
    cpOut[0] = 0x1D;
    cpOut[1] = 18;
    for (int iType = ELEMENT_TRANSPORT; iType <= ELEMENT_DRIVE; iType++) {
        unsigned uiFirst = 0;
        unsigned uiCount = 0;
        for (int i = 0; i < pDev->iElements; i++) {
            const ELEMENT* pElement = &gstrLib.strElements[pDev->iFirstElement + i];
            if ((int)pElement->eType != iType)
                continue;
            if (uiCount++ == 0 || (unsigned)pElement->iAddress < uiFirst)
                uiFirst = (unsigned)pElement->iAddress;
        }
        unsigned char* cp = cpOut + 2 + 4 * (size_t)(iType - ELEMENT_TRANSPORT);
        vPut(cp, 2, uiFirst);
        vPut(cp + 2, 2, uiCount);
    }
    return 20;
}

// A drive gives its cartridge away once it has unloaded it; everything else always does.
static bool bAccess(const ELEMENT* pElement)
{
    return pElement->iDrive < 0 || !gstrLib.strDevices[pElement->iDrive].bLoaded;
}

static unsigned char cFlagsOf(const ELEMENT* pElement)
{
    int iFlags = pElement->iCartridge >= 0 ? FLAG_FULL : 0;
    if (pElement->eType != ELEMENT_TRANSPORT && bAccess(pElement))
        iFlags |= FLAG_ACCESS;
    if (pElement->eType == ELEMENT_PORT)
        iFlags |= FLAG_PORT;
    if (pElement->iException >= 0)
        iFlags |= FLAG_EXCEPTION;
    return (unsigned char)iFlags;
}

// One element descriptor with its four reserved bytes at the end; returns its length.
static int iDescriptor(const ELEMENT* pElement, bool bTags, unsigned char* cp)
{
    const int iLen = 12 + (bTags ? iTAG_LENGTH : 0) + 4;
    memset(cp, 0, (size_t)iLen);
    vPut(cp, 2, (unsigned)pElement->iAddress);
    cp[2] = cFlagsOf(pElement);
    if (pElement->iException >= 0)
        vPut(cp + 4, 2, (unsigned)pElement->iException);
    if (pElement->iDrive >= 0) {
        const ADDRESS* pAddress = &gstrLib.strDevices[pElement->iDrive].strAddress;
        cp[6] = (unsigned char)(0x30 | (pAddress->iLun & 7)); // both address fields are valid
        cp[7] = (unsigned char)pAddress->iTarget;
    }
    if (pElement->iCartridge < 0)
        return iLen;
    const CARTRIDGE* pCart = &gstrLib.strCartridges[pElement->iCartridge];
    if (pCart->iSource >= 0) {
        cp[9] = 0x80;
        vPut(cp + 10, 2, (unsigned)pCart->iSource);
    }
    if (bTags) {
        memset(cp + 12, ' ', iTAG_TEXT);
        memcpy(cp + 12, pCart->cpBarcode, strnlen(pCart->cpBarcode, iTAG_LENGTH));
    }
    return iLen;
}

// What READ ELEMENT STATUS was asked for, and what has been put together.
struct STATUS_REPORT {
    const REQUEST* pReq;
    bool bTags;
    int iStart;
    int iMax; // elements
    int iCount;
    int iFirst; // lowest address so far
    int iLen;
};

// Adds the page of a type, unless it has no elements that were asked for.
static void vAddPage(STATUS_REPORT* pReport, ELEMENT_TYPE eType)
{
    const DEVICE* pDev = pDeviceOf(pReport->pReq);
    unsigned char* cp = pReport->pReq->cpIn;
    const int iPage = pReport->iLen;
    int iLen = iPage + 8;
    for (int i = 0; i < pDev->iElements; i++) {
        const ELEMENT* pElement = &gstrLib.strElements[pDev->iFirstElement + i];
        if (pElement->eType != eType || pElement->iAddress < pReport->iStart ||
            pReport->iCount >= pReport->iMax)
            continue;
        if (pReport->iCount++ == 0 || pElement->iAddress < pReport->iFirst)
            pReport->iFirst = pElement->iAddress;
        iLen += iDescriptor(pElement, pReport->bTags, cp + iLen);
    }
    if (iLen == iPage + 8)
        return;
    vPut(cp + iPage, 1, (unsigned)eType);
    vPut(cp + iPage + 1, 1, pReport->bTags ? 0x80 : 0);
    vPut(cp + iPage + 2, 2, 16 + (pReport->bTags ? iTAG_LENGTH : 0));
    vPut(cp + iPage + 4, 4, (unsigned)(iLen - iPage - 8));
    pReport->iLen = iLen;
}

// READ ELEMENT STATUS: a page for each type that has elements at or above the starting address, in
// the order of the device.
void vReadElementStatus(REQUEST* pReq)
{
    const unsigned char* cpCDB = pReq->cpCDB;
    const int iWanted = cpCDB[1] & 0x0F;
    const unsigned uiAllocation = uiGet(cpCDB + 7, 3);
    if (iWanted > ELEMENT_DRIVE || (gstrLib.bStrict && uiAllocation > (unsigned)pReq->iInMax)) {
        vCheck(pReq, SENSE_ILLEGAL_REQUEST, CODE_INVALID_FIELD);
        return;
    }
    STATUS_REPORT strReport = {
        pReq, (cpCDB[1] & 0x10) != 0, (int)uiGet(cpCDB + 2, 2), (int)uiGet(cpCDB + 4, 2), 0, 0, 8};
    for (const ELEMENT_TYPE eType : pDeviceOf(pReq)->eOrder) {
        if (iWanted == 0 || iWanted == (int)eType)
            vAddPage(&strReport, eType);
    }
    vPut(pReq->cpIn, 2, (unsigned)strReport.iFirst);
    vPut(pReq->cpIn + 2, 2, (unsigned)strReport.iCount);
    vPut(pReq->cpIn + 4, 4, (unsigned)strReport.iLen - 8);
    vAnswer(pReq, strReport.iLen, uiAllocation);
}

// The element with this address in the changer of a request, null for none.
static ELEMENT* pOwnElement(const REQUEST* pReq, const unsigned char* cpAddress)
{
    return pElementAt(pReq->iDevice, (int)uiGet(cpAddress, 2));
}

static void vMove(ELEMENT* pFrom, ELEMENT* pTo)
{
    CARTRIDGE* pCart = &gstrLib.strCartridges[pFrom->iCartridge];
    if (pFrom->eType == ELEMENT_SLOT)
        pCart->iSource = pFrom->iAddress;
    pCart->iPlace = pTo->iAddress;
    pTo->iCartridge = pFrom->iCartridge;
    pFrom->iCartridge = -1;
    if (pTo->iDrive >= 0 && gstrLib.strDevices[pTo->iDrive].bAutoLoad)
        vDriveLoad(&gstrLib.strDevices[pTo->iDrive]);
}

// MOVE MEDIUM. Transport address 0 is the default transport.
void vMoveMedium(REQUEST* pReq)
{
    const bool bAnyArm = uiGet(pReq->cpCDB + 2, 2) == 0;
    const ELEMENT* pArm = pOwnElement(pReq, pReq->cpCDB + 2);
    ELEMENT* pFrom = pOwnElement(pReq, pReq->cpCDB + 4);
    ELEMENT* pTo = pOwnElement(pReq, pReq->cpCDB + 6);
    const bool bArm = bAnyArm || (pArm != nullptr && pArm->eType == ELEMENT_TRANSPORT);
    if (!bArm || pFrom == nullptr || pTo == nullptr) {
        vCheck(pReq, SENSE_ILLEGAL_REQUEST, CODE_INVALID_ADDRESS);
    } else if (pFrom->iCartridge < 0) {
        vCheck(pReq, SENSE_ILLEGAL_REQUEST, 0x3B0E); // medium source element empty
    } else if (pTo->iCartridge >= 0) {
        vCheck(pReq, SENSE_ILLEGAL_REQUEST, 0x3B0D); // medium destination element full
    } else if (pFrom->iDrive >= 0 && gstrLib.strDevices[pFrom->iDrive].bPrevent) {
        vCheck(pReq, SENSE_ILLEGAL_REQUEST, CODE_REMOVAL_PREVENTED);
    } else if (!bAccess(pFrom)) {
        vCheck(pReq, SENSE_HARDWARE_ERROR, 0x5300); // media load or eject failed
    } else {
        vMove(pFrom, pTo);
        pReq->bChanged = true;
    }
}

// INITIALIZE ELEMENT STATUS: this robot always knows where everything lies.
void vInventory(REQUEST* pReq)
{
    (void)pReq;
}
