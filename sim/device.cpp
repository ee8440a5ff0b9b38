// What every device does with a command: INQUIRY, TEST UNIT READY, REQUEST SENSE, MODE SENSE, and
// the ways in which a command ends. Layouts are those of SPC-3.
#include "sim.h"

#include <string.h>

// Stores the low iBytes bytes of a number, the highest first.
void vPut(unsigned char* cp, int iBytes, unsigned uiValue)
{
    for (int i = iBytes; i-- > 0; uiValue >>= 8)
        cp[i] = (unsigned char)uiValue;
}

unsigned uiGet(const unsigned char* cp, int iBytes)
{
    unsigned uiValue = 0;
    while (iBytes-- > 0)
        uiValue = uiValue << 8 | *cp++;
    return uiValue;
}

// A text field of fixed length.
void vPutText(unsigned char* cp, int iLen, const char* cpText, int iFill)
{
    memset(cp, iFill, (size_t)iLen);
    memcpy(cp, cpText, strnlen(cpText, (size_t)iLen));
}

// Ends a command with the first iLen bytes of cpIn, as far as the allocation length and the
// transfer go.
void vAnswer(REQUEST* pReq, int iLen, unsigned uiAllocation)
{
    if ((unsigned)iLen > uiAllocation)
        iLen = (int)uiAllocation;
    pReq->iInLen = iLen > pReq->iInMax ? pReq->iInMax : iLen;
}

// Ends a command with CHECK CONDITION and fixed-format sense data.
void vCheck(REQUEST* pReq, int iKey, int iAscAscq)
{
    pReq->iStatus = 2;
    memset(pReq->cSense, 0, sizeof(pReq->cSense));
    pReq->cSense[0] = 0x70;
    pReq->cSense[2] = (unsigned char)iKey;
    pReq->cSense[7] = 10;
    vPut(pReq->cSense + 12, 2, (unsigned)iAscAscq);
}

static void vInquiry(REQUEST* pReq)
{
    const DEVICE* pDev = &gLib.device[pReq->iDevice];
    unsigned char* cp = pReq->cpIn;
    if ((pReq->cpCdb[1] & 1) || pReq->cpCdb[2]) {
        vCheck(pReq, 5, 0x2400); // vital product data: none
        return;
    }
    int iLun = pReq->cpCdb[1] >> 5;
    memset(cp, 0, 36);
    cp[0] = (unsigned char)pDev->iType;
    if (iLun && iLun != pDev->iAddress[3])
        cp[0] = 0x7F; // no such logical unit
    cp[1] = pDev->iType == TYPE_TAPE || pDev->iType == TYPE_CHANGER ? 0x80 : 0;
    cp[2] = (unsigned char)pDev->iAnsi;
    cp[3] = 2;
    cp[4] = 31;
    cp[6] = pDev->iElement >= 0 ? 8 : 0; // stands in a changer
    vPutText(cp + 8, 8, pDev->cpVendor, ' ');
    vPutText(cp + 16, 16, pDev->cpProduct, ' ');
    vPutText(cp + 32, 4, pDev->cpRevision, ' ');
    vAnswer(pReq, 36, pReq->cpCdb[4]);
}

static void vTestUnitReady(REQUEST* pReq)
{
    if (gLib.device[pReq->iDevice].iType == TYPE_TAPE)
        iDriveReady(pReq);
}

// The driver has taken the sense data of a failed command with its reply, so what is left to
// report is the state of the drive, and its internal status byte.
static void vRequestSense(REQUEST* pReq)
{
    unsigned char* cp = pReq->cpIn;
    const DEVICE* pDev = &gLib.device[pReq->iDevice];
    vTestUnitReady(pReq);
    memset(cp, 0, 19);
    cp[0] = 0x70;
    if (pReq->iStatus)
        memcpy(cp, pReq->cSense, sizeof(pReq->cSense));
    cp[7] = 11;
    cp[18] = (unsigned char)(pDev->iType == TYPE_TAPE ? iDriveStatusByte(pDev) : 0);
    memset(pReq->cSense, 0, sizeof(pReq->cSense));
    pReq->iStatus = 0;
    vAnswer(pReq, 19, pReq->cpCdb[4]);
}

// Copies the mode page of a device with its two bytes of header; returns its length, 0 when the
// device has no such page.
static int iPage(const REQUEST* pReq, int iCode, unsigned char* cpOut)
{
    const DEVICE* pDev = &gLib.device[pReq->iDevice];
    int iLine = pDev->iLine;
    if (pDev->iType == TYPE_CHANGER && iCode == 0x1D)
        return iAddressPage(pReq, cpOut);
    if (pDev->iType == TYPE_TAPE && iCode == 0x0F) {
        memcpy(cpOut, pDev->bCompression.c, (size_t)pDev->bCompression.iLen);
        return pDev->bCompression.iLen;
    }
    if (pDev->bEeprom.iLen && iCode == 0x3E) {
        vPut(cpOut, 2, 0x3E00 | (unsigned)pDev->bEeprom.iLen);
        memcpy(cpOut + 2, pDev->bEeprom.c, (size_t)pDev->bEeprom.iLen);
        return pDev->bEeprom.iLen + 2;
    }
    while (const char* cp = cpNextValue(&iLine, "page")) {
        int iLen = iData(cp, gcpLibrary, cpOut, 258);
        if (iLen > 0 && (cpOut[0] & 0x3F) == iCode)
            return iLen;
    }
    return 0;
}

// MODE SENSE(6) and (10): header, a drive's block descriptor, one page or all in their order.
void vModeSense(REQUEST* pReq)
{
    const DEVICE* pDev = &gLib.device[pReq->iDevice];
    unsigned char* cp = pReq->cpIn;
    int iTen = pReq->cpCdb[0] == 0x5A, iCode = pReq->cpCdb[2] & 0x3F;
    int iHeader = iTen ? 8 : 4, iBlock = 0, iLen;
    memset(cp, 0, 16);
    if (pDev->iType == TYPE_TAPE) {
        iBlock = pReq->cpCdb[1] & 8 ? 0 : 8; // DBD
        vDriveHeader(pDev, cp + (iTen ? 2 : 1), iBlock ? cp + iHeader : nullptr);
    }
    cp[iTen ? 7 : 3] = (unsigned char)iBlock;
    iLen = iHeader + iBlock;
    for (int i = iCode == 0x3F ? 0 : iCode; i <= (iCode == 0x3F ? 0x3E : iCode); i++)
        iLen += iPage(pReq, i, cp + iLen);
    if (iLen == iHeader + iBlock) {
        vCheck(pReq, 5, 0x2400);
        return;
    }
    if (iTen)
        vPut(cp, 2, (unsigned)iLen - 2);
    else
        cp[0] = (unsigned char)(iLen > 256 ? 255 : iLen - 1);
    vAnswer(pReq, iLen, iTen ? uiGet(pReq->cpCdb + 7, 2) : pReq->cpCdb[4]);
}

static const COMMAND gCommonCommands[] = {
    {0x00, vTestUnitReady},
    {0x03, vRequestSense },
    {0x12, vInquiry      },
    {-1,   nullptr       }
};

static const COMMAND* pFind(const COMMAND* pTable, int iOpcode)
{
    for (; pTable->iOpcode >= 0; pTable++) {
        if (pTable->iOpcode == iOpcode)
            return pTable;
    }
    return nullptr;
}

void vRunCommand(REQUEST* pReq)
{
    int iType = gLib.device[pReq->iDevice].iType, iOpcode = pReq->cpCdb[0];
    const COMMAND* pCommand = pFind(gCommonCommands, iOpcode);
    if (!pCommand && iType == TYPE_TAPE)
        pCommand = pFind(gDriveCommands, iOpcode);
    if (!pCommand && iType == TYPE_CHANGER)
        pCommand = pFind(gChangerCommands, iOpcode);
    if (pCommand)
        pCommand->vRun(pReq);
    else
        vCheck(pReq, 5, 0x2000);
}
