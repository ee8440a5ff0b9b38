// The generic driver's older interface: a request is the bytes of one write (a header of 36 bytes,
// the command, and data only if it was written too), its answer those of one read. Lengths, errors
// and header fields are those of the kernel's sg driver, unless a scenario orders otherwise.
#include "device/commands.h"
#include "open_file.h"
#include "world/log.h"
#include "world/scenario.h"
#include "world/state.h"

#include <errno.h>
#include <scsi/sg.h>
#include <string.h>
#include <sys/mman.h>
#include <time.h>

static const unsigned long uiSET_TIMEOUT = 0x2201;
static const unsigned long uiGET_SCSI_ID = 0x2276;
static const size_t uiHEADER = sizeof(struct sg_header); // of a request and of a reply

// What the scenario orders instead of what the device would do. Returns whether it orders
// something.
static bool bOrdered(const OPEN_FILE* p, REQUEST* pReq)
{
    const RULE* pReply = pRule(ACTION_REPLY, pReq->cpCDB[0], p->szPath);
    const RULE* pStatus = pRule(ACTION_STATUS, pReq->cpCDB[0], p->szPath);
    if (pReply != nullptr) {
        pReq->iInLen = pReply->iLen < pReq->iInMax ? pReply->iLen : pReq->iInMax;
        memcpy(pReq->cpIn, pReply->cpData, (size_t)pReq->iInLen);
    }
    if (pStatus != nullptr) {
        pReq->iStatus = pStatus->iValue;
        memcpy(pReq->cSense, pStatus->cpData, (size_t)pStatus->iLen);
    }
    return pReply != nullptr || pStatus != nullptr;
}

// Keeps the data of an answer until it is read: what is large in memory of its own.
static void vKeepData(OPEN_FILE* p, const unsigned char* cpData, int iLen)
{
    p->iInLen = iLen;
    if (iLen > iSMALL_MAX && p->cpLarge == nullptr) {
        void* vp = mmap(nullptr, (size_t)iDATA_IN_MAX, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (vp == MAP_FAILED)
            vFatal("no memory for an answer of %d bytes", iLen);
        p->cpLarge = (unsigned char*)vp;
    }
    memcpy(iLen > iSMALL_MAX ? p->cpLarge : p->cSmall, cpData, (size_t)iLen);
}

// Lets the device carry out a command, or takes its answer from the scenario.
static void vExecute(OPEN_FILE* p, const unsigned char* cpCDB, size_t uiCDBLen, size_t uiOutLen)
{
    static unsigned char cData[iDATA_IN_MAX];
    int iRoom = p->iReplyLen > (int)uiHEADER ? p->iReplyLen - (int)uiHEADER : 0;
    int iDelay = 0;
    if (iRoom > iDATA_IN_MAX)
        iRoom = iDATA_IN_MAX;
    REQUEST strReq = {};
    strReq.cpCDB = cpCDB;
    strReq.cpOut = cpCDB + uiCDBLen;
    strReq.iOutLen = (int)uiOutLen;
    strReq.cpIn = cData;
    strReq.iInMax = iRoom;
    strReq.iDevice = p->iDevice;
    const bool bScripted = bOrdered(p, &strReq);
    const RULE* pDelay = pRule(ACTION_DELAY, cpCDB[0], p->szPath);
    if (!bScripted) {
        vLibraryEnter();
        vRunCommand(&strReq);
        iDelay = pDeviceOf(&strReq)->iDelay + strReq.iDelay;
        vLibraryLeave(strReq.bChanged);
    }
    if (pDelay != nullptr)
        iDelay = pDelay->iValue;
    p->i64Ready = i64Now() + (int64_t)iDelay * 1000000;
    p->iOpcode = cpCDB[0];
    p->iStatus = strReq.iStatus;
    vKeepData(p, cData, strReq.iInLen);
    memcpy(p->cSense, strReq.cSense, sizeof(p->cSense));
    p->bPending = true;
}

// Takes a request. Returns the bytes taken or a negative error number.
static ssize_t iSubmit(OPEN_FILE* p, const unsigned char* cp, size_t uiCount)
{
    static const size_t uiSizes[] = {6, 10, 10, 12, 16, 12, 10, 10}; // by the opcode's group
    struct sg_header strHeader;
    if (uiCount < uiHEADER)
        return -EIO;
    memcpy(&strHeader, cp, uiHEADER);
    p->iReplyLen = strHeader.reply_len;
    p->iPackId = strHeader.pack_id;
    if (p->iReplyLen < 0)
        return -EINVAL; // the newer interface
    if (uiCount < uiHEADER + 6)
        return -EIO;
    const unsigned char cOpcode = cp[uiHEADER];
    const RULE* pFail = pRule(ACTION_WRITE, cOpcode, p->szPath);
    if (pFail != nullptr)
        return pFail->iErrno != 0 ? -pFail->iErrno : pFail->iValue;
    if (p->bPending)
        return -EDOM;
    const bool bTwelve = cOpcode >= 0xC0 && strHeader.twelve_byte != 0;
    const size_t uiCDBLen = bTwelve ? 12 : uiSizes[cOpcode >> 5];
    if (uiCount < uiHEADER + uiCDBLen)
        return -EIO;
    if (uiCount > uiWRITE_MAX || p->iReplyLen > gstrLib.iMaxTransfer + (int)uiHEADER)
        return -ENOMEM; // no buffer of this size
    vExecute(p, cp + uiHEADER, uiCDBLen, uiCount - uiHEADER - uiCDBLen);
    return (ssize_t)uiCount;
}

const char* cpHex(const unsigned char* cp, size_t uiLen, char* szOut)
{
    size_t ui = 0;
    for (; ui < uiLen && ui < uiWRITE_MAX; ui++) {
        szOut[2 * ui] = "0123456789abcdef"[cp[ui] >> 4];
        szOut[2 * ui + 1] = "0123456789abcdef"[cp[ui] & 15];
    }
    szOut[2 * ui] = '\0';
    return uiLen != 0 ? szOut : "-";
}

ssize_t iGenericWrite(OPEN_FILE* p, const unsigned char* cpBuf, size_t uiCount)
{
    static char szRest[2 * uiWRITE_MAX + 1];
    char szHeader[2 * uiHEADER + 1];
    const int64_t i64At = i64Now();
    const size_t uiFirst = uiCount < uiHEADER ? uiCount : uiHEADER;
    p->iReplyLen = p->bPending ? p->iReplyLen : 0;
    const ssize_t iResult = iSubmit(p, cpBuf, uiCount);
    vLog(i64At, "write", p->szPath, "%d %d %s %s %s", p->iTimeout, p->iReplyLen, cpResult(iResult),
         cpHex(cpBuf, uiFirst, szHeader), cpHex(cpBuf + uiFirst, uiCount - uiFirst, szRest));
    return iResult;
}

static void vWaitUntil(int64_t i64When)
{
    const struct timespec strWhen = {(time_t)(i64When / 1000000000), (long)(i64When % 1000000000)};
    while (i64Now() < i64When &&
           clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &strWhen, nullptr) == EINTR) {
    }
}

// The reply header as the driver fills it: the length asked twice, the status bits, and sense data
// after CHECK CONDITION.
static void vReplyHeader(const OPEN_FILE* p, unsigned char* cpOut)
{
    const RULE* pResult = pRule(ACTION_RESULT, p->iOpcode, p->szPath);
    struct sg_header strHeader = {};
    strHeader.pack_len = p->iReplyLen;
    strHeader.reply_len = p->iReplyLen;
    strHeader.pack_id = p->iPackId;
    strHeader.result = pResult != nullptr ? pResult->iValue : 0;
    strHeader.target_status = (unsigned)p->iStatus >> 1 & 31;
    if ((p->iStatus & STATUS_CHECK_CONDITION) != 0) {
        strHeader.driver_status = 8; // sense data is there
        memcpy(strHeader.sense_buffer, p->cSense, sizeof(strHeader.sense_buffer));
    }
    memcpy(cpOut, &strHeader, uiHEADER);
}

// Brings the answer: the length that was asked for, whatever the device sent.
static ssize_t iCollect(OPEN_FILE* p, unsigned char* cpBuf, size_t uiCount)
{
    if (!p->bPending)
        return -EAGAIN;
    const RULE* pFail = pRule(ACTION_READ, p->iOpcode, p->szPath);
    vWaitUntil(p->i64Ready);
    p->bPending = false;
    if (pFail != nullptr && pFail->iErrno != 0)
        return -pFail->iErrno;
    if (uiCount < uiHEADER)
        return 0;
    vReplyHeader(p, cpBuf);
    const size_t uiReply = (size_t)(pFail != nullptr ? pFail->iValue : p->iReplyLen);
    if (uiCount > uiReply)
        uiCount = uiReply;
    if (uiCount > uiHEADER) {
        const size_t uiData = uiCount - uiHEADER;
        const size_t uiHave = (size_t)p->iInLen;
        memset(cpBuf + uiHEADER, 0, uiData);
        memcpy(cpBuf + uiHEADER, p->iInLen > iSMALL_MAX ? p->cpLarge : p->cSmall,
               uiHave < uiData ? uiHave : uiData);
    }
    return (ssize_t)uiCount;
}

ssize_t iGenericRead(OPEN_FILE* p, unsigned char* cpBuf, size_t uiCount)
{
    const ssize_t iResult = iCollect(p, cpBuf, uiCount);
    vLog(i64Now(), "read", p->szPath, "%zu %s %02x", uiCount, cpResult(iResult),
         (unsigned)p->iStatus);
    return iResult;
}

static int iSetTimeout(OPEN_FILE* p, int iValue)
{
    const RULE* pFail = pRule(ACTION_TIMEOUT, -1, p->szPath);
    int iResult = iValue < 0 ? -EIO : 0;
    if (pFail != nullptr)
        iResult = -pFail->iErrno;
    if (iResult == 0)
        p->iTimeout = iValue;
    vLog(i64Now(), "timeout", p->szPath, "%d %s", iValue, cpResult(iResult));
    return iResult;
}

// The address and the type, as the driver lays them out: host, channel, target, LUN, type, each an
// int; then two shorts of queue lengths and eight bytes unused.
static int iReportIdentity(const OPEN_FILE* p, unsigned char* cpOut)
{
    vLibraryEnter();
    const DEVICE* pDev = &gstrLib.strDevices[p->iDevice];
    const ADDRESS* pAddress = &pDev->strAddress;
    const int iFields[8] = {pAddress->iHost, pAddress->iChannel, pAddress->iTarget, pAddress->iLun,
                            (int)pDev->eType};
    memcpy(cpOut, iFields, sizeof(iFields));
    vLibraryLeave(false);
    return 0;
}

int iGenericControl(OPEN_FILE* p, unsigned long uiRequest, void* vpArg)
{
    if (uiRequest == uiSET_TIMEOUT)
        return iSetTimeout(p, *(const int*)vpArg);
    if (uiRequest == uiGET_SCSI_ID)
        return iReportIdentity(p, (unsigned char*)vpArg);
    return -ENOTTY;
}
