// The second executor, complete and called by no operation, and its pieces.
#pragma once

// Which way the data of a command goes.
enum DIRECTION { Input = 0, Output = 1 };

// Opens DeviceName and sets a timeout of 30000. Returns the descriptor, or -1 with a line on
// standard output.
int SCSI_OpenDevice(const char* DeviceName);

// Sends one command and, for Input, fills DataBuffer (DataBufferLength bytes) with the answer.
// RequestSense receives 16 sense bytes when the request could not be written.
// Returns 0, or -1; a bad answer is described on standard error.
int SCSI_ExecuteCommand(int DeviceFD, DIRECTION Direction, const unsigned char* CDB, int CDB_Length,
                        unsigned char* DataBuffer, int DataBufferLength,
                        unsigned char* RequestSense);

// Byte-by-byte zeroing and copying of iLength bytes.
void slow_bzero(unsigned char* cpBuffer, int iLength);
void slow_memcopy(const unsigned char* cpSource, unsigned char* cpTarget, int iLength);

// Sends one command, like iLinuxScsiCmd (scsi/executor.h) and with the same arguments; cpSense
// receives what RequestSense did. What selection refuses is opened all the same. Returns 0,
// DEVICE_OPEN_ERROR or IOCTL_ERROR, and prints what the functions above do.
int iXLinuxScsiCmd(const unsigned char* cpCDB, int iCDBSize, unsigned char* cpBuf, int iBufSize,
                   int iIOFlag, unsigned char* cpSense, int iSenseSize, int iReport);
