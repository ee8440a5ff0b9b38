// Decodes mode parameter lists and attribute lists.
#include "tape/replies.h"

#include "scsi/bytes.h"

// The descriptor count of the long header shifts its low byte only.
MODE_HEADER strReadModeHeader(const unsigned char* cpReply, bool bLong)
{
    MODE_HEADER strHeader = {cpReply[0], (unsigned int)cpReply[3] >> 3, 4, 0};
    if (bLong)
        strHeader = {uiGet16(cpReply), cpReply[6] * 256U + (cpReply[7] >> 3), 8, 0};
    strHeader.uiPages = strHeader.uiHeader + 8 * strHeader.uiDescriptors;
    return strHeader;
}

PAGE_WALK strBeginPages(const unsigned char* cpReply, unsigned int uiValid, unsigned int uiFirst,
                        unsigned int uiEnd)
{
    return {cpReply, uiValid, uiFirst, uiEnd, false, 0, 0, 0, 0, false};
}

bool bNextPageByte(PAGE_WALK* pWalk)
{
    // Code and length do not count in the length.
    if (pWalk->bInside && ++pWalk->j > pWalk->uiLength + 1)
        pWalk->bInside = false;
    if (pWalk->uiNext >= pWalk->uiEnd)
        return false;
    pWalk->i = pWalk->uiNext++;
    pWalk->bBegins = false;
    if (pWalk->bInside)
        return true;
    pWalk->uiCode = cByteAt(pWalk->cpReply, pWalk->uiValid, pWalk->i);
    pWalk->uiLength = cByteAt(pWalk->cpReply, pWalk->uiValid, pWalk->i + 1);
    pWalk->bBegins = pWalk->uiCode != 0 && pWalk->uiLength != 0;
    pWalk->bInside = pWalk->bBegins;
    pWalk->j = 0;
    return true;
}

ATTRIBUTE strReadAttribute(const unsigned char* cpReply, unsigned int uiValid, unsigned int i)
{
    const unsigned int uiHeaderSize = 5; // identifier, format, length
    ATTRIBUTE strAttribute = {};
    unsigned char cBytes[6];
    for (unsigned int j = 0; j < sizeof(cBytes); j++)
        cBytes[j] = cByteAt(cpReply, uiValid, i + j);
    for (unsigned int j = 0; j < sizeof(strAttribute.cHeader); j++)
        strAttribute.cHeader[j] = cBytes[2 + j];
    const unsigned int uiValue = i + uiHeaderSize;
    strAttribute.uiIdentifier = uiGet16(cBytes);
    strAttribute.bReadOnly = (cBytes[2] & 0x80) != 0;
    strAttribute.uiFormat = cBytes[2] & 3;
    strAttribute.uiNext = uiValue + uiGet16(cBytes + 3);
    if (uiValue < uiValid) {
        const unsigned int uiEnd = strAttribute.uiNext < uiValid ? strAttribute.uiNext : uiValid;
        strAttribute.cpValue = cpReply + uiValue;
        strAttribute.uiValue = uiEnd - uiValue;
    }
    return strAttribute;
}
