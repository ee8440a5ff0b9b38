// The front end: one run selects a device, locks it against other runs, performs one operation on
// it and ends with a result line.
#include "mvk.h"
#include "device/selection.h"
#include "mvk_operations.h"
#include "scsi/executor.h"
#include "scsi/operations.h"

#include "cm_common.h"
#include "cm_hal_semaphor.h"
#include "cm_trace.h"

#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

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
