// What the drivers of tapes and disks do with data: a write to a tape node is a block at the place
// where the tape stands, and the end of what was behind it; one to a disk goes to its bytes.
#include "device/commands.h"
#include "open_file.h"
#include "world/keys.h"
#include "world/log.h"
#include "world/media.h"
#include "world/state.h"

#include <errno.h>
#include <string.h>

static const int64_t i64DISK_SIZE = 1 << 20;
static const int64_t i64PARTITION_AT = 4096; // where the partition of a disk begins

// The cartridge that a drive can read and write, null for none.
static CARTRIDGE* pTapeOf(const DEVICE* pDev)
{
    CARTRIDGE* pCart = pDev->bLoaded && !bDriveLoading(pDev) ? pDriveCartridge(pDev) : nullptr;
    return pCart != nullptr && pCart->eMedium != MEDIUM_CLEANING ? pCart : nullptr;
}

// Writes blocks of iSize bytes.
static ssize_t iWriteBlocks(DEVICE* pDev, int iCartridge, const unsigned char* cp, size_t uiCount,
                            size_t uiSize)
{
    vDropRecords(MEDIA_CARTRIDGE, iCartridge, pDev->iPosition);
    for (size_t uiAt = 0; uiAt < uiCount; uiAt += uiSize) {
        if (!bAddRecord(MEDIA_CARTRIDGE, iCartridge, pDev->iPosition, cp + uiAt, (int)uiSize))
            return -ENOSPC;
        pDev->iPosition++;
    }
    return (ssize_t)uiCount;
}

static ssize_t iWriteTape(DEVICE* pDev, const unsigned char* cp, size_t uiCount)
{
    static unsigned char cOld[iBLOCK_MAX + 1];
    const CARTRIDGE* pCart = pTapeOf(pDev);
    const size_t uiBlock = pDev->iBlockLength != 0 ? (size_t)pDev->iBlockLength : uiCount;
    if (pCart == nullptr)
        return -EIO;
    if (pCart->bProtected)
        return -EACCES;
    if (uiCount == 0)
        return 0;
    if (uiCount % uiBlock != 0 || uiBlock > (size_t)iBLOCK_MAX)
        return -EINVAL;
    if (pCart->eMedium == MEDIUM_WORM && iTapeBlock(pCart, pDev->iPosition, cOld) > 0)
        return -EIO;
    return iWriteBlocks(pDev, (int)(pCart - gstrLib.strCartridges), cp, uiCount, uiBlock);
}

static ssize_t iReadTape(DEVICE* pDev, unsigned char* cp, size_t uiCount)
{
    static unsigned char cBlock[iBLOCK_MAX + 1];
    const CARTRIDGE* pCart = pTapeOf(pDev);
    if (pCart == nullptr)
        return -EIO;
    const int iLen = iTapeBlock(pCart, pDev->iPosition, cBlock);
    if (iLen <= 0)
        return 0;
    pDev->iPosition++;
    if ((size_t)iLen > uiCount)
        return -ENOMEM;
    memcpy(cp, cBlock, (size_t)iLen);
    return iLen;
}

// The bytes of a disk that a transfer at an offset reaches, at most uiCount.
static int iReach(int64_t i64At, size_t uiCount)
{
    const int64_t i64Left = i64At < i64DISK_SIZE ? i64DISK_SIZE - i64At : 0;
    return uiCount < (size_t)i64Left ? (int)uiCount : (int)i64Left;
}

static ssize_t iWriteDisk(const OPEN_FILE* p, int64_t i64At, const unsigned char* cp,
                          size_t uiCount)
{
    const int iLen = iReach(i64At, uiCount);
    if (iLen == 0 && uiCount != 0)
        return -ENOSPC;
    return bAddRecord(MEDIA_DISK, p->iDevice, (int)i64At, cp, iLen) ? iLen : -ENOSPC;
}

// A disk is all zero where nothing was written.
static ssize_t iReadDisk(const OPEN_FILE* p, int64_t i64At, unsigned char* cp, size_t uiCount)
{
    const int iLen = iReach(i64At, uiCount);
    const int iFirst = (int)i64At;
    memset(cp, 0, (size_t)iLen);
    const RECORD* pRecord = nullptr;
    while ((pRecord = pNextRecord(MEDIA_DISK, p->iDevice, pRecord)) != nullptr) {
        const int iFrom = pRecord->iAt > iFirst ? pRecord->iAt : iFirst;
        const int iEnd = pRecord->iAt + pRecord->iLen;
        const int iTo = iEnd < iFirst + iLen ? iEnd : iFirst + iLen;
        if (iFrom < iTo)
            memcpy(cp + (iFrom - iFirst), pRecord->cp + (iFrom - pRecord->iAt),
                   (size_t)(iTo - iFrom));
    }
    return iLen;
}

static int64_t i64DiskOffset(const OPEN_FILE* p)
{
    return p->i64Offset + (bPartition(&p->strNode) ? i64PARTITION_AT : 0);
}

ssize_t iStorageWrite(OPEN_FILE* p, const unsigned char* cpBuf, size_t uiCount)
{
    static char szData[2 * uiWRITE_MAX + 1];
    const int64_t i64At = i64Now();
    ssize_t iResult = -EINVAL;
    vLibraryEnter();
    if (p->strNode.eDriver == DRIVER_TAPE)
        iResult = iWriteTape(&gstrLib.strDevices[p->iDevice], cpBuf, uiCount);
    else if (p->strNode.eDriver == DRIVER_DISK)
        iResult = iWriteDisk(p, i64DiskOffset(p), cpBuf, uiCount);
    vLibraryLeave(iResult > 0);
    p->i64Offset += iResult > 0 ? iResult : 0;
    vLog(i64At, "write", p->szPath, "0 0 %s - %s", cpResult(iResult),
         cpHex(cpBuf, uiCount, szData));
    return iResult;
}

ssize_t iStorageRead(OPEN_FILE* p, unsigned char* cpBuf, size_t uiCount)
{
    ssize_t iResult = -EINVAL;
    vLibraryEnter();
    if (p->strNode.eDriver == DRIVER_TAPE)
        iResult = iReadTape(&gstrLib.strDevices[p->iDevice], cpBuf, uiCount);
    else if (p->strNode.eDriver == DRIVER_DISK)
        iResult = iReadDisk(p, i64DiskOffset(p), cpBuf, uiCount);
    vLibraryLeave(p->strNode.eDriver == DRIVER_TAPE);
    p->i64Offset += iResult > 0 ? iResult : 0;
    vLog(i64Now(), "read", p->szPath, "%zu %s 00", uiCount, cpResult(iResult));
    return iResult;
}

void vStorageClose(const OPEN_FILE* p)
{
    if (p->strNode.iPart >= iNO_REWIND)
        return;
    vLibraryEnter();
    DEVICE* pDev = &gstrLib.strDevices[p->iDevice];
    const bool bWound = pDev->iPosition != 0;
    pDev->iPosition = 0;
    vLibraryLeave(bWound);
}
