// What a media changer does with a command: the inventory and the moves. Layouts are those of
// SMC-2.
#include "sim.h"

#include <string.h>

enum { FLAG_FULL = 1, FLAG_EXCEPTION = 4, FLAG_ACCESS = 8, FLAG_PORT = 0x30 };
enum { TAG_LENGTH = 36, TAG_TEXT = 32 };

// Page 0x1D: first address and count of each type.
int iAddressPage(const REQUEST* pReq, unsigned char* cpOut)
{
    memset(cpOut, 0, 20);
    cpOut[0] = 0x1D;
    cpOut[1] = 18;
    for (int iType = ELEMENT_TRANSPORT; iType <= ELEMENT_DRIVE; iType++) {
        unsigned uiFirst = 0, uiCount = 0;
        for (int i = 0; i < gLib.iElements; i++) {
            const ELEMENT* pElement = &gLib.element[i];
            if (pElement->iChanger != pReq->iDevice || pElement->iType != iType)
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
static int iAccess(const ELEMENT* pElement)
{
    return pElement->iDrive < 0 || !gLib.device[pElement->iDrive].iLoaded;
}

// One element descriptor with its four reserved bytes at the end; returns its length.
static int iDescriptor(const ELEMENT* pElement, int iTags, unsigned char* cp)
{
    int iLen = 12 + (iTags ? TAG_LENGTH : 0) + 4;
    memset(cp, 0, (size_t)iLen);
    vPut(cp, 2, (unsigned)pElement->iAddress);
    if (pElement->iType != ELEMENT_TRANSPORT && iAccess(pElement))
        cp[2] |= FLAG_ACCESS;
    if (pElement->iType == ELEMENT_PORT)
        cp[2] |= FLAG_PORT;
    if (pElement->iException >= 0) {
        cp[2] |= FLAG_EXCEPTION;
        vPut(cp + 4, 2, (unsigned)pElement->iException);
    }
    if (pElement->iDrive >= 0) {
        const int* ipAddress = gLib.device[pElement->iDrive].iAddress;
        cp[6] = (unsigned char)(0x30 | (ipAddress[3] & 7)); // both address fields are valid
        cp[7] = (unsigned char)ipAddress[2];
    }
    if (pElement->iCartridge >= 0) {
        const CARTRIDGE* pCart = &gLib.cartridge[pElement->iCartridge];
        cp[2] |= FLAG_FULL;
        if (pCart->iSource >= 0) {
            cp[9] = 0x80;
            vPut(cp + 10, 2, (unsigned)pCart->iSource);
        }
        if (iTags) {
            memset(cp + 12, ' ', TAG_TEXT);
            memcpy(cp + 12, pCart->cpBarcode, strnlen(pCart->cpBarcode, TAG_LENGTH));
        }
    }
    return iLen;
}

// READ ELEMENT STATUS: a page for each type that has elements at or above the starting address.
static void vReadElementStatus(REQUEST* pReq)
{
    const unsigned char* cpCdb = pReq->cpCdb;
    int iTags = cpCdb[1] & 0x10, iWanted = cpCdb[1] & 0x0F, iStart = (int)uiGet(cpCdb + 2, 2);
    int iMax = (int)uiGet(cpCdb + 4, 2), iCount = 0, iFirst = 0, iLen = 8;
    unsigned uiAllocation = uiGet(cpCdb + 7, 3);
    unsigned char* cp = pReq->cpIn;
    if (iWanted > ELEMENT_DRIVE || (gLib.iStrict && uiAllocation > (unsigned)pReq->iInMax)) {
        vCheck(pReq, 5, 0x2400);
        return;
    }
    for (int iType = ELEMENT_TRANSPORT; iType <= ELEMENT_DRIVE; iType++) {
        int iPage = iLen;
        iLen += 8;
        for (int i = 0; i < gLib.iElements && (!iWanted || iWanted == iType); i++) {
            const ELEMENT* pElement = &gLib.element[i];
            if (pElement->iChanger != pReq->iDevice || pElement->iType != iType ||
                pElement->iAddress < iStart || iCount >= iMax)
                continue;
            if (iCount++ == 0 || pElement->iAddress < iFirst)
                iFirst = pElement->iAddress;
            iLen += iDescriptor(pElement, iTags, cp + iLen);
        }
        if (iLen == iPage + 8) {
            iLen = iPage;
            continue;
        }
        vPut(cp + iPage, 1, (unsigned)iType);
        vPut(cp + iPage + 1, 1, iTags ? 0x80 : 0);
        vPut(cp + iPage + 2, 2, 16 + (iTags ? TAG_LENGTH : 0));
        vPut(cp + iPage + 4, 4, (unsigned)(iLen - iPage - 8));
    }
    vPut(cp, 2, (unsigned)iFirst);
    vPut(cp + 2, 2, (unsigned)iCount);
    vPut(cp + 4, 4, (unsigned)iLen - 8);
    vAnswer(pReq, iLen, uiAllocation);
}

static ELEMENT* pOwnElement(const REQUEST* pReq, const unsigned char* cpAddress)
{
    int iAt = iElementAt(uiGet(cpAddress, 2));
    return iAt >= 0 && gLib.element[iAt].iChanger == pReq->iDevice ? &gLib.element[iAt] : nullptr;
}

// MOVE MEDIUM. Transport address 0 is the default transport.
static void vMoveMedium(REQUEST* pReq)
{
    const ELEMENT* pArm = pOwnElement(pReq, pReq->cpCdb + 2);
    ELEMENT* pFrom = pOwnElement(pReq, pReq->cpCdb + 4);
    ELEMENT* pTo = pOwnElement(pReq, pReq->cpCdb + 6);
    int iArm = pArm ? pArm->iType == ELEMENT_TRANSPORT : uiGet(pReq->cpCdb + 2, 2) == 0;
    if (!iArm || !pFrom || !pTo) {
        vCheck(pReq, 5, 0x2101); // invalid element address
    } else if (pFrom->iCartridge < 0) {
        vCheck(pReq, 5, 0x3B0E); // medium source element empty
    } else if (pTo->iCartridge >= 0) {
        vCheck(pReq, 5, 0x3B0D); // medium destination element full
    } else if (pFrom->iDrive >= 0 && gLib.device[pFrom->iDrive].iPrevent) {
        vCheck(pReq, 5, 0x5302); // medium removal prevented
    } else if (!iAccess(pFrom)) {
        vCheck(pReq, 4, 0x5300); // media load or eject failed
    } else {
        CARTRIDGE* pCart = &gLib.cartridge[pFrom->iCartridge];
        if (pFrom->iType == ELEMENT_SLOT)
            pCart->iSource = pFrom->iAddress;
        pCart->iPlace = pTo->iAddress;
        pTo->iCartridge = pFrom->iCartridge;
        pFrom->iCartridge = -1;
        if (pTo->iDrive >= 0 && gLib.device[pTo->iDrive].iAutoLoad)
            vDriveLoad(&gLib.device[pTo->iDrive]);
        pReq->iChanged = 1;
    }
}

// INITIALIZE ELEMENT STATUS: this robot always knows where everything lies.
static void vInventory(REQUEST*)
{
}

const COMMAND gChangerCommands[] = {
    {0x07, vInventory        },
    {0x1A, vModeSense        },
    {0x1E, vPreventAllow     },
    {0x5A, vModeSense        },
    {0xA5, vMoveMedium       },
    {0xB8, vReadElementStatus},
    {-1,   nullptr           }
};
