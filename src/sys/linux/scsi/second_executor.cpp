// A second, self-contained executor for the generic SCSI driver. No operation calls it; it is kept
// for devices that need data sent along with a command.
#include "scsi/second_executor.h"

#include "device/selection.h"
#include "scsi/bytes.h"
#include "scsi/executor.h"
#include "scsi/sense.h"

#include "cm_common.h"

#include <errno.h>
#include <fcntl.h>
#include <scsi/sg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

static const int iTIMEOUT = 30000;

// The timeout last set on a device.
static int sg_timeout = iTIMEOUT;

void slow_bzero(unsigned char* cpBuffer, int iLength)
{
    for (int i = 0; i < iLength; i++)
        cpBuffer[i] = 0;
}

void slow_memcopy(const unsigned char* cpSource, unsigned char* cpTarget, int iLength)
{
    for (int i = 0; i < iLength; i++)
        cpTarget[i] = cpSource[i];
}

int SCSI_OpenDevice(const char* DeviceName)
{
    const int DeviceFD = open(DeviceName, O_RDWR);
    if (DeviceFD < 0) {
        printf("cannot open SCSI device '%s' - %s\n", DeviceName, strerror(errno));
        return -1;
    }
    sg_timeout = iTIMEOUT;
    if (ioctl(DeviceFD, SG_SET_TIMEOUT, &sg_timeout) < 0)
        printf("failed to set sg timeout - %s\n", strerror(errno));
    return DeviceFD;
}

// Builds and writes the request. Returns 0, or -1 with the reason in RequestSense.
static int iSendRequest(int DeviceFD, DIRECTION Direction, const unsigned char* CDB, int CDB_Length,
                        const unsigned char* DataBuffer, int DataBufferLength,
                        unsigned char* RequestSense)
{
    struct sg_header Header = {};
    const int iHeader = (int)sizeof(Header);
    const int iData = Direction == Output ? DataBufferLength : 0;
    const int iLength = iHeader + CDB_Length + iData;
    unsigned char* cpRequest = (unsigned char*)xmalloc(iLength);
    if (cpRequest == nullptr)
        return -1;
    Header.pack_len = iLength;
    Header.reply_len = DataBufferLength + iHeader;
    Header.twelve_byte = CDB_Length == 12;
    memcpy(cpRequest, &Header, sizeof(Header));
    slow_memcopy(CDB, cpRequest + iHeader, CDB_Length);
    slow_memcopy(DataBuffer, cpRequest + iHeader + CDB_Length, iData);
    const ssize_t iWritten = write(DeviceFD, cpRequest, (size_t)iLength);
    free(cpRequest);
    if (iWritten == iLength && Header.result == 0)
        return 0;
    slow_memcopy(Header.sense_buffer, RequestSense, sizeof(Header.sense_buffer));
    if (Header.sense_buffer[0] == 0)
        RequestSense[0] = (unsigned char)Header.result;
    return -1;
}

int SCSI_ExecuteCommand(int DeviceFD, DIRECTION Direction, const unsigned char* CDB, int CDB_Length,
                        unsigned char* DataBuffer, int DataBufferLength,
                        unsigned char* RequestSense)
{
    struct sg_header ResultHeader = {};
    const int iHeader = (int)sizeof(ResultHeader);
    const int reply_len = DataBufferLength + iHeader;
    int iResult = -1;
    if (sg_timeout != iTIMEOUT) {
        sg_timeout = iTIMEOUT;
        ioctl(DeviceFD, SG_SET_TIMEOUT, &sg_timeout);
    }
    if (iSendRequest(DeviceFD, Direction, CDB, CDB_Length, DataBuffer, DataBufferLength,
                     RequestSense) != 0)
        return -1;
    unsigned char* cpReply = (unsigned char*)xmalloc(reply_len);
    if (cpReply == nullptr)
        return -1;
    const ssize_t iRead = read(DeviceFD, cpReply, (size_t)reply_len);
    memcpy(&ResultHeader, cpReply, sizeof(ResultHeader));
    if (iRead == reply_len && ResultHeader.result == 0 && ResultHeader.sense_buffer[0] == 0) {
        if (Direction == Input)
            slow_memcopy(cpReply + iHeader, DataBuffer, DataBufferLength);
        iResult = 0;
    } else {
        fprintf(stderr,
                "scsi: result=%d Header->reply_len=%d ResultHeader->result=%d "
                "ResultHeader->sense_buffer[0]=%d\n",
                (int)iRead, reply_len, ResultHeader.result, ResultHeader.sense_buffer[0]);
    }
    free(cpReply);
    return iResult;
}

int iXLinuxScsiCmd(const unsigned char* cpCDB, int iCDBSize, unsigned char* cpBuf, int iBufSize,
                   int iIOFlag, unsigned char* cpSense, int iSenseSize, int iReport)
{
    (void)iIOFlag;
    unsigned char cRequestSense[iSENSE_AREA] = {};
    const DIRECTION Direction = cpCDB[0] == 0xA5 || cpCDB[0] == 0x1B ? Output : Input;
    if (i_DECIMAL(gszID) != 0 || strcmp(gszID, "000") == 0 || strcmp(gszID, "0000") == 0)
        iLinuxGetID("linux_proc_scsi", iReport);
    const int DeviceFD = SCSI_OpenDevice(gszDev);
    if (DeviceFD < 0)
        return DEVICE_OPEN_ERROR;
    const int iResult =
        SCSI_ExecuteCommand(DeviceFD, Direction, cpCDB, iCDBSize, cpBuf, iBufSize, cRequestSense);
    slow_bzero(cpSense, iSenseSize);
    slow_memcopy(cRequestSense, cpSense, iSenseSize < iSENSE_AREA ? iSenseSize : iSENSE_AREA);
    if (iReport == REPORT_DEBUG) {
        printf("debug info after SCSI_ExecuteCommand\n");
        vDumpBytes(cpBuf, iBufSize, DUMP_LINES);
    }
    close(DeviceFD);
    return iResult != 0 ? IOCTL_ERROR : 0;
}
