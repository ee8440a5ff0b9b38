// Reads the first block of the loaded tape and prints the backup product's label in it.
#include "tape/tape.h"

#include "scsi/bytes.h"
#include "scsi/executor.h"

#include <stdio.h>
#include <string.h>

static const int iBufSize = 2048;

// Positions of the label that begins with "2A".
static const int iINIT_TIME = 129; // blank before the initialisation time
static const int iTIME_GAP = 140;  // blank between its date and time
static const int iETC = 149;       // blank before further data

// Where the text of the label that begins with "TAPE" starts.
static const int iTAPE_TEXT = 94;

static void vPrintUnknown(const unsigned char* cBuf)
{
    printf("UNKNOWN\niBufSize=%d\n", iBufSize);
    vDumpBytes(cBuf, iBufSize, DUMP_HEX);
}

static void vPrintTapeLabel(const unsigned char* cBuf, int iReport)
{
    for (int i = 0; i < iBufSize; i++) {
        if (cBuf[i] == 0)
            continue;
        if (i < iTAPE_TEXT) {
            if (iReport >= REPORT_DETAIL)
                printf(i < 4 ? "[%d]%c\n" : "[%d]%x  ", i, cBuf[i]);
            continue;
        }
        if (i == iTAPE_TEXT)
            printf("\ngorvath_label=");
        if (cBuf[i] == 'M')
            printf("\ngorvath_etc=");
        putchar(cBuf[i]);
    }
}

// What a blank stands for that lies at the position of one between two fields. The last one counts
// only behind the one in the time.
static const char* cpFieldBehind(const unsigned char* cBuf, int i)
{
    switch (i) {
    case iINIT_TIME:
        return "\nzel_init_time=";
    case iTIME_GAP:
        return " ";
    case iETC:
        return cBuf[iTIME_GAP] == ' ' ? "\nzel_etc=" : "";
    default:
        return "";
    }
}

static void vPrint2ALabel(const unsigned char* cBuf, int iReport)
{
    for (int i = 0; i < 2; i++) {
        if (iReport >= REPORT_DEBUG)
            printf("[%d] %d\n", i, cBuf[i]);
    }
    printf("zel_label=");
    for (int i = 2; i < iBufSize; i++) {
        if (cBuf[i] == ' ')
            printf("%s", cpFieldBehind(cBuf, i));
        else if (cBuf[i] != 0 && iReport >= REPORT_NORMAL)
            putchar(cBuf[i]);
    }
}

int iScsiCmdCDBRead(const char* cpMode, int iReport)
{
    static const unsigned char cCDB[6] = {
        0x08,             // READ(6)
        0x02,             // one block of variable length, a short one is no error
        0x00, 0x07, 0xFF, // transfer length
        0,                // control
    };
    static const char szMode[] = "READ";
    unsigned char cBuf[iBufSize] = {};
    (void)cpMode;
    printf("TRY %s\n", szMode);
    const int iStatus = iSendCommand(cCDB, sizeof(cCDB), cBuf, iBufSize, iReport);
    if (iStatus != 0)
        return iStatus;
    if (memcmp(cBuf, "TAPE", 4) == 0)
        vPrintTapeLabel(cBuf, iReport);
    else if (memcmp(cBuf, "2A", 2) == 0)
        vPrint2ALabel(cBuf, iReport);
    else
        vPrintUnknown(cBuf);
    printf("\nDONE %s\n", szMode);
    return iStatus;
}
