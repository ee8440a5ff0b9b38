// What a cartridge holds: the label block on the tape and the attributes in its memory. Layouts of
// commands are those of SSC-3 and SPC-3.
#include "commands.h"
#include "world/keys.h"
#include "world/media.h"
#include "world/state.h"

#include <string.h>

static const int iLABEL_LENGTH = 2048;
static const int iMEDIUM_TYPE = 0x0408; // the attribute

// The fields of the label layouts; those without a fill byte are given as data.
struct LABEL_FIELD {
    const char* cpLayout;
    const char* cpKey;
    int iAt;
    int iLen;
    int iFill;
};

static const LABEL_FIELD strFields[] = {
    {"2A",   "label_text",   2,   128,  ' '},
    {"2A",   "label_time",   130, 20,   ' '},
    {"2A",   "label_etc",    150, 1898, 0  },
    {"TAPE", "label_header", 4,   90,   -1 },
    {"TAPE", "label_text",   94,  128,  0  },
    {"TAPE", "label_etc",    222, 1826, 0  },
};

// The value of a key of a cartridge, empty when there is none.
static const char* cpValueOf(const CARTRIDGE* pCart, const char* cpKey)
{
    int iLine = pCart->iLine;
    const char* cp = cpNextValue(&iLine, cpKey);
    return cp != nullptr ? cp : "";
}

// The first block that a tape was described with: data, or laid out as one of the label layouts.
// Returns its length, 0 when the tape is blank.
static int iFirstBlock(const CARTRIDGE* pCart, unsigned char* cpOut)
{
    const char* cpBlock = cpValueOf(pCart, "block");
    const char* cpLabel = cpValueOf(pCart, "label");
    if (pCart->bBlank || (cpBlock[0] == '\0' && cpLabel[0] == '\0'))
        return 0;
    if (cpBlock[0] != '\0')
        return iData(cpBlock, gcpLibrary, cpOut, iBLOCK_MAX + 1);
    memset(cpOut, 0, iLABEL_LENGTH);
    vPutText(cpOut, 4, cpLabel, '\0');
    for (const LABEL_FIELD& strField : strFields) {
        const char* cpValue = cpValueOf(pCart, strField.cpKey);
        if (strcmp(cpLabel, strField.cpLayout) != 0)
            continue;
        if (strField.iFill < 0)
            iData(cpValue, gcpLibrary, cpOut + strField.iAt, strField.iLen);
        else
            vPutText(cpOut + strField.iAt, strField.iLen, cpValue, (char)strField.iFill);
    }
    return iLABEL_LENGTH;
}

int iTapeBlock(const CARTRIDGE* pCart, int iPosition, unsigned char* cpOut)
{
    const int iCartridge = (int)(pCart - gstrLib.strCartridges);
    const RECORD* p = nullptr;
    while ((p = pNextRecord(MEDIA_CARTRIDGE, iCartridge, p)) != nullptr) {
        if (p->iAt == iPosition) {
            memcpy(cpOut, p->cp, (size_t)p->iLen);
            return p->iLen;
        }
    }
    return iPosition == 0 ? iFirstBlock(pCart, cpOut) : 0;
}

// READ(6) of one block of variable length. A block that is not as long as asked is an error unless
// SILI says otherwise, and a longer one is all the same while a block length is set.
void vRead(REQUEST* pReq)
{
    if (!bDriveReady(pReq))
        return;
    DEVICE* pDev = pDeviceOf(pReq);
    const int iAsked = (int)uiGet(pReq->cpCDB + 2, 3);
    const bool bSili = (pReq->cpCDB[1] & 2) != 0;
    if ((pReq->cpCDB[1] & 1) != 0) {
        vCheck(pReq, SENSE_ILLEGAL_REQUEST, CODE_INVALID_FIELD); // blocks of fixed length
        return;
    }
    if (iAsked == 0)
        return;
    const int iLen = iTapeBlock(pDriveCartridge(pDev), pDev->iPosition, pReq->cpIn);
    if (iLen <= 0) {
        vCheck(pReq, SENSE_BLANK_CHECK, 0x0005); // end of data
        return;
    }
    vAnswer(pReq, iLen, (unsigned)iAsked);
    pDev->iPosition++;
    pReq->bChanged = true;
    if (iLen != iAsked && (!bSili || (iLen > iAsked && pDev->iBlockLength != 0))) {
        vCheck(pReq, SENSE_INCORRECT_LENGTH, CODE_NONE);
        pReq->cSense[0] = 0xF0; // the information field is valid
        vPut(pReq->cSense + 3, 4, (unsigned)(iAsked - iLen));
    }
}

// The answer to READ ATTRIBUTE while it is put together.
struct ATTRIBUTE_REPLY {
    unsigned char* cp;
    int iFirst; // number that was asked for
    int iLen;
    bool bFound;
};

static void vAddAttribute(ATTRIBUTE_REPLY* p, int iId, int iFormat, const unsigned char* cpValue,
                          int iLen)
{
    if (iId < p->iFirst || p->iLen + 5 + iLen > iDATA_IN_MAX)
        return;
    p->bFound = p->bFound || iId == p->iFirst;
    vPut(p->cp + p->iLen, 2, (unsigned)iId);
    p->cp[p->iLen + 2] = (unsigned char)((iId < 0x0800 ? 0x80 : 0) | iFormat); // read only
    vPut(p->cp + p->iLen + 3, 2, (unsigned)iLen);
    memcpy(p->cp + p->iLen + 5, cpValue, (size_t)iLen);
    p->iLen += 5 + iLen;
}

// Puts the attributes of a cartridge together. They stand in the description in the order of their
// numbers; the medium type is added when it is not there.
static void vAddAttributes(ATTRIBUTE_REPLY* pReply, const CARTRIDGE* pCart)
{
    static const unsigned char cTypes[] = {0x00, 0x80, 0x01}; // data, write-once, cleaning
    unsigned char cValue[iVALUE_MAX + 1];
    int iLine = pCart->iLine;
    int iId;
    int iFormat;
    bool bTyped = false;
    while (const char* cp = cpNextValue(&iLine, "attribute")) {
        const int iLen = iAttribute(cp, &iId, &iFormat, cValue);
        if (iId > iMEDIUM_TYPE && !bTyped)
            vAddAttribute(pReply, iMEDIUM_TYPE, 0, &cTypes[pCart->eMedium], 1);
        bTyped = bTyped || iId >= iMEDIUM_TYPE;
        if (iLen >= 0)
            vAddAttribute(pReply, iId, iFormat, cValue, iLen);
    }
    if (!bTyped)
        vAddAttribute(pReply, iMEDIUM_TYPE, 0, &cTypes[pCart->eMedium], 1);
}

// READ ATTRIBUTE, attribute values from the given number on; that one must exist. A cartridge need
// not be loaded for it: its memory is read as it stands in the drive.
void vReadAttribute(REQUEST* pReq)
{
    const CARTRIDGE* pCart = pSeated(pReq);
    if (pCart == nullptr)
        return;
    ATTRIBUTE_REPLY strReply = {pReq->cpIn, (int)uiGet(pReq->cpCDB + 8, 2), 4, false};
    vAddAttributes(&strReply, pCart);
    if ((pReq->cpCDB[1] & 0x1F) != 0 || !strReply.bFound) {
        vCheck(pReq, SENSE_ILLEGAL_REQUEST, CODE_INVALID_FIELD);
        return;
    }
    vPut(pReq->cpIn, 4, (unsigned)strReply.iLen - 4);
    vAnswer(pReq, strReply.iLen, uiGet(pReq->cpCDB + 10, 4));
}
