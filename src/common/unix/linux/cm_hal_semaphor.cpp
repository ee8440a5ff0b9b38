// Named semaphores between processes: files in the work directory under an exclusive POSIX record
// lock, which the kernel drops when the holder ends. Stands on the lock file, on symbolic paths
// (cm_kernel) and on the trace log.
#include "cm_hal_semaphor.h"

#include "cm_common.h"
#include "cm_kernel.h"
#include "cm_lock_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

static const char szREVISION[] = "mvk common library " MVK_VERSION;

// Longest description of a holder that an inquiry reads, in bytes.
static const int iHOLDER_SIZE = 512;

// What the services of one call work on.
struct SEMA_CALL {
    SCT_SEMA* pS;
    const str_log* pCaller; // the caller's trace record
    str_log* pOwn;          // the semaphore's own trace record
    int iPid;
    char szPath[2048]; // the lock file
};

// Reports something that the call goes on after.
static void vReport(const SEMA_CALL* pCall, EXIT_STATE eState, const char* cpMsg)
{
    log_error(eState, cpMsg, pCall->pCaller, pCall->pOwn);
}

// Reports what the call cannot go on after, and ends the process.
[[noreturn]] static void vReportAndExit(const SEMA_CALL* pCall, const char* cpMsg)
{
    log_fatal(cpMsg, pCall->pCaller, pCall->pOwn);
}

static void vEmptyFile(const SEMA_CALL* pCall)
{
    if (ftruncate(pCall->pS->hSema, 0) != 0)
        vReportAndExit(pCall, "failed to truncate lock file");
}

// An inquiry in between, on a copy that leaves the caller's descriptor alone. Returns its result
// and its text in pInquiry->szMsg.
static int iInquireCopy(const SEMA_CALL* pCall, SCT_SEMA* pInquiry)
{
    *pInquiry = *pCall->pS;
    return i_SEMA('?', pInquiry, *pCall->pOwn);
}

// Composes "another process ... is holding semaphore ..." in cpMsg of uiSize bytes and reports it.
static void vReportHolder(const SEMA_CALL* pCall, const SCT_SEMA* pInquiry, char* cpMsg,
                          size_t uiSize)
{
    v_JOIN(cpMsg, uiSize, "another process ", pInquiry->szMsg, " is holding semaphore ");
    v_APPEND(cpMsg, uiSize, pInquiry->szSema);
    vReport(pCall, KQ_WARNING, cpMsg);
}

// Opens the lock file into hSema, making it and its directory when they are missing.
static void vOpenLockFile(const SEMA_CALL* pCall)
{
    static const char szFailed[] = "failed to open lock file";
    SCT_SEMA* pS = pCall->pS;
    TRACE_ABOVE(pCall->pOwn, 0, "[%6d] open lock file %s", pCall->iPid, pCall->szPath);
    pS->hSema = iOpenLockFile(pCall->szPath, O_WRONLY | O_CREAT);
    if (pS->hSema >= 0)
        return;
    if (errno == ENOENT) {
        char szDirectory[2048] = "gv_rw_work:sem";
        vReport(pCall, KQ_WARNING, szFailed);
        resolve_path(szDirectory, sizeof(szDirectory));
        TRACE_ABOVE(pCall->pOwn, 0, "try to create directory %s", szDirectory);
        const bool bMade = mkdir(szDirectory, 0775) == 0;
        const int iErrno = errno;
        if (bMade) {
            char szMsg[2304];
            v_JOIN(szMsg, sizeof(szMsg), "directory ", szDirectory,
                   " created >> retry creation of lock file");
            vReport(pCall, KQ_SUCCESS, szMsg);
        }
        // EEXIST: another run made the directory at the same time.
        if (bMade || iErrno == EEXIST) {
            pS->hSema = iOpenLockFile(pCall->szPath, O_WRONLY | O_CREAT);
            // A file that came into being in between has to have a descriptor of its own: 0 in the
            // record stands for a semaphore that is not held.
            if (pS->hSema > 0)
                return;
        }
        if (!bMade)
            errno = iErrno;
    }
    vReportAndExit(pCall, szFailed);
}

// "*" did not get the lock: says who holds it. The descriptor stays open, without the lock.
static int iReportOccupied(const SEMA_CALL* pCall)
{
    static const char szOccupied[] = "semaphore is occupied";
    static const char szByAnother[] = "semaphore is occupied by another process";
    SCT_SEMA strInquiry;
    vReport(pCall, KQ_WARNING, szOccupied);
    v_COPY(pCall->pS->szMsg, sizeof(pCall->pS->szMsg), szByAnother);
    if (iInquireCopy(pCall, &strInquiry)) {
        vReportHolder(pCall, &strInquiry, pCall->pS->szMsg, sizeof(pCall->pS->szMsg));
    } else {
        vReport(pCall, KQ_WARNING, szOccupied);
        v_COPY(pCall->pS->szMsg, sizeof(pCall->pS->szMsg), szByAnother);
    }
    return 0;
}

static int iAcquire(const SEMA_CALL* pCall, bool bWait)
{
    SCT_SEMA* pS = pCall->pS;
    char szHolder[sizeof(pS->szCaller) + 16];
    vOpenLockFile(pCall);
    if (iLockFile(pS->hSema, bWait ? F_SETLKW : F_SETLK) != 0) {
        if (!bWait)
            return iReportOccupied(pCall);
        vReportAndExit(pCall, "file lock with fcntl() failed");
    }
    vEmptyFile(pCall);
    snprintf(szHolder, sizeof(szHolder), "%d %s", pCall->iPid, pS->szCaller);
    const size_t uiLength = strlen(szHolder);
    errno = 0; // a short write leaves it alone
    if (write(pS->hSema, szHolder, uiLength) != (ssize_t)uiLength)
        vReportAndExit(pCall, "writing pid into lock file failed");
    const int iFlags = fcntl(pS->hSema, F_GETFD);
    if (iFlags < 0)
        vReport(pCall, KQ_ERROR, "fcntl with F_GETFD failed");
    else if (fcntl(pS->hSema, F_SETFD, iFlags | FD_CLOEXEC) < 0)
        vReport(pCall, KQ_ERROR, "fcntl with F_SETFD failed");
    TRACE_ABOVE(pCall->pOwn, 0, "[%6d] got exclusive lock for %s", pCall->iPid, pS->szSema);
    return 1;
}

static int iRelease(const SEMA_CALL* pCall)
{
    SCT_SEMA* pS = pCall->pS;
    if (pS->hSema != 0) {
        vEmptyFile(pCall);
        if (close(pS->hSema) != 0) {
            const int iErrno = errno;
            vReport(pCall, KQ_ERROR, "couldn't close semaphore file");
            v_COPY(pS->szMsg, sizeof(pS->szMsg), strerror(iErrno));
            return 0;
        }
    } else {
        SCT_SEMA strInquiry;
        char szWarning[sizeof(strInquiry.szMsg) + 128];
        const bool bHeld = iInquireCopy(pCall, &strInquiry) != 0;
        // The text stays the inquiry's: it names the holder.
        v_COPY(pS->szMsg, sizeof(pS->szMsg), strInquiry.szMsg);
        if (bHeld)
            vReportHolder(pCall, &strInquiry, szWarning, sizeof(szWarning));
        else
            TRACE_ABOVE(pCall->pOwn, 0, "[%6d] - %s", pCall->iPid, pS->szMsg);
    }
    TRACE_ABOVE(pCall->pOwn, 1, "[%6d] - reset", pCall->iPid);
    pS->hSema = 0;
    return 1;
}

// Opens the lock file for an inquiry. Returns -1 when hSema is open, otherwise the inquiry's
// result.
static int iOpenForInquiry(const SEMA_CALL* pCall)
{
    SCT_SEMA* pS = pCall->pS;
    TRACE_ABOVE(pCall->pOwn, 1, "[%6d] open semaphore file %s", pCall->iPid, pCall->szPath);
    pS->hSema = iOpenLockFile(pCall->szPath, O_RDWR);
    if (pS->hSema >= 0)
        return -1;
    if (errno == ENOENT) {
        TRACE_ABOVE(pCall->pOwn, 1, "[%6d] semaphore file %s does not exist", pCall->iPid,
                    pCall->szPath);
        return 0;
    }
    v_JOIN(pS->szMsg, sizeof(pS->szMsg), "failed to open semaphore file ", pCall->szPath, "");
    vReport(pCall, KQ_ERROR, pS->szMsg);
    return 1;
}

// The test lock was refused; cpHolder describes the holder when bHolder says so. Returns 1: held,
// or nobody can tell.
static int iReportRefused(const SEMA_CALL* pCall, const char* cpHolder, bool bHolder)
{
    SCT_SEMA* pS = pCall->pS;
    const int iErrno = errno;
    if (iErrno != EACCES && iErrno != EAGAIN) {
        vReport(pCall, KQ_ERROR, "file lock with fcntl");
        snprintf(pS->szMsg, sizeof(pS->szMsg), "error in file lock with fcntl: (%d) %s", iErrno,
                 strerror(iErrno));
    } else if (bHolder) {
        TRACE_ABOVE(pCall->pOwn, 0, "[%6d] %s still locked by concurrent process %s", pCall->iPid,
                    pS->szSema, cpHolder);
    } else {
        v_COPY(pS->szMsg, sizeof(pS->szMsg),
               "semaphore is locked but no process information available");
        vReport(pCall, KQ_WARNING, pS->szMsg);
    }
    return 1;
}

static int iInquire(const SEMA_CALL* pCall)
{
    SCT_SEMA* pS = pCall->pS;
    char szHolder[iHOLDER_SIZE + 1] = "";
    char szMsg[1024];
    v_JOIN(pS->szMsg, sizeof(pS->szMsg), "semaphore ", pS->szSema, " is free");
    int iResult = iOpenForInquiry(pCall);
    if (iResult >= 0)
        return iResult;
    const ssize_t iRead = read(pS->hSema, szHolder, iHOLDER_SIZE);
    if (iRead > 0) {
        v_ONE_LINE(szHolder);
        v_COPY(pS->szMsg, sizeof(pS->szMsg), szHolder);
        TRACE_ABOVE(pCall->pOwn, 1, "[%6d] got (%d): %s", pCall->iPid, (int)iRead, szHolder);
    }
    TRACE_ABOVE(pCall->pOwn, 1, "[%6d] try to inquire lock state requested by %s", pCall->iPid,
                pS->szCaller);
    if (iLockFile(pS->hSema, F_SETLK) != 0) {
        iResult = iReportRefused(pCall, szHolder, iRead > 0);
    } else {
        iResult = 0;
        if (iRead > 0) {
            snprintf(szMsg, sizeof(szMsg), "holding process %s for semaphore %s disappeared",
                     szHolder, pS->szSema);
            vReport(pCall, KQ_WARNING, szMsg);
            vEmptyFile(pCall);
        }
    }
    close(pS->hSema);
    return iResult;
}

static int iServe(char cFunction, const SEMA_CALL* pCall)
{
    switch (cFunction) {
    case '+':
    case 'S':
        return iAcquire(pCall, true);
    case '*':
        return iAcquire(pCall, false);
    case '-':
    case 'R':
        return iRelease(pCall);
    case '?':
        return iInquire(pCall);
    default:
        snprintf(pCall->pS->szMsg, sizeof(pCall->pS->szMsg), "error: invalid argument %c",
                 cFunction);
        return 0;
    }
}

int i_SEMA(char cFunction, SCT_SEMA* pS, str_log strOldLog)
{
    static bool bRevisionWritten;
    str_log strOwn = strOldLog;
    SEMA_CALL strCall = {pS, &strOldLog, &strOwn, getpid(), ""};
    char szTraceFile[64];
    char szFile[sizeof(pS->szSema)]; // the name as that of a file: it leads to no other folder
    v_COPY(szFile, sizeof(szFile), pS->szSema);
    for (char* cp = szFile; (cp = strchr(cp, '/')) != nullptr;)
        *cp = '!';
    if (!bRevisionWritten) {
        TRACE_ABOVE(&strOldLog, 0, "%s", szREVISION);
        bRevisionWritten = true;
    }
    TRACE_ABOVE(&strOldLog, 0, "SEMA %c %s", cFunction, pS->szSema);
    v_JOIN(szTraceFile, sizeof(szTraceFile), "kq_sem_", szFile, ".lgc");
    v_set_log_main(szTraceFile, "KQ_SEM", &strOwn);
    TRACE_ABOVE(&strOwn, 0, "+++ SEMA [%6d] %c %s", strCall.iPid, cFunction, pS->szSema);
    v_JOIN(strCall.szPath, sizeof(strCall.szPath), "gv_rw_work:sem/", szFile, ".sem");
    resolve_path(strCall.szPath, sizeof(strCall.szPath));
    TRACE_ABOVE(&strOwn, 1, "sema file name: '%s'", strCall.szPath);
    const int iResult = iServe(cFunction, &strCall);
    TRACE_ABOVE(&strOwn, 0, "--- SEMA [%6d] %c returns: %d: %s", strCall.iPid, cFunction, iResult,
                pS->szMsg);
    TRACE_ABOVE(&strOldLog, 1, "SEMA %c returns: %d: %s", cFunction, iResult, pS->szMsg);
    return iResult;
}
