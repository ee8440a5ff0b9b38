// READ ATTRIBUTE (SPC): lists the medium auxiliary memory of the loaded cartridge, or tells whether
// the medium can be written once only.
#include "tape/tape.h"

#include "scsi/bytes.h"
#include "scsi/executor.h"
#include "tape/replies.h"

#include <stdio.h>
#include <string.h>

static const unsigned int iMaxBufSize = 8191;

// Attributes begin behind the available data length.
static const unsigned int iStart = 4;

// Attributes are listed up to this index of the reply.
static const unsigned int iMAX_LIST = 512;

// The attribute that tells write-once media, and its value for them.
static const unsigned int iMEDIUM_TYPE = 0x0408;
static const unsigned char cWRITE_ONCE = 0x80;

// What can be asked for.
struct ATTRIBUTE_MODE {
    const char* cpMode;
    const char* cpTitle;
    unsigned int uiFirst; // first attribute
    int iBufSize;
    unsigned int uiAllocation;
};

static const ATTRIBUTE_MODE strMedium = {"medium", "Read Attribute (8C) for Medium", 0x0400,
                                         iMaxBufSize + 1, iMaxBufSize};
static const ATTRIBUTE_MODE strMediumType = {"medium_type", "Read Attribute (8C) for Medium Type",
                                             iMEDIUM_TYPE, 32, 32};

// Reads the first identifier from a word such as "0x0408", two hexadecimal digits a byte.
static ATTRIBUTE_MODE strParseIdentifier(const char* cpMode, char* cpTitle, size_t uiTitle)
{
    unsigned int uiHigh = 0;
    unsigned int uiLow = 0;
    if (sscanf(cpMode, "0x%02x%02x", &uiHigh, &uiLow) < 1)
        uiHigh = 0;
    snprintf(cpTitle, uiTitle, "Read Attribute (8C) with Attribute Id '%s'", cpMode);
    TRACE_ABOVE(&strLog, 0, "got Attribute Id '0x%02x%02x'", uiHigh & 0xFF, uiLow & 0xFF);
    return {cpMode, cpTitle, (uiHigh & 0xFF) << 8 | (uiLow & 0xFF), iMaxBufSize + 1, iMaxBufSize};
}

// Sends the command, with the first bytes of the reply traced before and after.
static int iReadAttributes(const ATTRIBUTE_MODE* pMode, unsigned char* cBuf, int iReport)
{
    unsigned char cCDB[16] = {
        0x8C,                // READ ATTRIBUTE
        0,    0, 0, 0, 0, 0, // service action 0: attribute values; element address
        0,                   // logical volume 0
        0,    0,             // first attribute
        0,    0, 0, 0,       // allocation length
        0,                   // reserved
        0,                   // control
    };
    vPut16(cCDB + 8, pMode->uiFirst);
    vPut16(cCDB + 12, pMode->uiAllocation);
    TRACE_ABOVE(&strLog, 0, "TRY %s 0x%x", pMode->cpTitle, cCDB[0]);
    TRACE_ABOVE(&strLog, 0, "iScsiCmd cBuf[0] %d, (cBuf[1] %d", cBuf[0], cBuf[1]);
    TRACE_ABOVE(&strLog, 0, "iScsiCmd cBuf[2] %d, (cBuf[3] %d", cBuf[2], cBuf[3]);
    const int iStatus = iSendCommand(cCDB, sizeof(cCDB), cBuf, pMode->iBufSize, iReport);
    TRACE_ABOVE(&strLog, 0, "iScsiCmd returned cBuf[0]&0xff %d, (cBuf[1]&0xff) %d", cBuf[0],
                cBuf[1]);
    TRACE_ABOVE(&strLog, 0, "iScsiCmd returned cBuf[2]&0xff %d, (cBuf[3]&0xff) %d", cBuf[2],
                cBuf[3]);
    TRACE_ABOVE(&strLog, 0, "iScsiCmd returned cBuf[0] %d, (cBuf[1] %d", cBuf[0], cBuf[1]);
    TRACE_ABOVE(&strLog, 0, "iScsiCmd returned cBuf[2] %d, (cBuf[3] %d", cBuf[2], cBuf[3]);
    return iStatus;
}

// Prints an attribute, its value as far as the reply goes.
static void vPrintAttribute(const ATTRIBUTE* pAttribute, int iReport)
{
    static const char szFormats[4][8] = {"BINARY", "ASCII", "TEXT", "ASCII"};
    const unsigned char* cpHeader = pAttribute->cHeader;
    const bool bText = pAttribute->uiFormat != 0;
    printf("Attribute Id: 0x%04x", pAttribute->uiIdentifier);
    if (iReport >= REPORT_DEBUG)
        printf(" followed by: %x %x %x %x", cpHeader[0], cpHeader[1], cpHeader[2], cpHeader[3]);
    if (pAttribute->bReadOnly)
        printf(" ReadOnly");
    printf(" (%s)\n", szFormats[pAttribute->uiFormat]);
    printf(bText ? "value: [" : "value: [0x");
    for (unsigned int j = 0; j < pAttribute->uiValue; j++)
        printf(bText ? "%c" : "%x", pAttribute->cpValue[j]);
    printf("]\n");
}

// Tells write-once media by the first attribute of the reply.
static void vPrintMediumType(const unsigned char (&cBuf)[iMaxBufSize + 1])
{
    const ATTRIBUTE strAttribute = strReadAttribute(cBuf, sizeof(cBuf), iStart);
    const bool bWriteOnce =
        strAttribute.uiIdentifier == iMEDIUM_TYPE && strAttribute.cHeader[3] == cWRITE_ONCE;
    printf("medium_type=%s medium\n", bWriteOnce ? "Write-once" : "Data");
}

// Traces the reply up to iStop, byte by byte at debug level.
static void vTraceReply(const unsigned char* cBuf, unsigned int iStop, int iReport)
{
    TRACE_ABOVE(&strLog, 0, "%u BYTES PARAMETER LIST", iStop);
    if (iReport < REPORT_DEBUG)
        return;
    for (unsigned int i = 0; i < iStop; i++)
        TRACE_ABOVE(&strLog, 1, "cBuf[%u]: 0x%0x - [%c]", i, cBuf[i], cBuf[i]);
}

int iScsiCmdReadAttributes(const char* cpMode, int iReport)
{
    unsigned char cBuf[iMaxBufSize + 1] = {};
    char szMode[64];
    ATTRIBUTE_MODE strMode = strMedium;
    TRACE_ABOVE(&strLog, 0, "ReadAttributes %s", cpMode);
    if (strcmp(cpMode, strMediumType.cpMode) == 0) {
        strMode = strMediumType;
    } else if (strcmp(cpMode, strMedium.cpMode) != 0) {
        if (strstr(cpMode, "0x") == nullptr) {
            printf("UNKNOWN MODE '%s'\n", cpMode);
            return USAGE_ERROR;
        }
        strMode = strParseIdentifier(cpMode, szMode, sizeof(szMode));
    }
    const int iStatus = iReadAttributes(&strMode, cBuf, iReport);
    const unsigned int iLen = iStatus == 0 ? uiGet32(cBuf) : 0;
    if (iStatus == 0)
        TRACE_ABOVE(&strLog, 0, "DATA LEN=%d", (int)iLen);
    if (iLen > iMaxBufSize) {
        TRACE_ABOVE(&strLog, 0, "BUFFER OVERFLOW %d > %d\n", (int)iLen, (int)iMaxBufSize);
        printf("Read Attribute not supported\n");
        return USAGE_ERROR;
    }
    const unsigned int iBufSize = (unsigned int)strMode.iBufSize;
    const unsigned int iReply = iLen < iBufSize ? iLen : iBufSize;
    const unsigned int iStop = iReply < iMAX_LIST ? iReply : iMAX_LIST;
    vTraceReply(cBuf, iStop, iReport);
    if (strcmp(cpMode, strMediumType.cpMode) == 0) {
        vPrintMediumType(cBuf);
        return iStatus;
    }
    TRACE_ABOVE(&strLog, 0, "List Attributes");
    for (unsigned int i = iStart; i < iStop;) {
        const ATTRIBUTE strAttribute = strReadAttribute(cBuf, sizeof(cBuf), i);
        vPrintAttribute(&strAttribute, iReport);
        i = strAttribute.uiNext;
    }
    return iStatus;
}
