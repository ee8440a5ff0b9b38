// The shared state of one run, the names of the status numbers, and the result line.
#include "mvk.h"

#include "changer/changer.h"
#include "scsi/executor.h"

#include <stdio.h>

DEVICE gstrDevice;
char gszTyp[32];
char gszLoaderPresent[32];
char gszCurCmd[128];
char gszTest[128];
int giCounter;
int giVolTag;
int giElementAddress[16][iELEMENT_COLUMNS];
str_log strLog;

const char gszRevision[] = "mvk " MVK_VERSION;

static const char gszReturnState[][20] = {
    "MVK_SUCCESS",    "USAGE_ERROR",     "DEVICE_OPEN_ERROR", "IOCTL_ERROR",
    "SCSI_BUS_ERROR", "MODESENSE_ERROR", "NOTAPE_ERROR",      "NOLOADER_ERROR",
    "BUFFER_ERROR",   "MVK_OCCUPIED",    "DEVICE_NOT_EXIST",  "DEVICE_BUSY",
};

int iReturnState(int iStatus)
{
    const bool bKnown = iStatus >= MVK_SUCCESS && iStatus <= DEVICE_BUSY;
    fflush(stdout);
    TRACE_ABOVE(&strLog, 0, "exit with state %d: %s", iStatus,
                bKnown ? gszReturnState[iStatus] : "unknown error code");
    if (iStatus == MVK_SUCCESS)
        fprintf(stderr, "STATUS=SUCCESS MSG=\"OK\"\n");
    else if (bKnown)
        fprintf(stderr, "STATUS=ERROR MSG=\"%s\"\n", gszReturnState[iStatus]);
    else
        fprintf(stderr, "STATUS=ERROR MSG=\"unknown error code: %d\"\n", iStatus);
    return iStatus;
}
