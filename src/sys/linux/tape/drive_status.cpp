// The status operation: the summary of a tape drive, and the branch to the changer's.
#include "tape/tape.h"

#include "changer/changer.h"
#include "scsi/bytes.h"
#include "scsi/executor.h"
#include "scsi/operations.h"

#include <stdio.h>
#include <string.h>

static const int iBUF_SIZE = 100;

// Drives that maintain the vendor's status byte set this bit in it.
static const unsigned char cSTATUS_VALID = 0x80;

// Medium types of the mode parameter header, sorted by code. Code 0 stands for no answer.
struct MEDIUM_TYPE {
    unsigned char cCode;
    char szText[32];
};

static const MEDIUM_TYPE strMediumTypes[] = {
    {0x81, "cleaning tape"          },
    {0x82, "DLTtape I or DLTtape II"},
    {0x83, "DLTtape III"            },
    {0x84, "DLTtape IIIxt"          },
    {0x85, "DLTtape IV"             },
    {0x86, "Super DLTtape I"        },
    {0x87, "Super DLTtape II"       },
    {0x90, "VStape I"               },
};

static void vPrintMediumType(unsigned char cCode)
{
    for (const MEDIUM_TYPE& strType : strMediumTypes) {
        if (strType.cCode == cCode) {
            printf("media_type=%s\n", strType.szText);
            return;
        }
    }
    printf("media_type=unknown (%x)\n", cCode);
}

// Prints whether a cartridge is loaded and the drive asks for cleaning, from byte 18 of the sense
// data, which this family of drives keeps its status in.
static void vPrintInternalStatus(unsigned char cStatus, int iReport)
{
    const bool bValid = (cStatus & cSTATUS_VALID) != 0;
    if (!bValid || iReport >= REPORT_DEBUG)
        printf("internal_status_byte=0x%x\n", cStatus);
    if (!bValid)
        return;
    printf("cleaning_bit=%d\n", cStatus & 1);
    printf("load=%d\n", cStatus == 0x82 || cStatus == 0x83 ? 0 : 1);
}

// Prints header, block descriptor and compression page of a MODE SENSE(6) reply; this family of
// drives always returns one block descriptor, so the positions are fixed.
static void vPrintSummary(const unsigned char* cBuf, int iReport)
{
    const unsigned int uiBlockLength = uiGet24(cBuf + 9);
    printf("buffered_mode=%d\n", (cBuf[2] & 0x10) != 0);
    if (iReport >= REPORT_DEBUG)
        printf("block_length0=%x\nblock_length1=%x\nblock_length2=%x\n", cBuf[9], cBuf[10],
               cBuf[11]);
    printf("block_length=%u%s\n", uiBlockLength, uiBlockLength == 0 ? " (variable)" : "");
    if (iReport >= REPORT_DEBUG)
        printf("media_type=(%x)\n", cBuf[1]);
    vPrintMediumType(cBuf[1]);
    if (iReport == REPORT_DEBUG)
        printf("write_protect_code=%x\n", cBuf[2] & 0x80);
    printf("write_protect=%d\n", cBuf[2] >> 7);
    printf("density_code=%x\n", cBuf[4]);
    printf("compression=%d\n", cBuf[14] >> 7);
}

static int iTapeModeSense(int iReport)
{
    static const unsigned char cCDB[6] = {
        0x1A,      // MODE SENSE(6)
        0,         // block descriptors wanted
        0x0F,      // current values, data compression page
        0,         // subpage
        iBUF_SIZE, // allocation length
        0,         // control
    };
    unsigned char cSense[iBUF_SIZE] = {};
    unsigned char cBuf[iBUF_SIZE] = {};
    TRACE_ABOVE(&strLog, 1, "for tape >> REQUEST SENSE");
    iRequestSense(cSense, iBUF_SIZE, iReport);
    TRACE_ABOVE(&strLog, 1, "Buf[2]     0x%x", cSense[2]);
    TRACE_ABOVE(&strLog, 1, "Sense Key  0x%x", cSense[2] & 0x0F);
    TRACE_ABOVE(&strLog, 1, "ASC        0x%x", cSense[12]);
    TRACE_ABOVE(&strLog, 1, "ASCQ       0x%x", cSense[13]);
    vPrintInternalStatus(cSense[18], iReport);
    TRACE_ABOVE(&strLog, 1, "for tape >> MODE SENSE");
    if (iReport == REPORT_DEBUG)
        printf("request page=(%x)\n", cCDB[2]);
    const int iStatus = iSendCommand(cCDB, sizeof(cCDB), cBuf, iBUF_SIZE, iReport);
    vPrintSummary(cBuf, iReport);
    return iStatus;
}

int iScsiModeSense(int iReport)
{
    TRACE_ABOVE(&strLog, 1, "ScsiModeSense");
    if (strcmp(gszTyp, "loader") == 0)
        return iLoaderModeSense(iReport);
    return strcmp(gszTyp, "tape") == 0 ? iTapeModeSense(iReport) : NOTAPE_ERROR;
}
