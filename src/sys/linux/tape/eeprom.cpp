// Writes a line of text into the vendor page that holds a drive's EEPROM contents.
#include "tape/tape.h"

#include "scsi/bytes.h"
#include "scsi/executor.h"
#include "tape/mode_commands.h"

#include "cm_common.h"

#include <stdio.h>
#include <string.h>

// Where the text of the page begins in a MODE SENSE(10) reply: behind the header, one block
// descriptor, the page code and its length.
static const unsigned int iTEXT_START = 18;

// Mode parameter header, page code and page length of the list that is sent.
static const int iLIST_HEADER = 6;

// Reads the page and prints its text. Returns the executor's status.
static int iShowEeprom(const PAGE_COMMAND* pCommand, int iReport)
{
    PAGE_REPLY strReply = {};
    const int iStatus = iReadPages(pCommand, &strReply, iReport);
    if (iStatus != 0)
        return iStatus;
    for (unsigned int i = iTEXT_START; i < strReply.strHeader.uiLength; i++) {
        const unsigned char cByte = cByteAt(strReply.cBuf, sizeof(strReply.cBuf), i);
        if (cByte != 0)
            putchar(cByte);
    }
    printf("\nDONE %s\n", pCommand->szTitle);
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

// Shows and sends the list of iBufSize bytes. Returns the executor's status.
static int iSelectEeprom(const PAGE_COMMAND* pCommand, unsigned char* cBuf, int iBufSize,
                         int iReport)
{
    for (int i = 0; i < iBufSize; i++)
        printf(i < iLIST_HEADER ? "[%d] %x\n" : "[%d] %c\n", i, cBuf[i]);
    printf("TRY SET %s\n", pCommand->szTitle);
    const int iStatus = iSelectPages(cBuf, iBufSize, iReport);
    printf("DONE SET %s WITH STATUS %d\n", pCommand->szTitle, iStatus);
    return iStatus;
}

int iScsiCmdSetEeprom(const char* cpMode, const char* cpKey, const char* cpVal, int iReport)
{
    (void)cpMode;
    char szKey[64];
    char szVal[64];
    unsigned char cBuf[iLIST_HEADER + sizeof(szKey) + sizeof(szVal) + 2] = {};
    const PAGE_COMMAND* pCommand = pFindPages("eeprom_10");
    int iStatus = iShowEeprom(pCommand, iReport);
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
    return iSelectEeprom(pCommand, cBuf, iBufSize, iReport);
}
