// READ ELEMENT STATUS (SMC): walks the reply, lists the elements that were asked for, or fills the
// element address table.
#include "changer/changer.h"

#include "changer/element_reply.h"
#include "device/sysfs.h"
#include "mvk.h"
#include "scsi/bytes.h"

#include "cm_common.h"

#include <stdio.h>
#include <string.h>

static const int iMAX_RETRY = 3;

// The transfer size of the command, and the buffer that takes it. The device is asked for more:
// what it says to have is believed only up to this size.
static const int iBUF_SIZE = 32767;
static const int iREPLY_SIZE = iBUF_SIZE + 1;

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
        const REPLY_HEADER strHeader = strReadReplyHeader(cBuf);
        *ipAllBytes = strHeader.iBytes;
        TRACE_ABOVE(&strLog, 0, "iFirstElem(dec)=%u", strHeader.uiFirst);
        TRACE_ABOVE(&strLog, 0, "iNumElem(dec)=%u", strHeader.uiElements);
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

static bool bShown(const RES_MODE* pMode, const ELEMENT_PAGE* pPage, int u, bool bFull)
{
    switch (pMode->eAction) {
    case RES_SHOW_ALL:
        return true;
    case RES_SHOW_FULL:
        return bFull;
    case RES_SHOW_EMPTY:
        return !bFull;
    case RES_SHOW_RANGE:
        return pPage->iType == pMode->iRangeType && u >= pMode->iFromElem && u <= pMode->iToElem;
    default:
        return false;
    }
}

// Prints the line of element u of a kind.
static void vPrintElement(const char* szKind, int u, const ELEMENT* pElement)
{
    const char* cpLabel = pElement->cpLabel != nullptr ? pElement->cpLabel : "";
    printf("%s %3d(adr=%4d,src=%4d,tape=%x) %.*s\n", szKind, u, pElement->iAddress,
           pElement->iSource, (unsigned int)pElement->bFull, iVOLUME_TAG_SIZE, cpLabel);
}

// Deals with element u of a page.
static void vTakeElement(const RES_MODE* pMode, const ELEMENT_PAGE* pPage, const char* szKind,
                         int u, const ELEMENT* pElement)
{
    TRACE_ABOVE(&strLog, 0, "iElemAdr(dec)=%d", pElement->iAddress);
    TRACE_ABOVE(&strLog, 0, "iAccessFlag(dec)=%d",
                pPage->iType != ELEMENT_TRANSPORT && pElement->bAccess);
    TRACE_ABOVE(&strLog, 0, "iErrorFlag(dec)=%d", pElement->bException);
    vSetElementCount(pPage->iType, pPage->iElements);
    if (u == 0 && pMode->eAction == RES_SHOW_PAGE && szKind[0] != '\0')
        vPrintElementCount(pPage->iType, pPage->iElements, pElement->iAddress);
    if (pMode->eAction == RES_PAGE_CODE || pMode->eAction == RES_SHOW_PAGE)
        vSetElementAddress(pPage->iType, u, pElement->iAddress);
    if (bShown(pMode, pPage, u, pElement->bFull))
        vPrintElement(szKind, u, pElement);
    if (pMode->eAction == RES_SHOW_SCSI && pPage->iType == ELEMENT_DRIVE)
        vPrintDriveID(u, pElement->uiTarget);
}

// Walks the pages of a report of iAllBytes bytes. A descriptor that does not lie wholly in the
// buffer ends the walk.
static void vWalkReport(const RES_MODE* pMode, const unsigned char* cBuf, int iAllBytes)
{
    for (int iPos = 8; iPos < iAllBytes;) {
        const ELEMENT_PAGE strPage = strReadPage(cBuf, iPos);
        TRACE_ABOVE(&strLog, 0, "iType(dec)=%d", strPage.iType);
        TRACE_ABOVE(&strLog, 0, "iElements(dec)=%d", strPage.iElements);
        TRACE_ABOVE(&strLog, 0, "iBarCodeFlag(dec)=%d", strPage.bVolumeTags);
        char szKind[16] = ""; // ten columns, none for an unknown type
        if (cpElementName(strPage.iType)[0] != '\0')
            snprintf(szKind, sizeof(szKind), "%-10s", cpElementName(strPage.iType));
        for (int u = 0; u < strPage.iElements; u++) {
            ELEMENT strElement;
            if (!bReadElement(cBuf, iREPLY_SIZE, &strPage, u, &strElement))
                return;
            vTakeElement(pMode, &strPage, szKind, u, &strElement);
        }
        iPos = strPage.iNext;
    }
}

int iScsiRES(const char* cpMode, int iReport)
{
    unsigned char cBuf[iREPLY_SIZE + iREPLY_MARGIN] = {};
    int iAllBytes = 0;
    const RES_MODE strMode = strParseMode(cpMode);
    const int iStatus = iReadReport(cBuf, &iAllBytes, iReport);
    vWalkReport(&strMode, cBuf, iAllBytes);
    return iStatus;
}
