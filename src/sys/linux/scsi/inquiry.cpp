// INQUIRY: classifies the selected device, or prints its identification line.
#include "scsi/operations.h"

#include "scsi/bytes.h"
#include "scsi/executor.h"

#include "cm_common.h"

#include <stdio.h>
#include <string.h>

static const int iBUF_SIZE = 255;

// The logical unit goes into the CDB the way SCSI-2 devices want it.
static unsigned char cLunField()
{
    const int iLun = cLunOf(gszID) - '0';
    if (iLun == 0)
        return 0;
    const unsigned char cField = (unsigned char)((unsigned int)iLun << 5);
    TRACE_ABOVE(&strLog, 0, "set LUN %d with cCDB[1] 0x%x", iLun, cField);
    return cField;
}

// The type is compared with its qualifier bits.
static void vClassify(const unsigned char* cBuf)
{
    const bool bTape = cBuf[0] == TYPE_TAPE;
    v_COPY(gszTyp, sizeof(gszTyp), bTape ? "tape" : cBuf[0] == TYPE_CHANGER ? "loader" : "unknown");
    if (bTape)
        v_COPY(gszLoaderPresent, sizeof(gszLoaderPresent),
               cBuf[6] != 0 ? "(loader present)" : "(no loader)");
}

static void vDumpInquiry(const unsigned char* cBuf)
{
    printf("debug info\n");
    vDumpBytes(cBuf, iBUF_SIZE, DUMP_INDEXED_TEXT);
    printf("\n");
}

// Prints vendor, product and revision as the device stores them, padding and NUL bytes included.
static void vPrintIdentification(const unsigned char* cBuf)
{
    printf("ID=NONE %s", cBuf[0] == TYPE_TAPE ? "Tape:    " : "Loader:  ");
    fwrite(cBuf + 8, 1, 24, stdout);
    putchar(' ');
    fwrite(cBuf + 32, 1, 4, stdout);
    printf(" (%s) ", gszDev);
    if (strcmp(gszTyp, "tape") == 0)
        printf(" %s \n", gszLoaderPresent);
    else
        printf("\n");
}

int iScsiInquiry(int iReport)
{
    unsigned char cBuf[iBUF_SIZE] = {};
    const unsigned char cCDB[6] = {
        0x12,                     // INQUIRY
        cLunField(),              // logical unit, no vital product data
        0,                        // page code
        0,                        // reserved
        (unsigned char)iBUF_SIZE, // allocation length
        0,                        // control
    };
    const int iStatus = iSendCommand(cCDB, sizeof(cCDB), cBuf, iBUF_SIZE, iReport);
    if (iStatus != 0 && iStatus != iVMSTolerantStatus)
        return iStatus;
    if (iReport == REPORT_SILENT)
        vClassify(cBuf);
    if (iReport == REPORT_DEBUG)
        vDumpInquiry(cBuf);
    if (iReport < REPORT_NORMAL)
        return iStatus;
    if (cBuf[0] != TYPE_TAPE && cBuf[0] != TYPE_CHANGER)
        return NOTAPE_ERROR;
    vPrintIdentification(cBuf);
    return cBuf[0] == TYPE_TAPE ? 0 : iStatus;
}
