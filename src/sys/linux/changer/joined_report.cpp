// Joins the replies of READ ELEMENT STATUS (SMC).
#include "changer/joined_report.h"

#include "scsi/bytes.h"

#include <string.h>

JOINED_TYPE* pJoinedType(JOINED_REPORT* pReport, int iType)
{
    return &pReport->strTypes[iType - ELEMENT_TRANSPORT];
}

void vJoinType(JOINED_REPORT* pReport, int iType)
{
    JOINED_ORDER* pOrder = &pReport->strOrder;
    for (int i = 0; i < pOrder->iTypes; i++) {
        if (pOrder->iType[i] == iType)
            return;
    }
    pOrder->iType[pOrder->iTypes++] = iType;
}

static bool bAllZeros(const unsigned char* cpBytes, int iCount)
{
    for (int i = 0; i < iCount; i++) {
        if (cpBytes[i] != 0)
            return false;
    }
    return true;
}

static unsigned char* cpDescriptorOf(JOINED_TYPE* pType, int u)
{
    const int iPos = iJOINED_HEADER + u * iJOINED_SIZE;
    return pType->cReport + iPos;
}

// Adds a descriptor, with its volume tag if there is one. Returns whether the element is new. The
// last one may come again, when it was cut the first time.
static bool bJoinElement(JOINED_TYPE* pType, const unsigned char* cpDescriptor,
                         const ELEMENT* pElement)
{
    unsigned char* cpSeen = pType->cSeen + pElement->iAddress / 8;
    const unsigned char cBit = (unsigned char)(1 << pElement->iAddress % 8);
    const bool bNew = (*cpSeen & cBit) == 0;
    pType->iNext = pElement->iAddress + 1;
    *cpSeen |= cBit;
    pType->iElements += bNew;
    unsigned char* cpLast = cpDescriptorOf(pType, pType->iElements - 1);
    if (!bNew && (int)uiGet16(cpLast) != pElement->iAddress)
        return false;
    memcpy(cpLast, cpDescriptor, iELEMENT_FIELDS);
    if (pElement->cpLabel != nullptr)
        memcpy(cpLast + iELEMENT_FIELDS, pElement->cpLabel, iVOLUME_TAG_SIZE);
    return bNew;
}

// A reply while it is taken in.
struct JOINED_REPLY {
    const unsigned char* cpReply;
    int iSize;
    JOINED_TYPE* pLast; // type of the last element, null without one
    int iZeros;         // where zeros begin, 0 for nowhere
};

// Where zeros begin, the element before them may be cut, too: it is asked for again.
static void vEndInZeros(JOINED_REPLY* pReply, int iPos)
{
    pReply->iZeros = iPos;
    if (pReply->pLast != nullptr)
        pReply->pLast->iNext--;
}

// Adds the elements of a page. Returns false when the page is cut.
static bool bJoinPage(JOINED_REPORT* pReport, JOINED_REPLY* pReply, const ELEMENT_PAGE* pPage,
                      int* ipNew)
{
    JOINED_TYPE* pType = pJoinedType(pReport, pPage->iType);
    for (int u = 0; u < pPage->iElements; u++) {
        const int iPos = pPage->iFirst + u * pPage->iDescLen;
        const unsigned char* cpDescriptor = pReply->cpReply + iPos;
        ELEMENT strElement;
        if (!bReadElement(pReply->cpReply, pReply->iSize, pPage, u, &strElement))
            return false;
        if (pType->iElements > 0 && bAllZeros(cpDescriptor, pPage->iDescLen)) {
            vEndInZeros(pReply, iPos);
            return false;
        }
        vJoinType(pReport, pPage->iType);
        *ipNew += bJoinElement(pType, cpDescriptor, &strElement);
        pReply->pLast = pType;
    }
    return true;
}

// Adds the pages of a reply up to its end, or to where it is cut.
static void vJoinPages(JOINED_REPORT* pReport, JOINED_REPLY* pReply, int iOnly, JOINED_STEP* pStep)
{
    const int iBytes = strReadReplyHeader(pReply->cpReply).iBytes;
    int iPos = iREPLY_HEADER;
    while (iPos < iBytes && iPos < pReply->iSize) {
        if (bAllZeros(pReply->cpReply + iPos, iREPLY_HEADER)) {
            vEndInZeros(pReply, iPos);
            return;
        }
        const ELEMENT_PAGE strPage = strReadPage(pReply->cpReply, iPos, iBytes > iPLAIN_REPORT);
        const bool bKnown = cpElementName(strPage.iType)[0] != '\0';
        if (bKnown && (iOnly == 0 || iOnly == strPage.iType) &&
            !bJoinPage(pReport, pReply, &strPage, &pStep->iNew))
            return;
        pStep->iMore = iBytes + iREPLY_HEADER + strPage.iDescLen;
        iPos = strPage.iNext;
    }
    pStep->bWhole = iPos > iREPLY_HEADER && iPos >= iBytes && iPos <= pReply->iSize;
}

JOINED_STEP strJoinReply(JOINED_REPORT* pReport, const unsigned char* cpReply, int iSize, int iOnly)
{
    JOINED_REPLY strReply = {cpReply, iSize, nullptr, 0};
    JOINED_STEP strStep = {0, false, 0, iSize};
    vJoinPages(pReport, &strReply, iOnly, &strStep);
    if (strReply.iZeros > 0)
        strStep.iCame = strReply.iZeros;
    return strStep;
}

int iCountJoined(const JOINED_REPORT* pReport)
{
    int iCount = 0;
    for (const JOINED_TYPE& strType : pReport->strTypes)
        iCount += strType.iElements;
    return iCount;
}

void vForgetJoined(JOINED_REPORT* pReport)
{
    pReport->strOrder.iTypes = 0;
    for (JOINED_TYPE& strType : pReport->strTypes) {
        const unsigned char* cpEnd = cpDescriptorOf(&strType, strType.iElements);
        memset(strType.cReport, 0, (size_t)(cpEnd - strType.cReport));
        memset(strType.cSeen, 0, sizeof(strType.cSeen));
        strType.iElements = 0;
        strType.iNext = 0;
    }
}

const unsigned char* cpJoinedReport(JOINED_TYPE* pType, int iType, int* ipSize)
{
    const int iBytes = pType->iElements * iJOINED_SIZE;
    unsigned char* cpPage = pType->cReport + iREPLY_HEADER;
    cpPage[0] = (unsigned char)iType;
    cpPage[1] = 0x80; // with volume tags, be they empty
    vPut16(cpPage + 2, iJOINED_SIZE);
    vPut24(cpPage + 5, (unsigned int)iBytes);
    *ipSize = iJOINED_HEADER + iBytes;
    return pType->cReport;
}
