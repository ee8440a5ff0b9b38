// Decodes READ ELEMENT STATUS data.
#include "changer/element_reply.h"

#include "scsi/bytes.h"

REPLY_HEADER strReadReplyHeader(const unsigned char* cpReply)
{
    return {uiGet16(cpReply), uiGet16(cpReply + 2), (int)uiGet24(cpReply + 5)};
}

ELEMENT_PAGE strReadPage(const unsigned char* cpReply, int iPos, bool bWide)
{
    const unsigned char* cpPage = cpReply + iPos;
    const int iBytes = (int)(bWide ? uiGet24(cpPage + 5) : uiGet16(cpPage + 6));
    ELEMENT_PAGE strPage = {};
    strPage.iType = cpPage[0];
    strPage.bVolumeTags = (cpPage[1] & 0x80) != 0;
    strPage.iDescLen = (int)uiGet16(cpPage + 2);
    strPage.iElements = strPage.iDescLen > 0 ? iBytes / strPage.iDescLen : 0;
    strPage.iFirst = iPos + iREPLY_HEADER;
    strPage.iNext = strPage.iFirst + strPage.iElements * strPage.iDescLen;
    return strPage;
}

bool bReadElement(const unsigned char* cpReply, int iSize, const ELEMENT_PAGE* pPage, int u,
                  ELEMENT* pElement)
{
    const int iPos = pPage->iFirst + u * pPage->iDescLen;
    if (iPos + pPage->iDescLen > iSize)
        return false;
    const unsigned char* cpElement = cpReply + iPos;
    pElement->iAddress = (int)uiGet16(cpElement);
    pElement->bFull = (cpElement[2] & 1) != 0;
    pElement->bException = (cpElement[2] >> 2 & 1) != 0;
    pElement->bAccess = (cpElement[2] >> 3 & 1) != 0;
    pElement->uiTarget = cpElement[7];
    pElement->iSource = (int)uiGet16(cpElement + 10);
    pElement->cpLabel = pPage->bVolumeTags && pPage->iDescLen > iELEMENT_FIELDS
                            ? (const char*)cpElement + iELEMENT_FIELDS
                            : nullptr;
    return true;
}
