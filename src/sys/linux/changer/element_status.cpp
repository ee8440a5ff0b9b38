// What is done with the elements of a changer: walks the report of READ ELEMENT STATUS (SMC), lists
// the elements that were asked for, or fills the element address table.
#include "changer/changer.h"

#include "changer/element_reply.h"
#include "changer/element_request.h"
#include "scsi/executor.h"

#include "cm_common.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

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
    pMode->iRangeType = iElementTypeOf(szMode[0]);
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

// Prints the SCSI ID that drive u has by its target number. All but the last two digits of the
// changer's ID, its host and channel, stand before the target. Only IDs tell them, not paths.
static void vPrintDriveID(int u, unsigned int uiTarget)
{
    const int iLength = (int)strlen(gszID);
    const int iBus = iLength == 3 || iLength == 4 ? iLength - 2 : gstrDevice.iBus;
    if (iBus > 0)
        printf("ID=%.*s%x0 Tape Drive %d in Loader %s\n", iBus, gszID, uiTarget, u, gszID);
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

// Walks the pages of a report of iAllBytes bytes in a reply of iSize. A descriptor that does not
// lie wholly in that ends the walk. bWide: see strReadPage.
static void vWalkReport(const RES_MODE* pMode, const unsigned char* cpReply, int iSize,
                        int iAllBytes, bool bWide)
{
    for (int iPos = iREPLY_HEADER; iPos < iAllBytes;) {
        const ELEMENT_PAGE strPage = strReadPage(cpReply, iPos, bWide);
        TRACE_ABOVE(&strLog, 0, "iType(dec)=%d", strPage.iType);
        TRACE_ABOVE(&strLog, 0, "iElements(dec)=%d", strPage.iElements);
        TRACE_ABOVE(&strLog, 0, "iBarCodeFlag(dec)=%d", strPage.bVolumeTags);
        char szKind[16] = ""; // ten columns, none for an unknown type
        if (cpElementName(strPage.iType)[0] != '\0')
            snprintf(szKind, sizeof(szKind), "%-10s", cpElementName(strPage.iType));
        for (int u = 0; u < strPage.iElements; u++) {
            ELEMENT strElement;
            if (!bReadElement(cpReply, iSize, &strPage, u, &strElement))
                return;
            vTakeElement(pMode, &strPage, szKind, u, &strElement);
        }
        iPos = strPage.iNext;
    }
}

// Walks what was gathered, a type after the other.
static void vWalkJoined(const RES_MODE* pMode, JOINED_REPORT* pJoined)
{
    for (int i = 0; i < pJoined->strOrder.iTypes; i++) {
        const int iType = pJoined->strOrder.iType[i];
        int iSize = 0;
        const unsigned char* cpReport = cpJoinedReport(pJoinedType(pJoined, iType), iType, &iSize);
        vWalkReport(pMode, cpReport, iSize, iSize, true);
    }
}

int iScsiRES(const char* cpMode, int iReport)
{
    ELEMENT_PASSES strPasses;
    const RES_MODE strMode = strParseMode(cpMode);
    const int iStatus = iReadPasses(&strPasses, iReport);
    JOINED_REPORT* pJoined = pReadLargeReport(&strPasses, iReport);
    if (pJoined == nullptr) {
        vWalkReport(&strMode, strPasses.cBuf, iPASS_REPLY, strPasses.iAllBytes, false);
        return iStatus;
    }
    vWalkJoined(&strMode, pJoined);
    free(pJoined);
    return MVK_SUCCESS;
}
