// Mode pages: MODE SENSE of changers and drives, MODE SELECT of drives. Layouts are those of SPC-3
// and SSC-3.
#include "commands.h"
#include "world/state.h"

#include <string.h>

static const int iBLOCK_DESCRIPTOR = 8;
static const int iEEPROM_MAX = 255;
static const int iPAGE_MAX = 257; // with its two bytes of header

enum PAGE_CODE {
    PAGE_COMPRESSION = 0x0F,
    PAGE_ADDRESSES = 0x1D,
    PAGE_EEPROM = 0x3E,
    PAGE_ALL = 0x3F
};

// Copies the mode page of a device with its two bytes of header; returns its length, 0 when the
// device has no such page.
static int iPage(const REQUEST* pReq, int iCode, unsigned char* cpOut)
{
    const DEVICE* pDev = pDeviceOf(pReq);
    int iLine = pDev->iLine;
    if (pDev->eType == TYPE_CHANGER && iCode == PAGE_ADDRESSES)
        return iAddressPage(pReq, cpOut);
    if (pDev->eType == TYPE_TAPE && iCode == PAGE_COMPRESSION) {
        memcpy(cpOut, pDev->strCompression.c, (size_t)pDev->strCompression.iLen);
        return pDev->strCompression.iLen;
    }
    if (pDev->strEeprom.iLen != 0 && iCode == PAGE_EEPROM) {
        vPut(cpOut, 2, PAGE_EEPROM << 8 | (unsigned)pDev->strEeprom.iLen);
        memcpy(cpOut + 2, pDev->strEeprom.c, (size_t)pDev->strEeprom.iLen);
        return pDev->strEeprom.iLen + 2;
    }
    while (const char* cp = cpNextValue(&iLine, "page")) {
        const int iLen = iData(cp, gcpLibrary, cpOut, iPAGE_MAX + 1);
        if (iLen > 0 && (cpOut[0] & 0x3F) == iCode)
            return iLen;
    }
    return 0;
}

// Medium type and device-specific parameter of a drive's mode parameter header.
static void vMediumBytes(const DEVICE* pDev, unsigned char* cp)
{
    const CARTRIDGE* pCart = pDev->bLoaded ? pDriveCartridge(pDev) : nullptr;
    int iType = pDev->iMediumType;
    if (pCart != nullptr && iType < 0)
        iType = pCart->iMediumType;
    if (pCart != nullptr && iType < 0)
        iType = pCart->eMedium == MEDIUM_CLEANING ? 0x81 : 0x86;
    cp[0] = (unsigned char)(iType < 0 ? 0 : iType);
    cp[1] = (unsigned char)((pDev->iBuffered & 7) << 4);
    if (pCart != nullptr && pCart->bProtected)
        cp[1] |= 0x80;
}

// MODE SENSE(6) and (10): header, a drive's block descriptor, one page or all in their order.
void vModeSense(REQUEST* pReq)
{
    const DEVICE* pDev = pDeviceOf(pReq);
    unsigned char* cp = pReq->cpIn;
    const bool bTen = pReq->cpCDB[0] == 0x5A;
    const int iCode = pReq->cpCDB[2] & 0x3F;
    const int iHeader = bTen ? 8 : 4;
    const bool bDisableBlock = (pReq->cpCDB[1] & 8) != 0;
    const int iBlock = pDev->eType == TYPE_TAPE && !bDisableBlock ? iBLOCK_DESCRIPTOR : 0;
    memset(cp, 0, (size_t)iHeader + iBLOCK_DESCRIPTOR);
    if (pDev->eType == TYPE_TAPE)
        vMediumBytes(pDev, cp + (bTen ? 2 : 1));
    if (iBlock != 0) {
        cp[iHeader] = (unsigned char)pDev->iDensity;
        vPut(cp + iHeader + 5, 3, (unsigned)pDev->iBlockLength);
    }
    cp[bTen ? 7 : 3] = (unsigned char)iBlock;
    int iLen = iHeader + iBlock;
    const int iFirst = iCode == PAGE_ALL ? 0 : iCode;
    const int iLast = iCode == PAGE_ALL ? PAGE_ALL - 1 : iCode;
    for (int i = iFirst; i <= iLast; i++)
        iLen += iPage(pReq, i, cp + iLen);
    if (iLen == iHeader + iBlock) {
        vCheck(pReq, SENSE_ILLEGAL_REQUEST, CODE_INVALID_FIELD);
        return;
    }
    if (bTen)
        vPut(cp, 2, (unsigned)iLen - 2);
    else
        cp[0] = (unsigned char)(iLen > 256 ? 255 : iLen - 1);
    vAnswer(pReq, iLen, bTen ? uiGet(pReq->cpCDB + 7, 2) : pReq->cpCDB[4]);
}

// Takes the text of page 0x3E: a line whose first word the drive knows replaces that line, another
// one is added. Returns false when the memory is full.
static bool bSetEeprom(BYTES* pText, const unsigned char* cpLine, int iLen)
{
    const unsigned char* cpBlank = (const unsigned char*)memchr(cpLine, ' ', (size_t)iLen);
    const int iKey = cpBlank != nullptr ? (int)(cpBlank - cpLine) + 1 : iLen;
    int iAt = 0;
    while (iAt < pText->iLen) {
        const size_t uiRest = (size_t)(pText->iLen - iAt);
        const unsigned char* cpEnd = (const unsigned char*)memchr(pText->c + iAt, '\n', uiRest);
        const int iNext = cpEnd != nullptr ? (int)(cpEnd - pText->c) + 1 : pText->iLen;
        if (iNext - iAt >= iKey && memcmp(pText->c + iAt, cpLine, (size_t)iKey) == 0) {
            memmove(pText->c + iAt, pText->c + iNext, (size_t)(pText->iLen - iNext));
            pText->iLen -= iNext - iAt;
        } else {
            iAt = iNext;
        }
    }
    if (pText->iLen + iLen > iEEPROM_MAX)
        return false;
    memcpy(pText->c + pText->iLen, cpLine, (size_t)iLen);
    pText->iLen += iLen;
    return true;
}

// Takes one mode page of a parameter list. Returns false when the drive cannot set it.
static bool bSetPage(DEVICE* pDev, const unsigned char* cpPage, int iLen)
{
    const int iCode = cpPage[0] & 0x3F;
    if (iCode == PAGE_EEPROM)
        return bSetEeprom(&pDev->strEeprom, cpPage + 2, iLen - 2);
    if (iCode != PAGE_COMPRESSION || iLen != pDev->strCompression.iLen)
        return false;
    memcpy(pDev->strCompression.c + 2, cpPage + 2, (size_t)iLen - 2);
    return true;
}

// Takes a parameter list of at least four bytes. Returns false when something in it cannot be set.
static bool bSetList(DEVICE* pDev, const unsigned char* cp, int iLen)
{
    int iAt = 4 + cp[3];
    pDev->iBuffered = cp[2] >> 4 & 7;
    if (cp[3] != 0 && cp[3] != iBLOCK_DESCRIPTOR)
        return false;
    if (cp[3] != 0) {
        if (cp[4] != 0 && cp[4] != 0x7F) // the default, no change
            pDev->iDensity = cp[4];
        pDev->iBlockLength = (int)uiGet(cp + 9, 3);
    }
    while (iAt < iLen) {
        if (iAt + 2 > iLen || iAt + 2 + cp[iAt + 1] > iLen ||
            !bSetPage(pDev, cp + iAt, cp[iAt + 1] + 2))
            return false;
        iAt += cp[iAt + 1] + 2;
    }
    return true;
}

// MODE SELECT(6). The list is taken whole or not at all.
void vModeSelect(REQUEST* pReq)
{
    const unsigned char* cp = pReq->cpOut;
    const int iLen = pReq->cpCDB[4];
    if (iLen == 0)
        return;
    if ((pReq->cpCDB[1] & 1) != 0) {
        // nothing can be saved in the drive's own memory
        vCheck(pReq, SENSE_ILLEGAL_REQUEST, CODE_INVALID_FIELD);
        return;
    }
    if (pReq->iOutLen < iLen || iLen < 4 || (cp[3] == iBLOCK_DESCRIPTOR && iLen < 12)) {
        vCheck(pReq, SENSE_ILLEGAL_REQUEST, 0x1A00); // parameter list length error
        return;
    }
    DEVICE strNew = *pDeviceOf(pReq);
    if (!bSetList(&strNew, cp, iLen)) {
        vCheck(pReq, SENSE_ILLEGAL_REQUEST, 0x2600); // invalid field in parameter list
        return;
    }
    *pDeviceOf(pReq) = strNew;
    pReq->bChanged = true;
}
