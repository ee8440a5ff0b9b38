// The table of open devices. What is done with one goes to the driver of its node.
#include "files.h"

#include "open_file.h"
#include "world/log.h"
#include "world/scenario.h"
#include "world/state.h"

#include <errno.h>
#include <string.h>

static const int iFILE_MAX = 32;
static const int iTIMEOUT_DEFAULT = 60000;
static const unsigned long uiGET_IDLUN = 0x5382;

static OPEN_FILE gstrFiles[iFILE_MAX];

int iFileNew(const char* cpPath, const NODE* pNode, const DEVICE_NUMBER* pNumber, int iDevice)
{
    int iFile = 0;
    while (iFile < iFILE_MAX && gstrFiles[iFile].iShares != 0)
        iFile++;
    if (iFile == iFILE_MAX)
        return -1;
    OPEN_FILE* p = &gstrFiles[iFile];
    p->iShares = 1;
    p->iDevice = iDevice;
    p->strNode = *pNode;
    p->strNumber = *pNumber;
    p->i64Offset = 0;
    p->iTimeout = iTIMEOUT_DEFAULT;
    p->bPending = false;
    memset(p->szPath, 0, sizeof(p->szPath));
    memcpy(p->szPath, cpPath, strnlen(cpPath, sizeof(p->szPath) - 1));
    return iFile;
}

void vFileShare(int iFile)
{
    gstrFiles[iFile].iShares++;
}

void vFileClose(int iFile, int iFd)
{
    OPEN_FILE* p = &gstrFiles[iFile];
    if (--p->iShares == 0 && p->strNode.eDriver == DRIVER_TAPE)
        vStorageClose(p);
    vLog(i64Now(), "close", p->szPath, "%d", iFd);
}

DEVICE_NUMBER strFileNumber(int iFile)
{
    return gstrFiles[iFile].strNumber;
}

ssize_t iFileWrite(int iFile, const unsigned char* cpBuf, size_t uiCount)
{
    OPEN_FILE* p = &gstrFiles[iFile];
    return p->strNode.eDriver == DRIVER_GENERIC ? iGenericWrite(p, cpBuf, uiCount)
                                                : iStorageWrite(p, cpBuf, uiCount);
}

ssize_t iFileRead(int iFile, unsigned char* cpBuf, size_t uiCount)
{
    OPEN_FILE* p = &gstrFiles[iFile];
    return p->strNode.eDriver == DRIVER_GENERIC ? iGenericRead(p, cpBuf, uiCount)
                                                : iStorageRead(p, cpBuf, uiCount);
}

// The low 8 bits of target, LUN, channel and host in one word, as the kernel packs them, and the
// host adapter's own number, 0.
static int iReportAddress(const OPEN_FILE* p, unsigned* uip)
{
    const RULE* pFail = pRule(ACTION_IDLUN, -1, p->szPath);
    if (pFail != nullptr)
        return -pFail->iErrno;
    vLibraryEnter();
    const ADDRESS* pAddress =
        pAddressOf(&gstrLib.strDevices[p->iDevice], p->strNode.eDriver == DRIVER_TAPE);
    uip[0] = ((unsigned)pAddress->iTarget & 255) | ((unsigned)pAddress->iLun & 255) << 8 |
             ((unsigned)pAddress->iChannel & 255) << 16 | (unsigned)pAddress->iHost << 24;
    uip[1] = 0;
    vLibraryLeave(false);
    return 0;
}

int iFileControl(int iFile, unsigned long uiRequest, void* vpArg)
{
    OPEN_FILE* p = &gstrFiles[iFile];
    if (uiRequest == uiGET_IDLUN && vpArg != nullptr)
        return iReportAddress(p, (unsigned*)vpArg);
    if (p->strNode.eDriver == DRIVER_GENERIC && vpArg != nullptr)
        return iGenericControl(p, uiRequest, vpArg);
    return -ENOTTY;
}
