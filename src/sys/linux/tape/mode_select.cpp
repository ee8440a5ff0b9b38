// Changes one setting of a tape drive with MODE SELECT(6): block size, density or compression.
#include "tape/tape.h"

#include "scsi/bytes.h"
#include "scsi/executor.h"
#include "tape/mode_commands.h"

#include "cm_common.h"

#include <stdio.h>
#include <string.h>

// Mode parameter header and one block descriptor; the data compression page follows.
static const int iHEADER_SIZE = 4;
static const int iOffset = 8; // length of the block descriptor
static const int iPAGE_SIZE = 16;
static const int iBLOCK_LIST_SIZE = iHEADER_SIZE + iOffset;
static const int iPAGE_LIST_SIZE = iBLOCK_LIST_SIZE + iPAGE_SIZE;

// Reply to the MODE SENSE that fetches the compression page.
static const int iSENSE_REPLY_SIZE = 48;

// The byte of the compression page that holds the enable bit (DCE).
static const int iDCE_BYTE = 6 + iOffset;
static const unsigned char cDCE = 0x80;

// The parameter list of one call; zeros where nothing is said.
struct SELECT_LIST {
    unsigned char cBuf[iSENSE_REPLY_SIZE];
    int iBufSize;
    unsigned int iBlockSize; // the value, whatever the setting
};

// A setting: fills the list from the value in iBlockSize.
struct SETTING {
    const char* cpMode;
    const char* cpTitle;
    const char* cpResult;
    void (*vFillList)(SELECT_LIST* pList, int iReport);
};

static void vFillHeader(SELECT_LIST* pList, int iBufSize)
{
    pList->iBufSize = iBufSize;
    pList->cBuf[0] = 0;    // mode data length, reserved in MODE SELECT
    pList->cBuf[2] = 0x10; // buffered mode 1
    pList->cBuf[3] = iOffset;
}

static void vFillBlockSize(SELECT_LIST* pList, int iReport)
{
    vFillHeader(pList, iBLOCK_LIST_SIZE);
    vPut24(pList->cBuf + 9, pList->iBlockSize);
    if (iReport >= REPORT_DEBUG)
        printf("SIZE=%d\nSIZE16=%x\nSIZE08=%x\nSIZE00=%x\n", (int)pList->iBlockSize, pList->cBuf[9],
               pList->cBuf[10], pList->cBuf[11]);
}

// The block length stays 0: setting the density puts the drive into variable block mode.
static void vFillDensity(SELECT_LIST* pList, int iReport)
{
    vFillHeader(pList, iBLOCK_LIST_SIZE);
    pList->cBuf[4] = (unsigned char)pList->iBlockSize;
    if (iReport >= REPORT_NORMAL)
        printf("SIZE=%d\n", (int)pList->iBlockSize);
}

// Sends back the page that the drive holds, with another enable bit. A page that could not be read
// is sent as zeros, and the drive's answer to that counts.
static void vFillCompression(SELECT_LIST* pList, int iReport)
{
    static const unsigned char cCDB[6] = {
        0x1A,              // MODE SENSE(6)
        0,                 // block descriptors wanted
        0x0F,              // current values, data compression page
        0,                 // subpage
        iSENSE_REPLY_SIZE, // allocation length
        0,                 // control
    };
    if (iReport == REPORT_DEBUG)
        printf("Call MODE SENSE request data compression page=(%x)\n", cCDB[2]);
    iSendCommand(cCDB, sizeof(cCDB), pList->cBuf, iSENSE_REPLY_SIZE, iReport);
    vFillHeader(pList, iPAGE_LIST_SIZE);
    if (iReport >= REPORT_NORMAL)
        printf("DCE=%d\n", (int)pList->iBlockSize);
    if (pList->iBlockSize == 0) {
        pList->cBuf[iDCE_BYTE] &= (unsigned char)~cDCE;
    } else {
        pList->iBlockSize = 1;
        pList->cBuf[iDCE_BYTE] |= cDCE;
    }
    printf("DATA COMPRESSION ENABLE:%d\n", pList->cBuf[iDCE_BYTE] >> 7);
    if (iReport != REPORT_DEBUG)
        return;
    printf("debug info before SCSI_ExecuteCommand\n");
    vDumpBytes(pList->cBuf, pList->iBufSize, DUMP_LINES);
}

static const SETTING strSettings[] = {
    {"set_block_size",   "MODE SELECT (6) SET BLOCKSIZE",       "new_block_size",   vFillBlockSize  },
    {"set_density_code", "MODE SELECT (6) SET DENSITY",         "new_density_code", vFillDensity    },
    {"set_dce",          "MODE SELECT (6) SET COMPRESSION DCE", "compression",      vFillCompression},
};

static const SETTING* pFindSetting(const char* cpMode)
{
    for (const SETTING& strSetting : strSettings) {
        if (strcmp(cpMode, strSetting.cpMode) == 0)
            return &strSetting;
    }
    return nullptr;
}

int iSelectPages(unsigned char* cpList, int iSize, int iReport)
{
    const unsigned char cCDB[6] = {
        0x15,                 // MODE SELECT(6)
        0x10,                 // page format, nothing saved
        0,                    // reserved
        0,                    // reserved
        (unsigned char)iSize, // parameter list length
        0,                    // control
    };
    return iSendCommand(cCDB, sizeof(cCDB), cpList, iSize, iReport);
}

int iScsiCmdModeSelect(const char* cpMode, const char* cpKey, const char* cpVal, int iReport)
{
    (void)cpKey;
    SELECT_LIST strList = {};
    const SETTING* pSetting = pFindSetting(cpMode);
    if (pSetting == nullptr) {
        printf("UNKNOWN MODE '%s'\n", cpMode);
        return USAGE_ERROR;
    }
    strList.iBlockSize = (unsigned int)i_DECIMAL(cpVal);
    pSetting->vFillList(&strList, iReport);
    printf("TRY %s\n", pSetting->cpTitle);
    const int iStatus = iSelectPages(strList.cBuf, strList.iBufSize, iReport);
    if (iStatus == 0)
        printf("%s=%d\nDONE %s\n", pSetting->cpResult, (int)strList.iBlockSize, pSetting->cpTitle);
    return iStatus;
}
