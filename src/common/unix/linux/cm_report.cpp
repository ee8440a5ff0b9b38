// Reports of failed system calls. Stands on the trace log.
#include "cm_report.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static const char szSTATES[][8] = {"SUCCESS", "WARNING", "ERROR", "FATAL"};

// Writes the report into the trace records that are given and switched on.
static void vTraceError(EXIT_STATE eState, const char* cpMsg, const str_log* pStrLogExtern,
                        const str_log* pStrLogCaller)
{
    const int iErrno = errno;
    const char* cpError = strerror(iErrno);
    // Copies, so that a report never changes the nesting of the caller's record.
    if (pStrLogExtern != nullptr && pStrLogExtern->iFlg > 0) {
        str_log strCopy = *pStrLogExtern;
        WRITE_TRACE(&strCopy, "%s: %s: (%d) %s", szSTATES[eState], cpMsg, iErrno, cpError);
    }
    if (pStrLogCaller != nullptr && pStrLogCaller->iFlg > 0) {
        str_log strCopy = *pStrLogCaller;
        WRITE_TRACE(&strCopy, "[%6d] %s: %s: (%d) %s", getpid(), szSTATES[eState], cpMsg, iErrno,
                    cpError);
    }
}

void log_fatal(const char* cpMsg, const str_log* pStrLogExtern, const str_log* pStrLogCaller)
{
    const int iErrno = errno;
    vTraceError(KQ_FATAL, cpMsg, pStrLogExtern, pStrLogCaller);
    printf("STATUS=%s MSG=%s: (%d) %s\n", szSTATES[KQ_FATAL], cpMsg, iErrno, strerror(iErrno));
    exit(3);
}

void log_error(EXIT_STATE eState, const char* cpMsg, const str_log* pStrLogExtern,
               const str_log* pStrLogCaller)
{
    if (eState == KQ_FATAL)
        log_fatal(cpMsg, pStrLogExtern, pStrLogCaller); // does not come back
    vTraceError(eState, cpMsg, pStrLogExtern, pStrLogCaller);
}
