// What a tape drive does with a command: the cartridge in it, its settings, its label block and its
// memory. Layouts are those of SSC-3 and SPC-3.
#include "sim.h"

#include <string.h>

enum { LABEL_LENGTH = 2048, MEDIUM_TYPE = 0x0408 };

// Index of the cartridge that stands in a drive, -1 none.
static int iDriveCartridge(const DEVICE* pDev)
{
    int iAt = pDev->iElement >= 0 ? iElementAt((unsigned)pDev->iElement) : -1;
    return iAt >= 0 ? gLib.element[iAt].iCartridge : -1;
}

// The cartridge in the drive of a request; without one the request ends with NOT READY.
static CARTRIDGE* pSeated(REQUEST* pReq)
{
    int iCartridge = iDriveCartridge(&gLib.device[pReq->iDevice]);
    if (iCartridge < 0)
        vCheck(pReq, 2, 0x3A00); // medium not present
    return iCartridge >= 0 ? &gLib.cartridge[iCartridge] : nullptr;
}

// Returns 1 when the drive can use its tape, else 0 with the reason in the request.
int iDriveReady(REQUEST* pReq)
{
    const CARTRIDGE* pCart = pSeated(pReq);
    if (!pCart)
        return 0;
    if (!gLib.device[pReq->iDevice].iLoaded)
        vCheck(pReq, 2, 0x0402); // initializing command required
    else if (pCart->iKind == KIND_CLEANING)
        vCheck(pReq, 2, 0x3003); // cleaning cartridge installed
    return pReq->iStatus == 0;
}

// Byte 18 of the sense data: bit 7 valid, bit 1 nothing loaded, bit 0 cleaning is due.
int iDriveStatusByte(const DEVICE* pDev)
{
    if (pDev->iStatusByte >= 0)
        return pDev->iStatusByte;
    return 0x80 | (pDev->iLoaded ? 0 : 2) | pDev->iCleaning;
}

// Threads the cartridge that stands in the drive; a cleaning cartridge does its work.
void vDriveLoad(DEVICE* pDev)
{
    pDev->iLoaded = 1;
    pDev->iPosition = 0;
    if (gLib.cartridge[iDriveCartridge(pDev)].iKind == KIND_CLEANING)
        pDev->iCleaning = 0;
}

// Medium type and device-specific parameter of the mode parameter header, and the block descriptor
// when one is wanted.
void vDriveHeader(const DEVICE* pDev, unsigned char* cpMedium, unsigned char* cpBlock)
{
    int iCartridge = pDev->iLoaded ? iDriveCartridge(pDev) : -1, iMedium = pDev->iMediumType;
    if (iCartridge >= 0) {
        const CARTRIDGE* pCart = &gLib.cartridge[iCartridge];
        if (iMedium < 0 && pCart->iMediumType >= 0)
            iMedium = pCart->iMediumType;
        if (iMedium < 0)
            iMedium = pCart->iKind == KIND_CLEANING ? 0x81 : 0x86;
        if (pCart->iProtected)
            cpMedium[1] = 0x80;
    }
    cpMedium[0] = (unsigned char)(iMedium < 0 ? 0 : iMedium);
    cpMedium[1] |= (unsigned char)((pDev->iBuffered & 7) << 4);
    if (cpBlock) {
        cpBlock[0] = (unsigned char)pDev->iDensity;
        vPut(cpBlock + 5, 3, (unsigned)pDev->iBlockLength);
    }
}

// Takes the text of page 0x3E: a line whose first word the drive knows replaces that line, another
// one is added. Returns 0 when the memory is full.
static int iSetEeprom(BYTES* pText, const unsigned char* cpLine, int iLen)
{
    const void* vpBlank = memchr(cpLine, ' ', (size_t)iLen);
    int iKey = vpBlank ? (int)((const unsigned char*)vpBlank - cpLine) + 1 : iLen, iAt = 0;
    while (iAt < pText->iLen) {
        const void* vpEnd = memchr(pText->c + iAt, '\n', (size_t)(pText->iLen - iAt));
        int iNext = vpEnd ? (int)((const unsigned char*)vpEnd - pText->c) + 1 : pText->iLen;
        if (iNext - iAt >= iKey && memcmp(pText->c + iAt, cpLine, (size_t)iKey) == 0) {
            memmove(pText->c + iAt, pText->c + iNext, (size_t)(pText->iLen - iNext));
            pText->iLen -= iNext - iAt;
        } else {
            iAt = iNext;
        }
    }
    if (pText->iLen + iLen > 255)
        return 0;
    memcpy(pText->c + pText->iLen, cpLine, (size_t)iLen);
    pText->iLen += iLen;
    return 1;
}

// Takes one mode page of a parameter list. Returns 0 when the drive cannot set it.
static int iSetPage(DEVICE* pDev, const unsigned char* cpPage, int iLen)
{
    if ((cpPage[0] & 0x3F) == 0x3E)
        return iSetEeprom(&pDev->bEeprom, cpPage + 2, iLen - 2);
    if ((cpPage[0] & 0x3F) != 0x0F || iLen != pDev->bCompression.iLen)
        return 0;
    memcpy(pDev->bCompression.c + 2, cpPage + 2, (size_t)iLen - 2);
    return 1;
}

// MODE SELECT(6). The list is taken whole or not at all.
static void vModeSelect(REQUEST* pReq)
{
    const unsigned char* cp = pReq->cpOut;
    DEVICE newDevice = gLib.device[pReq->iDevice];
    int iLen = pReq->cpCdb[4], iAt = 4;
    if (iLen == 0)
        return;
    if (pReq->cpCdb[1] & 1) {
        vCheck(pReq, 5, 0x2400); // nothing can be saved in the drive's own memory
        return;
    }
    if (pReq->iOutLen < iLen || iLen < 4 || (cp[3] == 8 && iLen < 12)) {
        vCheck(pReq, 5, 0x1A00); // parameter list length error
        return;
    }
    newDevice.iBuffered = cp[2] >> 4 & 7;
    int iGood = cp[3] == 0 || cp[3] == 8;
    if (cp[3] == 8) {
        iAt = 12;
        if (cp[4] != 0 && cp[4] != 0x7F) // the default, no change
            newDevice.iDensity = cp[4];
        newDevice.iBlockLength = (int)uiGet(cp + 9, 3);
    }
    for (; iGood && iAt < iLen; iAt += cp[iAt + 1] + 2)
        iGood = iAt + 2 <= iLen && iAt + cp[iAt + 1] + 2 <= iLen &&
                iSetPage(&newDevice, cp + iAt, cp[iAt + 1] + 2);
    if (!iGood) {
        vCheck(pReq, 5, 0x2600); // invalid field in parameter list
        return;
    }
    gLib.device[pReq->iDevice] = newDevice;
    pReq->iChanged = 1;
}

// LOAD UNLOAD: an unloaded cartridge stays in the drive's mouth until the robot takes it.
static void vLoadUnload(REQUEST* pReq)
{
    DEVICE* pDev = &gLib.device[pReq->iDevice];
    if (!pSeated(pReq))
        return;
    if (pReq->cpCdb[4] & 1)
        vDriveLoad(pDev);
    else if (pDev->iPrevent)
        vCheck(pReq, 5, 0x5302);
    else
        pDev->iLoaded = 0;
    pReq->iChanged = pReq->iStatus == 0;
}

// PREVENT ALLOW MEDIUM REMOVAL, of a changer too.
void vPreventAllow(REQUEST* pReq)
{
    gLib.device[pReq->iDevice].iPrevent = pReq->cpCdb[4] & 1;
    pReq->iChanged = 1;
}

static void vRewind(REQUEST* pReq)
{
    if (!iDriveReady(pReq))
        return;
    gLib.device[pReq->iDevice].iPosition = 0;
    pReq->iChanged = 1;
}

// ERASE from where the tape stands, so behind the label block it leaves the label.
static void vErase(REQUEST* pReq)
{
    if (!iDriveReady(pReq))
        return;
    DEVICE* pDev = &gLib.device[pReq->iDevice];
    CARTRIDGE* pCart = &gLib.cartridge[iDriveCartridge(pDev)];
    if (pCart->iProtected) {
        vCheck(pReq, 7, 0x2700); // write protected
    } else if (pCart->iKind == KIND_WORM) {
        vCheck(pReq, 7, 0x300C); // overwrite attempted on a write-once medium
    } else if (pDev->iPosition == 0) {
        pCart->iBlank = 1;
        pReq->iChanged = 1;
    }
}

// The fields of the label layouts; those without a fill byte are given as data.
static const struct {
    const char *cpLayout, *cpKey;
    int iAt, iLen, iFill;
} gFields[] = {
    {"2A",   "label_text",   2,   128,  ' '},
    {"2A",   "label_time",   130, 20,   ' '},
    {"2A",   "label_etc",    150, 1898, 0  },
    {"TAPE", "label_header", 4,   90,   -1 },
    {"TAPE", "label_text",   94,  128,  0  },
    {"TAPE", "label_etc",    222, 1826, 0  }
};

static const char* cpValueOf(const CARTRIDGE* pCart, const char* cpKey)
{
    int iLine = pCart->iLine;
    const char* cp = cpNextValue(&iLine, cpKey);
    return cp ? cp : "";
}

// The first block of a tape: given as data, or laid out as one of the label layouts. Returns its
// length, 0 when the tape is blank.
static int iFirstBlock(const CARTRIDGE* pCart, unsigned char* cpOut)
{
    const char *cpBlock = cpValueOf(pCart, "block"), *cpLabel = cpValueOf(pCart, "label");
    if (pCart->iBlank || (!*cpBlock && !*cpLabel))
        return 0;
    if (*cpBlock)
        return iData(cpBlock, gcpLibrary, cpOut, BLOCK_MAX + 1);
    memset(cpOut, 0, LABEL_LENGTH);
    vPutText(cpOut, 4, cpLabel, 0);
    for (const auto& field : gFields) {
        const char* cpValue = cpValueOf(pCart, field.cpKey);
        if (strcmp(cpLabel, field.cpLayout) != 0)
            continue;
        if (field.iFill < 0)
            iData(cpValue, gcpLibrary, cpOut + field.iAt, field.iLen);
        else
            vPutText(cpOut + field.iAt, field.iLen, cpValue, field.iFill);
    }
    return LABEL_LENGTH;
}

// READ(6) of one block of variable length. A block that is not as long as asked is an error unless
// SILI says otherwise, and a longer one is all the same while a block length is set.
static void vRead(REQUEST* pReq)
{
    if (!iDriveReady(pReq))
        return;
    DEVICE* pDev = &gLib.device[pReq->iDevice];
    const CARTRIDGE* pCart = &gLib.cartridge[iDriveCartridge(pDev)];
    int iAsked = (int)uiGet(pReq->cpCdb + 2, 3), iSili = pReq->cpCdb[1] & 2;
    if (pReq->cpCdb[1] & 1) {
        vCheck(pReq, 5, 0x2400); // blocks of fixed length
        return;
    }
    if (iAsked == 0)
        return;
    int iLen = pDev->iPosition == 0 ? iFirstBlock(pCart, pReq->cpIn) : 0;
    if (iLen <= 0) {
        vCheck(pReq, 8, 0x0005); // blank check, end of data
        return;
    }
    vAnswer(pReq, iLen, (unsigned)iAsked);
    pDev->iPosition++;
    pReq->iChanged = 1;
    if (iLen != iAsked && (!iSili || (iLen > iAsked && pDev->iBlockLength))) {
        vCheck(pReq, 0x20, 0); // incorrect length
        pReq->cSense[0] = 0xF0;
        vPut(pReq->cSense + 3, 4, (unsigned)(iAsked - iLen));
    }
}

// The answer to READ ATTRIBUTE while it is put together.
struct MEMORY {
    unsigned char* cp;
    int iFirst, iLen, iFound;
};

static void vAddAttribute(MEMORY* p, int iId, int iFormat, const unsigned char* cpValue, int iLen)
{
    if (iId < p->iFirst || p->iLen + 5 + iLen > DATA_IN_MAX)
        return;
    p->iFound |= iId == p->iFirst;
    vPut(p->cp + p->iLen, 2, (unsigned)iId);
    p->cp[p->iLen + 2] = (unsigned char)((iId < 0x0800 ? 0x80 : 0) | iFormat);
    vPut(p->cp + p->iLen + 3, 2, (unsigned)iLen);
    memcpy(p->cp + p->iLen + 5, cpValue, (size_t)iLen);
    p->iLen += 5 + iLen;
}

// READ ATTRIBUTE, attribute values from the given number on; that one must exist. They stand in the
// description in the order of their numbers; the medium type is added when it is not there. A
// cartridge need not be loaded for it: its memory is read as it stands in the drive.
static void vReadAttribute(REQUEST* pReq)
{
    static const unsigned char cTypes[] = {0x00, 0x80, 0x01}; // data, write-once, cleaning
    unsigned char cValue[VALUE_MAX + 1];
    const CARTRIDGE* pCart = pSeated(pReq);
    if (!pCart)
        return;
    MEMORY memory = {pReq->cpIn, (int)uiGet(pReq->cpCdb + 8, 2), 4, 0};
    int iLine = pCart->iLine, iId, iFormat, iTyped = 0;
    while (const char* cp = cpNextValue(&iLine, "attribute")) {
        int iLen = iAttribute(cp, &iId, &iFormat, cValue);
        if (iId > MEDIUM_TYPE && !iTyped)
            vAddAttribute(&memory, MEDIUM_TYPE, 0, &cTypes[pCart->iKind], 1);
        iTyped |= iId >= MEDIUM_TYPE;
        vAddAttribute(&memory, iId, iFormat, cValue, iLen);
    }
    if (!iTyped)
        vAddAttribute(&memory, MEDIUM_TYPE, 0, &cTypes[pCart->iKind], 1);
    if ((pReq->cpCdb[1] & 0x1F) || !memory.iFound) {
        vCheck(pReq, 5, 0x2400);
        return;
    }
    vPut(pReq->cpIn, 4, (unsigned)memory.iLen - 4);
    vAnswer(pReq, memory.iLen, uiGet(pReq->cpCdb + 10, 4));
}

const COMMAND gDriveCommands[] = {
    {0x01, vRewind       },
    {0x08, vRead         },
    {0x15, vModeSelect   },
    {0x19, vErase        },
    {0x1A, vModeSense    },
    {0x1B, vLoadUnload   },
    {0x1E, vPreventAllow },
    {0x5A, vModeSense    },
    {0x8C, vReadAttribute},
    {-1,   nullptr       }
};
