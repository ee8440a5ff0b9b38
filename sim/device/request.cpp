// The ways in which a command ends, and its bytes.
#include "request.h"

#include <string.h>

DEVICE* pDeviceOf(const REQUEST* pReq)
{
    return &gstrLib.strDevices[pReq->iDevice];
}

void vAnswer(REQUEST* pReq, int iLen, unsigned uiAllocation)
{
    if ((unsigned)iLen > uiAllocation)
        iLen = (int)uiAllocation;
    pReq->iInLen = iLen > pReq->iInMax ? pReq->iInMax : iLen;
}

void vCheck(REQUEST* pReq, SENSE_KEY eKey, int iAscAscq)
{
    pReq->iStatus = STATUS_CHECK_CONDITION;
    memset(pReq->cSense, 0, sizeof(pReq->cSense));
    pReq->cSense[0] = 0x70;
    pReq->cSense[2] = (unsigned char)eKey;
    pReq->cSense[7] = 10;
    vPut(pReq->cSense + 12, 2, (unsigned)iAscAscq);
}

void vPut(unsigned char* cp, int iBytes, unsigned uiValue)
{
    for (int i = iBytes; i-- > 0; uiValue >>= 8)
        cp[i] = (unsigned char)uiValue;
}

unsigned uiGet(const unsigned char* cp, int iBytes)
{
    unsigned uiValue = 0;
    while (iBytes-- > 0)
        uiValue = uiValue << 8 | *cp++;
    return uiValue;
}

void vPutText(unsigned char* cp, int iLen, const char* cpText, char cFill)
{
    memset(cp, cFill, (size_t)iLen);
    memcpy(cp, cpText, strnlen(cpText, (size_t)iLen));
}
