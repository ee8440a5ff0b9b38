// The generic driver's older interface: a request is the bytes of one write (a header of 36 bytes,
// the command, and data only if it was written too), its answer those of one read. Lengths, errors
// and header fields are those of the kernel's sg driver, unless a scenario orders otherwise.
#include "sim.h"

#include <errno.h>
#include <string.h>
#include <time.h>

enum { FILE_MAX = 32, REPLY_MAX = 1 << 24, TIMEOUT_DEFAULT = 60000 };
enum { SET_TIMEOUT = 0x2201, GET_IDLUN = 0x5382 };
static const size_t guiHeader = 36;        // of a request and of a reply
static const size_t guiWriteMax = 1 << 16; // bytes of a request

// An open device. Descriptors made by dup share it.
struct OPEN_FILE {
    int iShares; // 0: free
    int iKind, iDevice;
    char szPath[32];
    int iTimeout;
    int iPending; // a request waits for its read
    int iOpcode, iReplyLen, iPackId, iStatus, iInLen;
    unsigned char cSense[18];
    int64_t i64Ready; // when the device is done
    unsigned char cIn[DATA_IN_MAX];
};
static OPEN_FILE gFiles[FILE_MAX];

// Notes an open device. Returns its place, -1 when too many are open.
int iFileNew(const char* cpPath, int iKind, int iDevice)
{
    int iFile = 0;
    while (iFile < FILE_MAX && gFiles[iFile].iShares)
        iFile++;
    if (iFile == FILE_MAX)
        return -1;
    OPEN_FILE* p = &gFiles[iFile];
    p->iShares = 1;
    p->iKind = iKind;
    p->iDevice = iDevice;
    p->iTimeout = TIMEOUT_DEFAULT;
    p->iPending = 0;
    memset(p->szPath, 0, sizeof(p->szPath));
    memcpy(p->szPath, cpPath, strnlen(cpPath, sizeof(p->szPath) - 1));
    return iFile;
}

void vFileShare(int iFile)
{
    gFiles[iFile].iShares++;
}

void vFileClose(int iFile, int iFd)
{
    gFiles[iFile].iShares--;
    vLog(i64Now(), "close", gFiles[iFile].szPath, "%d", iFd);
}

// Lets the device carry out a command, or takes its answer from the scenario.
static void vExecute(OPEN_FILE* p, const unsigned char* cpCdb, size_t uiCdbLen, size_t uiOutLen)
{
    int iRoom = p->iReplyLen > (int)guiHeader ? p->iReplyLen - (int)guiHeader : 0, iDelay = 0;
    REQUEST req = {cpCdb, cpCdb + uiCdbLen, (int)uiOutLen, p->cIn, iRoom, 0, 0, {}, p->iDevice, 0};
    const RULE* pReply = pRule(ACT_REPLY, cpCdb[0], p->szPath);
    const RULE* pStatus = pRule(ACT_STATUS, cpCdb[0], p->szPath);
    const RULE* pDelay = pRule(ACT_DELAY, cpCdb[0], p->szPath);
    if (iRoom > DATA_IN_MAX)
        req.iInMax = DATA_IN_MAX;
    if (pReply) {
        req.iInLen = pReply->iLen < req.iInMax ? pReply->iLen : req.iInMax;
        memcpy(p->cIn, pReply->cpData, (size_t)req.iInLen);
    }
    if (pStatus) {
        req.iStatus = pStatus->iValue;
        memcpy(req.cSense, pStatus->cpData, (size_t)pStatus->iLen);
    }
    if (!pReply && !pStatus) {
        vLibraryEnter();
        vRunCommand(&req);
        iDelay = gLib.device[p->iDevice].iDelay;
        vLibraryLeave(req.iChanged);
    }
    p->i64Ready = i64Now() + (int64_t)(pDelay ? pDelay->iValue : iDelay) * 1000000;
    p->iOpcode = cpCdb[0];
    p->iStatus = req.iStatus;
    p->iInLen = req.iInLen;
    memcpy(p->cSense, req.cSense, sizeof(p->cSense));
    p->iPending = 1;
}

// Takes a request. Returns the bytes taken or a negative error number.
static ssize_t iSubmit(OPEN_FILE* p, const unsigned char* cp, size_t uiCount)
{
    static const size_t sizes[] = {6, 10, 10, 12, 16, 12, 10, 10}; // by the opcode's group
    if (p->iKind != NODE_SG || uiCount < guiHeader)
        return -EIO;
    memcpy(&p->iReplyLen, cp + 4, 4);
    memcpy(&p->iPackId, cp + 8, 4);
    if (p->iReplyLen < 0)
        return -EINVAL; // the newer interface
    if (uiCount < guiHeader + 6)
        return -EIO;
    const RULE* pFail = pRule(ACT_WRITE, cp[guiHeader], p->szPath);
    if (pFail)
        return pFail->iErrno ? -pFail->iErrno : pFail->iValue;
    if (p->iPending)
        return -EDOM;
    size_t uiCdbLen = cp[guiHeader] >= 0xC0 && (cp[16] & 1) ? 12 : sizes[cp[guiHeader] >> 5];
    if (uiCount < guiHeader + uiCdbLen)
        return -EIO;
    if (uiCount > guiWriteMax || p->iReplyLen > REPLY_MAX)
        return -ENOMEM;
    vExecute(p, cp + guiHeader, uiCdbLen, uiCount - guiHeader - uiCdbLen);
    return (ssize_t)uiCount;
}

// Bytes in hexadecimal, those beyond guiWriteMax left out.
static const char* cpHex(const unsigned char* cp, size_t uiLen, char* szOut)
{
    size_t ui = 0;
    for (; ui < uiLen && ui < guiWriteMax; ui++) {
        szOut[2 * ui] = "0123456789abcdef"[cp[ui] >> 4];
        szOut[2 * ui + 1] = "0123456789abcdef"[cp[ui] & 15];
    }
    szOut[2 * ui] = 0;
    return uiLen ? szOut : "-";
}

ssize_t iFileWrite(int iFile, const unsigned char* cpBuf, size_t uiCount)
{
    static char szRest[2 * guiWriteMax + 1];
    char szHeader[2 * guiHeader + 1];
    OPEN_FILE* p = &gFiles[iFile];
    int64_t i64At = i64Now();
    size_t uiHeader = uiCount < guiHeader ? uiCount : guiHeader;
    p->iReplyLen = p->iPending ? p->iReplyLen : 0;
    ssize_t iResult = iSubmit(p, cpBuf, uiCount);
    vLog(i64At, "write", p->szPath, "%d %d %s %s %s", p->iTimeout, p->iReplyLen, cpResult(iResult),
         cpHex(cpBuf, uiHeader, szHeader), cpHex(cpBuf + uiHeader, uiCount - uiHeader, szRest));
    return iResult;
}

static void vWaitUntil(int64_t i64When)
{
    struct timespec when = {i64When / 1000000000, i64When % 1000000000};
    while (i64Now() < i64When &&
           clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &when, nullptr) == EINTR) {
    }
}

// The reply header as the driver fills it: the length asked twice, the status bits, and sense data
// after CHECK CONDITION.
static void vReplyHeader(const OPEN_FILE* p, unsigned char* cpOut)
{
    const RULE* pResult = pRule(ACT_RESULT, p->iOpcode, p->szPath);
    unsigned uiBits = (unsigned)p->iStatus & 0x3E;
    memset(cpOut, 0, guiHeader);
    memcpy(cpOut, &p->iReplyLen, 4);
    memcpy(cpOut + 4, &p->iReplyLen, 4);
    memcpy(cpOut + 8, &p->iPackId, 4);
    if (pResult)
        memcpy(cpOut + 12, &pResult->iValue, 4);
    if (p->iStatus & 2) {
        uiBits |= 8 << 14; // driver status: sense data is there
        memcpy(cpOut + 20, p->cSense, 16);
    }
    memcpy(cpOut + 16, &uiBits, 4);
}

// Brings the answer: the length that was asked for, whatever the device sent.
static ssize_t iCollect(OPEN_FILE* p, unsigned char* cpBuf, size_t uiCount)
{
    if (p->iKind != NODE_SG)
        return -EIO;
    if (!p->iPending)
        return -EAGAIN;
    const RULE* pFail = pRule(ACT_READ, p->iOpcode, p->szPath);
    vWaitUntil(p->i64Ready);
    p->iPending = 0;
    if (pFail && pFail->iErrno)
        return -pFail->iErrno;
    if (uiCount < guiHeader)
        return 0;
    vReplyHeader(p, cpBuf);
    if (pFail && uiCount > (size_t)pFail->iValue)
        uiCount = (size_t)pFail->iValue;
    if (!pFail && uiCount > (size_t)p->iReplyLen)
        uiCount = (size_t)p->iReplyLen;
    if (uiCount > guiHeader) {
        size_t uiData = uiCount - guiHeader, uiHave = (size_t)p->iInLen;
        memset(cpBuf + guiHeader, 0, uiData);
        memcpy(cpBuf + guiHeader, p->cIn, uiHave < uiData ? uiHave : uiData);
    }
    return (ssize_t)uiCount;
}

ssize_t iFileRead(int iFile, unsigned char* cpBuf, size_t uiCount)
{
    OPEN_FILE* p = &gFiles[iFile];
    ssize_t iResult = iCollect(p, cpBuf, uiCount);
    vLog(i64Now(), "read", p->szPath, "%zu %s %02x", uiCount, cpResult(iResult),
         (unsigned)p->iStatus);
    return iResult;
}

// Host, channel, target and LUN in the kernel's packing, and the host adapter's own number, 0.
static int iReportAddress(const OPEN_FILE* p, unsigned* uip)
{
    const RULE* pFail = pRule(ACT_IDLUN, -1, p->szPath);
    if (pFail)
        return -pFail->iErrno;
    vLibraryEnter();
    const DEVICE* pDev = &gLib.device[p->iDevice];
    const int* ip = ipNodeAddress(pDev, p->iKind == NODE_TAPE);
    uip[0] = (ip[2] & 255) | (ip[3] & 255) << 8 | (ip[1] & 255) << 16 | (unsigned)ip[0] << 24;
    uip[1] = 0;
    vLibraryLeave(0);
    return 0;
}

static int iSetTimeout(OPEN_FILE* p, int iValue)
{
    const RULE* pFail = pRule(ACT_TIMEOUT, -1, p->szPath);
    int iResult = pFail ? -pFail->iErrno : iValue < 0 ? -EIO : 0;
    if (iResult == 0)
        p->iTimeout = iValue;
    vLog(i64Now(), "timeout", p->szPath, "%d %s", iValue, cpResult(iResult));
    return iResult;
}

// The requests of ioctl. Returns 0 or a negative error number.
int iFileControl(int iFile, unsigned long uiRequest, void* vpArg)
{
    OPEN_FILE* p = &gFiles[iFile];
    if (uiRequest == GET_IDLUN && vpArg)
        return iReportAddress(p, (unsigned*)vpArg);
    if (uiRequest == SET_TIMEOUT && p->iKind == NODE_SG && vpArg)
        return iSetTimeout(p, *(const int*)vpArg);
    return -ENOTTY;
}
