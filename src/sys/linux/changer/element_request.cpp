// Sends READ ELEMENT STATUS (SMC) until all elements are there.
#include "changer/element_request.h"

#include "changer/changer.h"
#include "scsi/bytes.h"
#include "scsi/executor.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const int iMAX_RETRY = 3;

// The allocation length of the first two passes.
static const int iWIDE_ALLOCATION = 0x10FFFF;

// The largest number that fits an allocation length.
static const int iMAX_ALLOCATION = 0xFFFFFF;

// Requests of a report in parts, and the bytes that they ask for.
static const int iMAX_PARTS = 512;
static const int iMAX_ASKED = 1 << 28;

// Puts the command together: element type (0 for all), starting address, allocation length.
static void vFillCDB(unsigned char (&cCDB)[12], int iType, int iStart, int iAllocation)
{
    const unsigned char cFields[12] = {
        0xB8,                              // READ ELEMENT STATUS
        (unsigned char)(giVolTag | iType), // volume tags, element type
        0,
        0, // starting element address
        0xFF,
        0xFF, // number of elements
        0,    // current data is not asked for
        0,
        0,
        0, // allocation length
        0, // reserved
        0, // control
    };
    memcpy(cCDB, cFields, sizeof(cCDB));
    vPut16(cCDB + 2, (unsigned int)iStart);
    vPut24(cCDB + 7, (unsigned int)iAllocation);
}

static int iTraceHeader(const unsigned char* cpReply)
{
    const REPLY_HEADER strHeader = strReadReplyHeader(cpReply);
    TRACE_ABOVE(&strLog, 0, "iFirstElem(dec)=%u", strHeader.uiFirst);
    TRACE_ABOVE(&strLog, 0, "iNumElem(dec)=%u", strHeader.uiElements);
    TRACE_ABOVE(&strLog, 0, "iAllBytes(dec)=%d", strHeader.iBytes);
    return strHeader.iBytes;
}

int iReadPasses(ELEMENT_PASSES* pPasses, int iReport)
{
    int iStatus = 0;
    int iTooLarge = 0;
    pPasses->iAllBytes = 0;
    for (int iRetry = 0; iRetry < iMAX_RETRY; iRetry++) {
        unsigned char cCDB[12];
        // Some devices refuse an allocation length above the transfer: the last try names its size.
        vFillCDB(cCDB, 0, 0, iRetry < iMAX_RETRY - 1 ? iWIDE_ALLOCATION : iPASS_SIZE);
        memset(pPasses->cBuf, 0, sizeof(pPasses->cBuf));
        iStatus = iSendCommand(cCDB, sizeof(cCDB), pPasses->cBuf, iPASS_SIZE, iReport);
        if (iStatus != 0)
            printf("warning RES iStatus(dec)=%d CTRL Byte=(dec)%d\n", iStatus, cCDB[11]);
        const int iAllBytes = iTraceHeader(pPasses->cBuf);
        if (iAllBytes > 7 && iAllBytes <= iPASS_SIZE) {
            pPasses->iAllBytes = iAllBytes;
            pPasses->iSaid = iTooLarge == iMAX_RETRY - 1 ? pPasses->iSaid : 0;
            return iStatus;
        }
        pPasses->iSaid = iStatus == 0 && iAllBytes > iPASS_SIZE ? iAllBytes : 0;
        iTooLarge += pPasses->iSaid > 0;
        printf("warning buffer not filled. RES iStatus(dec)=%d CTRL Byte=(dec)%d retry=%d\n",
               iStatus, cCDB[11], iRetry);
    }
    return iStatus;
}

// A large report while it is read.
struct LARGE_READ {
    JOINED_REPORT* pJoined;
    unsigned char* cpBuf; // room for the first transfer and iREPLY_MARGIN
    int iSize;            // bytes that a transfer asks for
    bool bFits;           // a transfer of this size has brought elements
    int iParts;           // requests so far
    int iAsked;           // bytes that these have asked for
    int iReport;
};

static int iAtLeastPass(int iSize)
{
    return iSize > iPASS_SIZE ? iSize : iPASS_SIZE;
}

// Asks for the elements of a type (0 for all) from an address on, and adds what comes into the
// empty buffer. A request that fails brings nothing; where one is cut the next asks for no more
// than came.
static JOINED_STEP strAsk(LARGE_READ* pRead, int iType, int iStart)
{
    unsigned char cCDB[12];
    vFillCDB(cCDB, iType, iStart, pRead->iSize);
    iTryCommand(cCDB, sizeof(cCDB), pRead->cpBuf, pRead->iSize, pRead->iReport);
    iTraceHeader(pRead->cpBuf);
    const JOINED_STEP strStep = strJoinReply(pRead->pJoined, pRead->cpBuf, pRead->iSize, iType);
    pRead->bFits = pRead->bFits || strStep.iNew > 0;
    if (strStep.iNew > 0)
        pRead->iSize = iAtLeastPass(strStep.iCame);
    return strStep;
}

// No driver tells how much it takes: while nothing has come the next transfer is half as large,
// down to the size of a pass, which has gone through. Returns whether there was more to take away.
static bool bShrink(LARGE_READ* pRead)
{
    if (pRead->bFits || pRead->iSize <= iPASS_SIZE)
        return false;
    pRead->iSize = iAtLeastPass(pRead->iSize / 2);
    return true;
}

// Asks for the next elements of a type. Returns whether there may be more of them. Neither the
// first element nor the number that a part's header tells is believed: some devices count all the
// same.
static bool bReadPart(LARGE_READ* pRead, int iType)
{
    const JOINED_TYPE* pType = pJoinedType(pRead->pJoined, iType);
    const int iStart = pType->iNext;
    if (iStart >= iJOINED_ELEMENTS || pRead->iParts >= iMAX_PARTS || pRead->iAsked >= iMAX_ASKED)
        return false;
    pRead->iParts++;
    pRead->iAsked += pRead->iSize;
    const int iAsked = pRead->iSize;
    memset(pRead->cpBuf, 0, (size_t)iAsked + iREPLY_MARGIN);
    const JOINED_STEP strStep = strAsk(pRead, iType, iStart);
    if (bShrink(pRead))
        return true;
    // A device may fit its count to what was asked for: only room for one more tells the end.
    const bool bEnd = strStep.bWhole && strStep.iMore <= iAsked;
    return strStep.iNew > 0 && pType->iNext > iStart && !bEnd;
}

// Reads in parts what is missing, a type after the other: first those that have been seen.
static void vReadParts(LARGE_READ* pRead)
{
    JOINED_ORDER* pOrder = &pRead->pJoined->strOrder;
    for (int iType = ELEMENT_TRANSPORT; iType <= ELEMENT_DRIVE; iType++)
        vJoinType(pRead->pJoined, iType);
    for (int i = 0; i < pOrder->iTypes; i++) {
        while (bReadPart(pRead, pOrder->iType[i])) {
        }
    }
}

// Reads the whole report in one transfer, or the rest of it in parts. Returns whether that is more
// than the passes have brought.
static bool bReadLarge(LARGE_READ* pRead, const ELEMENT_PASSES* pPasses)
{
    // The last pass tells the order of the types, and whether a count was fitted.
    const bool bFitted = pPasses->iAllBytes > 0;
    const JOINED_STEP strPass = strJoinReply(pRead->pJoined, pPasses->cBuf, iPASS_SIZE, 0);
    const JOINED_ORDER strOrder = pRead->pJoined->strOrder;
    const bool bPassEnd = bFitted && strPass.bWhole && strPass.iMore <= iPASS_SIZE;
    vForgetJoined(pRead->pJoined);
    const JOINED_STEP strStep = strAsk(pRead, 0, 0);
    const bool bEnd = strStep.bWhole && (!bFitted || strStep.iMore <= iWIDE_ALLOCATION);
    if (strStep.iNew == 0)
        pRead->pJoined->strOrder = strOrder;
    if (!bEnd && !bPassEnd) {
        bShrink(pRead);
        vReadParts(pRead);
    }
    return iCountJoined(pRead->pJoined) > (bFitted ? strPass.iNew : 0);
}

JOINED_REPORT* pReadLargeReport(const ELEMENT_PASSES* pPasses, int iReport)
{
    if (pPasses->iSaid == 0)
        return nullptr;
    // The count is that of the bytes behind the header.
    const int iSize = pPasses->iSaid + iREPLY_HEADER;
    LARGE_READ strRead = {};
    strRead.iSize = iSize < iMAX_ALLOCATION ? iSize : iMAX_ALLOCATION;
    strRead.iReport = iReport;
    strRead.cpBuf = (unsigned char*)calloc((size_t)strRead.iSize + iREPLY_MARGIN, 1);
    strRead.pJoined = (JOINED_REPORT*)calloc(1, sizeof(JOINED_REPORT));
    const bool bMemory = strRead.cpBuf != nullptr && strRead.pJoined != nullptr;
    const bool bMore = bMemory && bReadLarge(&strRead, pPasses);
    free(strRead.cpBuf);
    if (bMore)
        return strRead.pJoined;
    free(strRead.pJoined);
    return nullptr;
}
