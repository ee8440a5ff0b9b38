// READ ELEMENT STATUS (SMC): walks the reply, lists the elements that were asked for, or fills the
// element address table.
#include "changer.h"

#include "mvk.h"
#include "scsi_bytes.h"
#include "scsi_sysfs.h"

#include "cm_common.h"

#include <stdio.h>
#include <string.h>

static const int iMAX_RETRY = 3;

// The transfer size of the command.
static const int iBUF_SIZE = 32767;

// What an element needs at least: address, flags, target and source address.
static const int iDESCRIPTOR_FIELDS = 12;

static const int iVOLUME_TAG_SIZE = 36;

// A page header may begin on the last byte of the reply; zeros stand behind it.
static const int iCBUF_SIZE = iBUF_SIZE + 1 + 64;

// What a run does with each element.
enum RES_ACTION {
    RES_NOTHING,
    RES_SHOW_ALL,
    RES_SHOW_FULL,
    RES_SHOW_EMPTY,
    RES_SHOW_RANGE,
    RES_SHOW_SCSI,
    RES_PAGE_CODE,
    RES_SHOW_PAGE,
};

struct RES_MODE {
    RES_ACTION eAction;
    int iRangeType; // element type of a range
    int iFromElem;
    int iToElem;
};

// One element status page of the reply.
struct RES_PAGE {
    int iType;
    int iBarCodeFlag;
    int iDescLen;
    int iElements;
    char szElement[128]; // the type in a word, ten columns; empty for an unknown type
    char szLabel[64];
};

// Reads a mode with a "-", such as "s:1-5": two numbers and the kind of element they count.
// Returns 0 when the first letter names no kind.
static int iParseRange(const char* szMode, RES_MODE* pMode)
{
    if (strlen(szMode) > 2 && sscanf(szMode + 2, "%d", &pMode->iFromElem) != 1)
        pMode->iFromElem = 0;
    if (sscanf(strchr(szMode, '-') + 1, "%d", &pMode->iToElem) != 1 || pMode->iToElem < 1)
        pMode->iToElem = 1;
    TRACE_ABOVE(&strLog, 0, "iFromElem(dec)=%d", pMode->iFromElem);
    TRACE_ABOVE(&strLog, 0, "iToElem(dec)=%d", pMode->iToElem);
    pMode->iRangeType = szMode[0] == 's'   ? ELEMENT_SLOT
                        : szMode[0] == 'p' ? ELEMENT_PORT
                        : szMode[0] == 'd' ? ELEMENT_DRIVE
                                           : 0;
    return pMode->iRangeType;
}

static RES_MODE strParseMode(const char* cpMode)
{
    static const struct {
        char szName[16];
        RES_ACTION eAction;
        int iRangeType;
    } strNames[] = {
        {"show all",        RES_SHOW_ALL,   0            },
        {"show full",       RES_SHOW_FULL,  0            },
        {"show empty",      RES_SHOW_EMPTY, 0            },
        {"show slotrange",  RES_SHOW_RANGE, ELEMENT_SLOT },
        {"show portrange",  RES_SHOW_RANGE, ELEMENT_PORT },
        {"show driverange", RES_SHOW_RANGE, ELEMENT_DRIVE},
        {"show scsi",       RES_SHOW_SCSI,  0            },
        {"page code",       RES_PAGE_CODE,  0            },
        {"show page",       RES_SHOW_PAGE,  0            },
    };
    RES_MODE strMode = {RES_NOTHING, 0, 0, 0};
    char szMode[64];
    v_COPY(szMode, sizeof(szMode), cpMode);
    if (strchr(szMode, '-') != nullptr && iParseRange(szMode, &strMode) != 0) {
        strMode.eAction = RES_SHOW_RANGE;
        return strMode;
    }
    for (const auto& strName : strNames) {
        if (strcmp(szMode, strName.szName) == 0) {
            strMode.eAction = strName.eAction;
            strMode.iRangeType = strName.iRangeType;
        }
    }
    return strMode;
}

// Sends the command until the device has filled the buffer, three times at most. Returns the last
// status; *ipAllBytes is the number of report bytes, 0 when there are none.
static int iReadReport(unsigned char* cBuf, int* ipAllBytes, int iReport)
{
    unsigned char cCDB[12] = {
        0xB8,                    // READ ELEMENT STATUS
        (unsigned char)giVolTag, // volume tags, all element types
        0,
        0, // starting element address
        0xFF,
        0xFF, // number of elements
        0,    // current data is not asked for
        0x10,
        0xFF,
        0xFF, // allocation length
        0,    // reserved
        0,    // control
    };
    int iStatus = 0;
    for (int iRetry = 0; iRetry < iMAX_RETRY; iRetry++) {
        // Some devices refuse an allocation length above the transfer: the last try names its size.
        if (iRetry == iMAX_RETRY - 1)
            vPut24(cCDB + 7, iBUF_SIZE);
        iStatus = iSendCommand(cCDB, sizeof(cCDB), cBuf, iBUF_SIZE, iReport);
        if (iStatus != 0)
            printf("warning RES iStatus(dec)=%d CTRL Byte=(dec)%d\n", iStatus, cCDB[11]);
        *ipAllBytes = (int)uiGet24(cBuf + 5);
        TRACE_ABOVE(&strLog, 0, "iFirstElem(dec)=%u", uiGet16(cBuf));
        TRACE_ABOVE(&strLog, 0, "iNumElem(dec)=%u", uiGet16(cBuf + 2));
        TRACE_ABOVE(&strLog, 0, "iAllBytes(dec)=%d", *ipAllBytes);
        if (*ipAllBytes > 7 && *ipAllBytes <= iBUF_SIZE)
            return iStatus;
        memset(cBuf, 0, iBUF_SIZE);
        *ipAllBytes = 0;
        printf("warning buffer not filled. RES iStatus(dec)=%d CTRL Byte=(dec)%d retry=%d\n",
               iStatus, cCDB[11], iRetry);
    }
    return iStatus;
}

// Prints the SCSI ID that drive u has by its target number. All but the last two digits of the
// changer's ID, its host and channel, stand before the target. Only IDs tell them, not paths.
static void vPrintDriveID(int u, unsigned int uiTarget)
{
    const size_t uiLength = strlen(gszID);
    unsigned long long ullNumber = 0;
    const bool bLongID = uiLength >= 5 && *cpReadDigits(gszID, &ullNumber) == '\0';
    if (uiLength == 4 || uiLength == 3 || bLongID)
        printf("ID=%.*s%x0 Tape Drive %d in Loader %s\n", (int)uiLength - 2, gszID, uiTarget, u,
               gszID);
}

static bool bShown(const RES_MODE* pMode, const RES_PAGE* pPage, int u, int iFullFlag)
{
    switch (pMode->eAction) {
    case RES_SHOW_ALL:
        return true;
    case RES_SHOW_FULL:
        return iFullFlag != 0;
    case RES_SHOW_EMPTY:
        return iFullFlag == 0;
    case RES_SHOW_RANGE:
        return pPage->iType == pMode->iRangeType && u >= pMode->iFromElem && u <= pMode->iToElem;
    default:
        return false;
    }
}

// Deals with element u of a page, whose descriptor is cpElement.
static void vWalkElement(const RES_MODE* pMode, RES_PAGE* pPage, int u,
                         const unsigned char* cpElement)
{
    const int iElemAdr = (int)uiGet16(cpElement);
    const int iOldElemAdr = (int)uiGet16(cpElement + 10);
    const int iFullFlag = cpElement[2] & 1;
    const bool bStore = pMode->eAction == RES_PAGE_CODE || pMode->eAction == RES_SHOW_PAGE;
    TRACE_ABOVE(&strLog, 0, "iElemAdr(dec)=%d", iElemAdr);
    TRACE_ABOVE(&strLog, 0, "iAccessFlag(dec)=%d",
                pPage->iType == ELEMENT_TRANSPORT ? 0 : cpElement[2] >> 3 & 1);
    TRACE_ABOVE(&strLog, 0, "iErrorFlag(dec)=%d", cpElement[2] >> 2 & 1);
    vSetElementCount(pPage->iType, pPage->iElements);
    if (u == 0 && pMode->eAction == RES_SHOW_PAGE && pPage->szElement[0] != '\0')
        vPrintElementCount(pPage->iType, pPage->iElements, iElemAdr);
    if (pPage->iBarCodeFlag != 0 && pPage->iDescLen > iDESCRIPTOR_FIELDS) {
        memcpy(pPage->szLabel, cpElement + iDESCRIPTOR_FIELDS, iVOLUME_TAG_SIZE);
        pPage->szLabel[iVOLUME_TAG_SIZE] = '\0';
    }
    if (bStore)
        vSetElementAddress(pPage->iType, u, iElemAdr);
    if (bShown(pMode, pPage, u, iFullFlag))
        printf("%s %3d(adr=%4d,src=%4d,tape=%x) %s\n", pPage->szElement, u, iElemAdr, iOldElemAdr,
               (unsigned int)iFullFlag, pPage->szLabel);
    if (pMode->eAction == RES_SHOW_SCSI && pPage->iType == ELEMENT_DRIVE)
        vPrintDriveID(u, cpElement[7]);
}

// Walks the pages of a report of iAllBytes bytes. A descriptor that does not lie wholly in the
// buffer ends the walk; a page of descriptors without a length is empty.
static void vWalkReport(const RES_MODE* pMode, const unsigned char* cBuf, int iAllBytes)
{
    for (int iPos = 8; iPos < iAllBytes;) {
        RES_PAGE strPage = {};
        const int iPageBytes = (int)uiGet16(cBuf + iPos + 6);
        strPage.iType = cBuf[iPos];
        strPage.iBarCodeFlag = cBuf[iPos + 1] >> 7;
        strPage.iDescLen = (int)uiGet16(cBuf + iPos + 2);
        strPage.iElements = strPage.iDescLen > 0 ? iPageBytes / strPage.iDescLen : 0;
        if (cpElementName(strPage.iType)[0] != '\0')
            snprintf(strPage.szElement, sizeof(strPage.szElement), "%-10s",
                     cpElementName(strPage.iType));
        TRACE_ABOVE(&strLog, 0, "iType(dec)=%d", strPage.iType);
        TRACE_ABOVE(&strLog, 0, "iElements(dec)=%d", strPage.iElements);
        TRACE_ABOVE(&strLog, 0, "iBarCodeFlag(dec)=%d", strPage.iBarCodeFlag);
        iPos += 8;
        for (int u = 0; u < strPage.iElements; u++) {
            if (iPos + strPage.iDescLen > iBUF_SIZE + 1)
                return;
            vWalkElement(pMode, &strPage, u, cBuf + iPos);
            iPos += strPage.iDescLen;
        }
    }
}

int iScsiRES(const char* cpMode, int iReport)
{
    unsigned char cBuf[iCBUF_SIZE] = {};
    int iAllBytes = 0;
    const RES_MODE strMode = strParseMode(cpMode);
    const int iStatus = iReadReport(cBuf, &iAllBytes, iReport);
    vWalkReport(&strMode, cBuf, iAllBytes);
    return iStatus;
}
