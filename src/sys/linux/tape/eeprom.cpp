// Writes a line of text into the vendor page that holds a drive's EEPROM contents.
#include "tape/tape.h"

#include "scsi/bytes.h"
#include "scsi/executor.h"

#include "cm_common.h"

#include <stdio.h>
#include <string.h>

static const int iMaxBufSize = 8191;

static const char szTITLE[] = "MODE SENSE FOR EEPROM";

// Where the text of the page begins in a MODE SENSE(10) reply: behind the header, one block
// descriptor, the page code and its length.
static const unsigned int iTEXT_START = 18;

// Mode parameter header, page code and page length of the list that is sent.
static const int iLIST_HEADER = 6;

static const unsigned char cEEPROM_PAGE = 0x3E;

// Reads the page and prints its text. Returns the executor's status.
static int iShowEeprom(int iReport)
{
    static const unsigned char cCDB[10] = {
        0x5A,         // MODE SENSE(10)
        0,            // block descriptors wanted
        cEEPROM_PAGE, // current values, vendor page
        0,            // subpage
        0,
        0,
        0, // reserved
        0x1F,
        0xFF, // allocation length
        0,    // control
    };
    unsigned char cBuf[iMaxBufSize + 1] = {};
    printf("TRY %s\n", szTITLE);
    const int iStatus = iSendCommand(cCDB, sizeof(cCDB), cBuf, iMaxBufSize, iReport);
    if (iStatus != 0)
        return iStatus;
    const unsigned int iLen = uiGet16(cBuf);
    printf("DATA LEN=%u\nDESCRIPTOR(S)=%u\n", iLen, cBuf[6] * 256U + (cBuf[7] >> 3));
    for (unsigned int i = iTEXT_START; i < iLen && i < sizeof(cBuf); i++) {
        if (cBuf[i] != 0)
            putchar(cBuf[i]);
    }
    printf("\nDONE %s\n", szTITLE);
    return 0;
}

// Takes key and value into their fields. Returns 0, or USAGE_ERROR with a message when one is
// missing.
static int iTakeKeyAndValue(const char* cpKey, const char* cpVal, char (&szKey)[64],
                            char (&szVal)[64])
{
    if (cpKey == nullptr || cpKey[0] == '\0') {
        printf("FAIL GOT NO KEY TO SET\nEXAMPLE\nVENDORID\n");
        return USAGE_ERROR;
    }
    v_COPY(szKey, sizeof(szKey), cpKey);
    if (cpVal == nullptr || cpVal[0] == '\0') {
        printf("FAIL GOT NO VALUE TO SET\n");
        return USAGE_ERROR;
    }
    if (cpVal[1] == '\0')
        printf("GOT '%s' '%d' VALUE\n", cpVal, cpVal[0] - '0');
    v_COPY(szVal, sizeof(szVal), cpVal);
    return 0;
}

// Sends the list of iBufSize bytes. Returns the executor's status.
static int iSelectPage(unsigned char* cBuf, int iBufSize, int iReport)
{
    const unsigned char cCDB[6] = {
        0x15,                    // MODE SELECT(6)
        0x10,                    // page format, nothing saved
        0,                       // reserved
        0,                       // reserved
        (unsigned char)iBufSize, // parameter list length
        0,                       // control
    };
    for (int i = 0; i < iBufSize; i++)
        printf(i < iLIST_HEADER ? "[%d] %x\n" : "[%d] %c\n", i, cBuf[i]);
    printf("TRY SET %s\n", szTITLE);
    const int iStatus = iSendCommand(cCDB, sizeof(cCDB), cBuf, iBufSize, iReport);
    printf("DONE SET %s WITH STATUS %d\n", szTITLE, iStatus);
    return iStatus;
}

int iScsiCmdSetEeprom(const char* cpMode, const char* cpKey, const char* cpVal, int iReport)
{
    (void)cpMode;
    char szKey[64];
    char szVal[64];
    unsigned char cBuf[iLIST_HEADER + sizeof(szKey) + sizeof(szVal) + 2] = {};
    int iStatus = iShowEeprom(iReport);
    if (iStatus == 0)
        iStatus = iTakeKeyAndValue(cpKey, cpVal, szKey, szVal);
    if (iStatus != 0)
        return iStatus;
    const int iLen =
        snprintf((char*)cBuf + iLIST_HEADER, sizeof(cBuf) - iLIST_HEADER, "%s %s\n", szKey, szVal);
    const int iBufSize = iLen + iLIST_HEADER;
    cBuf[4] = cEEPROM_PAGE;
    cBuf[5] = (unsigned char)iLen;
    printf("LEN=%d\nBUF=%d\n", iLen, iBufSize);
    return iSelectPage(cBuf, iBufSize, iReport);
}
