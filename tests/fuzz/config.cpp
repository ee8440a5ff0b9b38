// Target: configuration files, stored variables, logs and semaphores.
#include "world.h"

#include "cm_common.h"
#include "cm_hal_semaphor.h"
#include "cm_hal_unix.h"
#include "cm_kernel.h"
#include "mvk.h"
#include "scsi/executor.h"

// The fourth operand is the room for a result.
static int iProfile()
{
    char szMsg[40];
    return i_GetPrivateProfileString(gcpTexts[2], gcpTexts[0][0] == '~' ? nullptr : gcpTexts[0],
                                     gcpTexts[1], gcpTexts[3], (int)guiSizes[3] + 1, szMsg,
                                     sizeof(szMsg));
}

static int iLogs()
{
    static void (*const vTrace)(str_log*, const char*, ...) = WRITE_TRACE; // no check of the format
    v_set_log_main(gcpTexts[0], gcpTexts[1], &strLog);
    vTrace(&strLog, "+ %s", gcpTexts[2]);
    vTrace(&strLog, "COPY_FILE", gcpTexts[2]);
    PROT("E003-%s  %s", gcpTexts[1], gcpTexts[2]);
    return get_parent_info(gcpTexts[3], (int)guiSizes[3] + 1);
}

static int iVariable()
{
    char szValue[iGLBV_VALUE_SIZE];
    v_COPY(szValue, sizeof(szValue), gcpTexts[1]);
    return glbv(gcpTexts[2][0], gcpTexts[0], szValue) == nullptr;
}

// What was acquired is released, and nothing else.
static int iSemaphore()
{
    SCT_SEMA strSema = {"", "mvk", "", 0};
    v_COPY(strSema.szSema, sizeof(strSema.szSema), gcpTexts[0]);
    i_SEMA(gcpTexts[2][0], &strSema, strLog);
    return strchr("+S*", gcpTexts[2][0]) != nullptr && i_SEMA('-', &strSema, strLog);
}

const std::vector<int (*)()> gOperations = {iProfile, iLogs, iVariable, iSemaphore};
