// The open devices, and what each driver does with them. (What a program does: files.h.)
#ifndef MVK_SIM_OPEN_FILE_H
#define MVK_SIM_OPEN_FILE_H

#include "device/request.h"
#include "node.h"

#include <stdint.h>
#include <sys/types.h>

static const size_t uiWRITE_MAX = 1 << 16; // bytes of a request, or written at once

static const int iSMALL_MAX = 1 << 16; // bytes of an answer that needs no memory of its own

// An open device. Descriptors made by dup share it.
struct OPEN_FILE {
    int iShares; // 0: free
    int iDevice;
    NODE strNode;
    DEVICE_NUMBER strNumber;
    char szPath[32];
    // of a disk
    int64_t i64Offset;
    // of a generic device: the request that waits for its read, if any
    int64_t i64Ready; // when the device is done
    int iTimeout;
    int iOpcode;
    int iReplyLen;
    int iPackId;
    int iStatus;
    int iInLen;
    unsigned char cSense[iSENSE_LENGTH];
    bool bPending;
    unsigned char cSmall[iSMALL_MAX]; // the data of an answer, or
    unsigned char* cpLarge;           // of a longer one
};

// generic.cpp: a request and its answer. All return what the system call returns, or a negative
// error number.
ssize_t iGenericWrite(OPEN_FILE* p, const unsigned char* cpBuf, size_t uiCount);
ssize_t iGenericRead(OPEN_FILE* p, unsigned char* cpBuf, size_t uiCount);
int iGenericControl(OPEN_FILE* p, unsigned long uiRequest, void* vpArg);

// storage.cpp: data of a tape or a disk
ssize_t iStorageWrite(OPEN_FILE* p, const unsigned char* cpBuf, size_t uiCount);
ssize_t iStorageRead(OPEN_FILE* p, unsigned char* cpBuf, size_t uiCount);
// The last descriptor is closed.
void vStorageClose(const OPEN_FILE* p);

// Bytes in hexadecimal, those beyond uiWRITE_MAX left out; "-" for none.
const char* cpHex(const unsigned char* cp, size_t uiLen, char* szOut);

#endif
