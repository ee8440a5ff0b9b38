// The one road to a device: sends a command through the generic SCSI driver and reads the answer.
#include "scsi/executor.h"

#include "device/selection.h"
#include "scsi/bytes.h"
#include "scsi/sense.h"

#include "cm_common.h"

#include <errno.h>
#include <scsi/sg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

static const int iHEADER_SIZE = sizeof(struct sg_header);

// What is looked at in the header of an answer: SAM's status as the driver shifts it, SPC's sense
// key and additional sense code (NOT READY TO READY CHANGE, MEDIUM MAY HAVE CHANGED).
static const int iCHECK_CONDITION = 0x01;
static const int iUNIT_ATTENTION = 0x06;
static const int iMEDIUM_CHANGED = 0x28;

static const unsigned char cERASE = 0x19;
static const int iMAX_REPEATS = 3;

// Most bytes of data that are traced.
static const int iMAX_DUMP = 32767;
static const int iNO_ATTENTION = -1;

// One command on its way, and where its answer goes.
struct SCSI_REQUEST {
    const unsigned char* cpCDB;
    int iCDBSize;
    unsigned char* cpBuf;
    int iBufSize;
    int iReport;
    bool bQuiet; // what fails is not said
    int iFD;
    unsigned char* szIO;     // header, CDB and a copy of the data, iCDBSize + iBufSize + 36 bytes
    unsigned char* szAnswer; // header and data as read, iBufSize + 36 bytes
};

void* xmalloc(int iSize)
{
    void* pMemory = calloc(iSize > 0 ? (size_t)iSize : 1, 1);
    if (pMemory == nullptr)
        printf("cannot allocate %d bytes of memory\n", iSize);
    return pMemory;
}

// The longest time a command may take, in milliseconds.
static int iTimeoutOf(unsigned char cOpcode)
{
    switch (cOpcode) {
    case 0xA5: // MOVE MEDIUM
    case 0x1B: // LOAD UNLOAD
        return 120000;
    case 0x12: // INQUIRY
        return 2000;
    default:
        return 10000;
    }
}

// The driver takes the number as its own ticks; the devices served here have always been given
// milliseconds.
static void vSetTimeout(const SCSI_REQUEST* pRequest)
{
    int iTimeout_ms = iTimeoutOf(pRequest->cpCDB[0]);
    if (ioctl(pRequest->iFD, SG_SET_TIMEOUT, &iTimeout_ms) < 0 && !pRequest->bQuiet)
        printf("iLinuxScsiCmd() fail to set timeout=%d ms to %s\n", iTimeout_ms, gszDev);
    if (pRequest->iReport == REPORT_DEBUG)
        printf("iLinuxScsiCmd() timeout=%d ms for %s\n", iTimeout_ms, gszDev);
}

// Only calls that fail or fall short are errors here: the device's verdict, in the header that is
// read, is left to the operations, which judge a reply by its data. What the decoder of sense data
// and the caller are given comes from the header as it was sent, where all of that is zero. One
// verdict is acted on: after UNIT ATTENTION the device has not begun, see iAwaitAnswer.

// Writes header and CDB; data behind them is counted in the header but never sent. Returns 0 or
// IOCTL_ERROR.
static int iWriteRequest(const SCSI_REQUEST* pRequest, const struct sg_header* sg_hd)
{
    const int iWriteLength = pRequest->iCDBSize + iHEADER_SIZE;
    errno = 0; // a short write leaves it alone
    const int iTransferBytes = (int)write(pRequest->iFD, pRequest->szIO, (size_t)iWriteLength);
    const int iErrno = errno;
    if (iTransferBytes == iWriteLength)
        return 0;
    if (pRequest->bQuiet)
        return IOCTL_ERROR;
    printf("iLinuxScsiCmd() Error write to %s\n", gszDev);
    printf("iLinuxScsiCmd() iTransferBytes %d, pack_len %d, result %c\n", iTransferBytes,
           sg_hd->pack_len, sg_hd->result);
    printf("iLinuxScsiCmd() errno %d: %s\n", iErrno, strerror(iErrno));
    return IOCTL_ERROR;
}

// Reads the answer; *ipTransferBytes is how much of it arrived, negative for nothing. Returns 0 or
// IOCTL_ERROR.
static int iReadAnswer(const SCSI_REQUEST* pRequest, const struct sg_header* sg_hd,
                       ssize_t* ipTransferBytes)
{
    *ipTransferBytes = read(pRequest->iFD, pRequest->szAnswer, (size_t)sg_hd->reply_len);
    if (*ipTransferBytes == sg_hd->reply_len)
        return 0;
    if (!pRequest->bQuiet)
        printf("iLinuxScsiCmd() Error read from %s\n", gszDev);
    return IOCTL_ERROR;
}

// Gives the caller what arrived of iTransferBytes behind the header.
static void vDeliver(const SCSI_REQUEST* pRequest, ssize_t iTransferBytes)
{
    const ssize_t iData = iTransferBytes - iHEADER_SIZE;
    if (iData > 0)
        memcpy(pRequest->cpBuf, pRequest->szAnswer + iHEADER_SIZE,
               (size_t)(iData < pRequest->iBufSize ? iData : pRequest->iBufSize));
}

// How many bytes of data are traced.
static int iTracedData(const SCSI_REQUEST* pRequest)
{
    return pRequest->iBufSize < iMAX_DUMP ? pRequest->iBufSize : iMAX_DUMP;
}

// Traces every byte of cpBytes that is not zero, behind cpName.
static void vTraceBytes(const char* cpName, const unsigned char* cpBytes, int iSize)
{
    for (int i = 0; i < iSize; i++) {
        if (cpBytes[i] != 0)
            TRACE_ABOVE(&strLog, 1, "%s [%d]%x", cpName, i, cpBytes[i]);
    }
}

static void vTraceExchange(const SCSI_REQUEST* pRequest, const struct sg_header* sg_hd)
{
    TRACE_ABOVE(&strLog, 1, "sg_hd->result=%d", sg_hd->result);
    TRACE_ABOVE(&strLog, 1, "sg_hd->other_flags=%d", (int)sg_hd->other_flags);
    TRACE_ABOVE(&strLog, 1, "sg_hd->pack_len=%d", sg_hd->pack_len);
    TRACE_ABOVE(&strLog, 1, "sg_hd->reply_len=%d", sg_hd->reply_len);
    TRACE_ABOVE(&strLog, 1, "sg_hd->pack_id=%d", sg_hd->pack_id);
    const int iData = iTracedData(pRequest);
    vTraceBytes("cpBuf", pRequest->cpBuf, iData);
    vTraceBytes("szIO", pRequest->szIO, pRequest->iCDBSize + iData + iHEADER_SIZE);
}

// The additional sense code and qualifier, one number, of an answer that says UNIT ATTENTION: the
// device reports what has happened to it, and has not begun. Any other answer gives iNO_ATTENTION.
// Sense data in fixed (70h, with or without the valid bit) or descriptor format (72h): SPC.
static int iAttentionOf(const unsigned char* szAnswer)
{
    struct sg_header sg_hd;
    memcpy(&sg_hd, szAnswer, sizeof(sg_hd));
    const unsigned char* cpSense = sg_hd.sense_buffer;
    const bool bFixed = (cpSense[0] & 0x7F) == 0x70;
    const bool bDescriptor = (cpSense[0] & 0x7F) == 0x72;
    if (sg_hd.target_status != iCHECK_CONDITION || (!bFixed && !bDescriptor))
        return iNO_ATTENTION;
    if ((cpSense[bFixed ? 2 : 1] & 0x0F) != iUNIT_ATTENTION)
        return iNO_ATTENTION;
    return (int)uiGet16(cpSense + (bFixed ? 12 : 2));
}

// Reads the answer to a request that is on its way. After UNIT ATTENTION the request goes out
// again, iMAX_REPEATS times at most; but what destroys data does not reach another medium than the
// one that was there at the last command. Returns 0, IOCTL_ERROR or MODESENSE_ERROR.
static int iAwaitAnswer(const SCSI_REQUEST* pRequest, const struct sg_header* sg_hd)
{
    ssize_t iTransferBytes = 0;
    int iStatus = iReadAnswer(pRequest, sg_hd, &iTransferBytes);
    for (int iRepeat = 1; iStatus == 0; iRepeat++) {
        const int iAttention = iAttentionOf(pRequest->szAnswer);
        if (pRequest->cpCDB[0] == cERASE && iAttention >> 8 == iMEDIUM_CHANGED) {
            fprintf(stderr, "Not erased: the medium may be another one than at the last command. "
                            "Look at it first, then repeat.\n");
            return MODESENSE_ERROR;
        }
        if (iAttention == iNO_ATTENTION || iRepeat > iMAX_REPEATS)
            break;
        TRACE_ABOVE(&strLog, 0, "iLinuxScsiCmd 0x%x: unit attention %02x %02x, sent again",
                    pRequest->cpCDB[0], (unsigned int)iAttention >> 8,
                    (unsigned int)iAttention & 0xFF);
        iTransferBytes = 0;
        iStatus = iWriteRequest(pRequest, sg_hd);
        if (iStatus == 0)
            iStatus = iReadAnswer(pRequest, sg_hd, &iTransferBytes);
    }
    vDeliver(pRequest, iTransferBytes);
    return iStatus;
}

// The exchange on the open device. Returns 0, IOCTL_ERROR or MODESENSE_ERROR.
static int iExchange(const SCSI_REQUEST* pRequest, int iIOFlag, unsigned char* cpSense,
                     int iSenseSize)
{
    struct sg_header sg_hd = {};
    sg_hd.pack_len = pRequest->iCDBSize + iHEADER_SIZE;
    sg_hd.reply_len = pRequest->iBufSize + iHEADER_SIZE;
    memcpy(pRequest->szIO + iHEADER_SIZE, pRequest->cpCDB, (size_t)pRequest->iCDBSize);
    vSetTimeout(pRequest);
    if (iIOFlag != 0) {
        // For the trace alone: none of it is written.
        memcpy(pRequest->szIO + iHEADER_SIZE + pRequest->iCDBSize, pRequest->cpBuf,
               (size_t)iTracedData(pRequest));
        sg_hd.pack_len += pRequest->iBufSize;
    }
    memcpy(pRequest->szIO, &sg_hd, sizeof(sg_hd));
    if (iWriteRequest(pRequest, &sg_hd) != 0)
        return IOCTL_ERROR;
    vScsiSenseData(sg_hd.sense_buffer, pRequest->iReport);
    memset(cpSense, 0, (size_t)iSenseSize);
    if (pRequest->iReport == REPORT_DEBUG) {
        printf("iLinuxScsiCmd() after write op sg_hd->result=%d\n", sg_hd.result);
        printf("iLinuxScsiCmd() gszCurCmd=%s\n", gszCurCmd);
    }
    const int iStatus = iAwaitAnswer(pRequest, &sg_hd);
    if (iStatus == 0 && pRequest->iReport == REPORT_DEBUG)
        vTraceExchange(pRequest, &sg_hd);
    return iStatus;
}

// A command from the look-up of the device to its end. Returns what iLinuxScsiCmd does.
static int iPerform(SCSI_REQUEST* pRequest, int iIOFlag, unsigned char* cpSense, int iSenseSize)
{
    const int iAnswerSize = pRequest->iBufSize + iHEADER_SIZE;
    const int iRequestSize = pRequest->iCDBSize + iAnswerSize;
    TRACE_ABOVE(&strLog, 1, "iLinuxScsiCmd 0x%x", pRequest->cpCDB[0]);
    // The selection is looked up again: nodes may have changed since the last command.
    iLinuxGetID(pRequest->bQuiet ? "linux_proc_scsi_quiet" : "linux_proc_scsi", pRequest->iReport);
    if (gstrDevice.iRefusal != 0)
        return gstrDevice.iRefusal;
    pRequest->iFD = iOpenDevice();
    if (pRequest->iFD < 0) {
        if (!pRequest->bQuiet)
            printf("Could not open %s\n", gszDev);
        return DEVICE_OPEN_ERROR;
    }
    int iStatus = IOCTL_ERROR;
    const int iMemory = iRequestSize + iAnswerSize;
    pRequest->szIO =
        (unsigned char*)(pRequest->bQuiet ? calloc((size_t)iMemory, 1) : xmalloc(iMemory));
    if (pRequest->szIO != nullptr) {
        pRequest->szAnswer = pRequest->szIO + iRequestSize;
        iStatus = iExchange(pRequest, iIOFlag, cpSense, iSenseSize);
        free(pRequest->szIO);
    }
    close(pRequest->iFD);
    return iStatus;
}

int iLinuxScsiCmd(const unsigned char* cpCDB, int iCDBSize, unsigned char* cpBuf, int iBufSize,
                  int iIOFlag, unsigned char* cpSense, int iSenseSize, int iReport)
{
    SCSI_REQUEST strRequest = {cpCDB, iCDBSize, cpBuf,   iBufSize, iReport,
                               false, -1,       nullptr, nullptr};
    return iPerform(&strRequest, iIOFlag, cpSense, iSenseSize);
}

int iSendCommand(const unsigned char* cpCDB, size_t uiCDBSize, unsigned char* cpBuf, int iBufSize,
                 int iReport)
{
    unsigned char cSense[iSENSE_SIZE];
    return iLinuxScsiCmd(cpCDB, (int)uiCDBSize, cpBuf, iBufSize, 1, cSense, sizeof(cSense),
                         iReport);
}

int iTryCommand(const unsigned char* cpCDB, size_t uiCDBSize, unsigned char* cpBuf, int iBufSize,
                int iReport)
{
    unsigned char cSense[iSENSE_SIZE];
    SCSI_REQUEST strRequest = {cpCDB, (int)uiCDBSize, cpBuf,  iBufSize, iReport, true,
                               -1,    nullptr,        nullptr};
    return iPerform(&strRequest, 1, cSense, sizeof(cSense));
}
