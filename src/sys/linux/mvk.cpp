// The front end: one run selects a device, locks it against other runs, performs one operation on
// it and ends with a result line.
#include "mvk.h"
#include "changer/changer.h"
#include "device/selection.h"
#include "scsi/executor.h"
#include "scsi/operations.h"
#include "tape/tape.h"

#include "cm_common.h"
#include "cm_hal_semaphor.h"
#include "cm_trace.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

// What an operation gets: the arguments, their count without a trailing "debug", the report level.
struct RUN {
    int argc;
    char** argv;
    int iReport;
};

// A word of the command line and what it starts. Most operations are one routine with a mode word;
// the others have a function of their own.
struct OPERATION {
    char szWord[12];
    char szMode[12];
    bool bDash;    // accepted with a leading "-" too
    bool bChanges; // changes something on the device, or may
    int iMinArguments;
    int (*iPerform)(const RUN* pRun);
    int (*iPerformMode)(const char* cpMode, int iReport);
};

static int iUsage(const RUN* pRun)
{
    vUsage(pRun->argv[0], 0);
    return USAGE_ERROR;
}

static int iInquiry(const RUN* pRun)
{
    return iScsiInquiry(pRun->iReport);
}

// A changer that refuses READ ELEMENT STATUS still has its mode page.
static int iStatusOf(const RUN* pRun)
{
    if (strcmp(gszTyp, "tape") == 0) {
        printf("Tape Info\n");
        iScsiCmdReadAttributes("medium_type", pRun->iReport);
        return iScsiModeSense(pRun->iReport);
    }
    const int iStatus = iScsiRES("show page", pRun->iReport);
    return iStatus == 0 ? iStatus : iScsiModeSense(pRun->iReport);
}

// The filter is looked up by position, so a trailing "debug" stands in for it.
static int iList(const RUN* pRun)
{
    static const char szModes[][2][12] = {
        {"full",  "show full" },
        {"empty", "show empty"},
        {"scsi",  "show scsi" },
        {"debug", "show full" },
    };
    const char* cpFilter = pRun->argv[3];
    if (cpFilter == nullptr)
        return iScsiRES("show all", pRun->iReport);
    for (const auto& szMode : szModes) {
        if (strcmp(cpFilter, szMode[0]) == 0)
            return iScsiRES(szMode[1], pRun->iReport);
    }
    return iScsiRES(cpFilter, pRun->iReport);
}

static int iListWithLabels(const RUN* pRun)
{
    giVolTag = 16;
    return iList(pRun);
}

static int iHardMove(const RUN* pRun)
{
    return iScsiHardMoveMedium(pRun->argv[3], pRun->argv[4], pRun->argv[5], pRun->iReport);
}

// The addresses are asked for first, so that a move never works on remembered ones.
static int iMove(const RUN* pRun)
{
    iScsiRES("page code", pRun->iReport);
    // The override is stored under the device as it was typed, ID or path.
    v_COPY(gszID, sizeof(gszID), gstrDevice.szName);
    iScsiHardAddress(pRun->iReport);
    if (pRun->argc < 5)
        return iUsage(pRun);
    return iScsiMoveMedium(pRun->argv[3], pRun->argv[4], pRun->argc > 5 ? pRun->argv[5] : "t:0",
                           pRun->iReport);
}

// Every load leaves the drive in variable block mode and shows the label; only the load counts.
static int iLoad(const RUN* pRun)
{
    const int iStatus = iScsiCmdCDB6("load", pRun->iReport);
    iScsiCmdModeSelect("set_block_size", "", "0", pRun->iReport);
    iScsiCmdCDBRead("", pRun->iReport);
    return iStatus;
}

static int iCompression(const RUN* pRun)
{
    return iScsiCmdModeSelect("set_dce", "", pRun->argv[3], pRun->iReport);
}

static int iSetEeprom(const RUN* pRun)
{
    return iScsiCmdSetEeprom("MODE SENSE FOR EEPROM", pRun->argv[3], pRun->argv[4], pRun->iReport);
}

static int iErase(const RUN* pRun)
{
    return iScsiCmdErase(pRun->iReport);
}

static int iReadAttributes(const RUN* pRun)
{
    return iScsiCmdReadAttributes(pRun->argc > 3 ? pRun->argv[3] : "medium", pRun->iReport);
}

// A key that is none of these changes nothing and is no error.
static int iSet(const RUN* pRun)
{
    if (strcmp(pRun->argv[3], "block_size") == 0)
        return iScsiCmdModeSelect("set_block_size", "", pRun->argv[4], pRun->iReport);
    if (strcmp(pRun->argv[3], "density_code") == 0)
        return iScsiCmdModeSelect("set_density_code", "", pRun->argv[4], pRun->iReport);
    return MVK_SUCCESS;
}

// The dispatch table: word, mode word, dash, change, least number of arguments (program name and
// device included), and the routine.
static const OPERATION strOperations[] = {
    {"i",          "",            true,  false, 0, iInquiry,        nullptr          },
    {"s",          "",            true,  false, 0, iStatusOf,       nullptr          },
    {"e",          "",            true,  false, 0, iList,           nullptr          },
    {"l",          "",            true,  false, 0, iListWithLabels, nullptr          },
    {"hm",         "",            true,  true,  6, iHardMove,       nullptr          },
    {"m",          "",            true,  true,  0, iMove,           nullptr          },
    {"u",          "unload",      true,  true,  0, nullptr,         iScsiCmdCDB6     },
    {"L",          "",            true,  true,  0, iLoad,           nullptr          },
    {"r",          "rewind",      true,  true,  0, nullptr,         iScsiCmdCDB6     },
    {"a",          "allow",       true,  true,  0, nullptr,         iScsiCmdCDB6     },
    {"p",          "prevent",     true,  true,  0, nullptr,         iScsiCmdCDB6     },
    {"I",          "inventory",   true,  true,  0, nullptr,         iScsiCmdCDB6     },
    {"c",          "",            true,  true,  4, iCompression,    nullptr          },
    {"get_eeprom", "eeprom_10",   false, false, 0, nullptr,         iScsiCmdModeSense},
    {"set_eeprom", "",            false, true,  5, iSetEeprom,      nullptr          },
    {"erase",      "",            false, true,  0, iErase,          nullptr          },
    {"read",       "",            false, false, 0, iReadAttributes, nullptr          },
    {"get",        "all_pages_6", false, false, 0, nullptr,         iScsiCmdModeSense},
    {"set",        "",            false, true,  5, iSet,            nullptr          },
};

// Returns the row of a word of the command line, null for none.
static const OPERATION* pFindOperation(const char* cpWord)
{
    if (cpWord == nullptr)
        return nullptr;
    for (const OPERATION& strOperation : strOperations) {
        const bool bDashed = strOperation.bDash && cpWord[0] == '-';
        if (strcmp(bDashed ? cpWord + 1 : cpWord, strOperation.szWord) == 0)
            return &strOperation;
    }
    return nullptr;
}

static int iDispatch(const RUN* pRun, const OPERATION* pOperation)
{
    if (pOperation == nullptr || pRun->argc < pOperation->iMinArguments)
        return iUsage(pRun);
    if (pOperation->iPerform != nullptr)
        return pOperation->iPerform(pRun);
    return pOperation->iPerformMode(pOperation->szMode, pRun->iReport);
}

// A descriptor below 3 that a caller left closed would be given to a device or a lock file, and
// reports would be written there.
static void vOccupyStandardStreams()
{
    for (int iFD = 0; iFD <= 2; iFD++) {
        if (fcntl(iFD, F_GETFD) < 0 && open("/dev/null", O_RDWR) < 0)
            return;
    }
}

static void vRememberArguments(int argc, char** argv)
{
    gszCurCmd[0] = '\0';
    for (int i = 0; i < argc; i++) {
        v_APPEND(gszCurCmd, sizeof(gszCurCmd), argv[i]);
        v_APPEND(gszCurCmd, sizeof(gszCurCmd), " ");
    }
    giCounter = 0;
}

// Names the semaphore of a device: one for each ID, one for all device paths.
static void vNameSemaphore(const char* cpName, char* cpBusy, size_t uiSize)
{
    v_COPY(cpBusy, uiSize, "mvk_busy");
    if (i_DECIMAL(cpName) != 0 || cpName[0] == '0') {
        v_APPEND(cpBusy, uiSize, "_");
        v_APPEND(cpBusy, uiSize, cpName);
    }
}

// Honours the trailing words "debug", which leaves the count, and "test", which does not.
static void vReadTrailingWords(RUN* pRun, const char* cpBusy)
{
    if (strcmp(pRun->argv[pRun->argc - 1], "debug") == 0) {
        pRun->argc--;
        pRun->iReport = REPORT_DEBUG;
        strLog.iFlg = 2;
        strLog.iVerify = 1;
        TRACE_ABOVE(&strLog, 0, "main(): debug info");
        TRACE_ABOVE(&strLog, 0, "argc=%d", pRun->argc);
        TRACE_ABOVE(&strLog, 0, "gszDev=%s", gszDev);
        TRACE_ABOVE(&strLog, 0, "gszID=%s", gszID);
        TRACE_ABOVE(&strLog, 0, "szBusy=%s", cpBusy);
    }
    v_COPY(gszTest, sizeof(gszTest), "not set");
    if (pRun->argc > 1 && strcmp(pRun->argv[pRun->argc - 1], "test") == 0) {
        v_COPY(gszTest, sizeof(gszTest), pRun->argv[pRun->argc - 2]);
        TRACE_ABOVE(&strLog, 0, "gszTest=%s", gszTest);
    }
}

// Says on standard error, and in the trace, who keeps the device busy.
static int iReportOccupied(const char* cpBusy, const char* cpHolder)
{
    TRACE_ABOVE(&strLog, 0, "Warning: Could not perform: %s\n", gszCurCmd);
    TRACE_ABOVE(&strLog, 0, "Semaphore %s is occupied by: %s\n", cpBusy, cpHolder);
    fprintf(stderr, "Warning: Could not perform: %s\n", gszCurCmd);
    fprintf(stderr, "Semaphore %s is occupied by: %s\n", cpBusy, cpHolder);
    return MVK_OCCUPIED;
}

// The operation itself, with the device locked.
static int iOperate(const RUN* pRun, const OPERATION* pOperation)
{
    if (strcmp(pRun->argv[1], "scan") == 0) {
        vScanDevice(pRun->argc > 2 ? pRun->argv[2] : "scan all", REPORT_SCAN);
        return MVK_SUCCESS;
    }
    iScsiInquiry(REPORT_SILENT);
    return gstrDevice.iRefusal != 0 ? gstrDevice.iRefusal : iDispatch(pRun, pOperation);
}

// Takes a semaphore. Returns 0, or MVK_OCCUPIED with its two lines when another run holds it.
static int iTake(SCT_SEMA* pSema, const char* cpBusy)
{
    v_COPY(pSema->szSema, sizeof(pSema->szSema), cpBusy);
    if (i_SEMA('?', pSema, strLog) != 0)
        return iReportOccupied(cpBusy, pSema->szMsg);
    i_SEMA('+', pSema, strLog);
    return 0;
}

// Takes the semaphore of the device's ID as well, when the device was given another name: whatever
// its names, a device serves one run. It always comes last, so that two runs cannot wait for each
// other. cpBusy: the semaphore that is held already.
static int iOperateUnderID(const RUN* pRun, const OPERATION* pOperation, const char* cpBusy)
{
    char szOther[sizeof(SCT_SEMA::szSema)];
    char szID[iID_SIZE];
    SCT_SEMA semID = {"", "mvk", "", 0};
    vFindAhead();
    vOtherID(szID);
    vNameSemaphore(szID, szOther, sizeof(szOther));
    if (szID[0] == '\0' || strcmp(szOther, cpBusy) == 0)
        return iOperate(pRun, pOperation);
    if (iTake(&semID, szOther) != 0)
        return MVK_OCCUPIED;
    const int iStatus = iOperate(pRun, pOperation);
    i_SEMA('-', &semID, strLog);
    return iStatus;
}

static int iRun(RUN* pRun)
{
    char szBusy[40];
    SCT_SEMA semMvk = {"", "mvk", "", 0};
    const OPERATION* pOperation = pFindOperation(pRun->argv[2]);
    vNameDevice(pRun->argv[1], pOperation != nullptr && pOperation->bChanges);
    vNameSemaphore(gszID, szBusy, sizeof(szBusy));
    vReadTrailingWords(pRun, szBusy);
    if (strcmp(pRun->argv[1], "--help") == 0) {
        vUsage(pRun->argv[0], 1);
        return USAGE_ERROR;
    }
    if (iTake(&semMvk, szBusy) != 0)
        return MVK_OCCUPIED;
    const int iStatus = iOperateUnderID(pRun, pOperation, semMvk.szSema);
    i_SEMA('-', &semMvk, strLog);
    return iStatus;
}

int iMvkMain(int argc, char** argv)
{
    static char szName[] = "mvk";
    static char* cpNoArguments[] = {szName, nullptr};
    RUN strRun = {argc, argv, REPORT_NORMAL};
    vOccupyStandardStreams();
    if (argc < 1)
        strRun = {1, cpNoArguments, REPORT_NORMAL};
    v_set_log_main("kq_mvk.lgc", "KQ_MVK", &strLog);
    TRACE_ABOVE(&strLog, 1, "%s", gszRevision);
    vRememberArguments(strRun.argc, strRun.argv);
    if (strRun.argc <= 1)
        return iReturnState(iUsage(&strRun));
    return iReturnState(iRun(&strRun));
}
