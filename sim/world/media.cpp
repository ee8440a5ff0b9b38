// The records of all media, as media.h says: a table, and one pool with their bytes in its order.
#include "media.h"

#include <string.h>

static const int iRECORD_MAX = 1024;
static const int iPOOL_MAX = 1 << 20;

static RECORD gstrRecords[iRECORD_MAX];
static int giRecords;
static unsigned char gcPool[iPOOL_MAX];
static int giPool;

void vForgetRecords()
{
    giRecords = 0;
    giPool = 0;
}

bool bAddRecord(MEDIA_OWNER eOwner, int iOwner, int iAt, const unsigned char* cp, int iLen)
{
    if (giRecords == iRECORD_MAX || iLen > iPOOL_MAX - giPool)
        return false;
    gstrRecords[giRecords++] = {eOwner, iOwner, iAt, iLen, gcPool + giPool};
    memcpy(gcPool + giPool, cp, (size_t)iLen);
    giPool += iLen;
    return true;
}

void vDropRecords(MEDIA_OWNER eOwner, int iOwner, int iFrom)
{
    const int iRecords = giRecords;
    vForgetRecords();
    for (int i = 0; i < iRecords; i++) {
        RECORD strRecord = gstrRecords[i];
        if (strRecord.eOwner == eOwner && strRecord.iOwner == iOwner && strRecord.iAt >= iFrom)
            continue;
        memmove(gcPool + giPool, strRecord.cp, (size_t)strRecord.iLen);
        strRecord.cp = gcPool + giPool;
        giPool += strRecord.iLen;
        gstrRecords[giRecords++] = strRecord;
    }
}

const RECORD* pNextRecord(MEDIA_OWNER eOwner, int iOwner, const RECORD* pLast)
{
    for (const RECORD* p = pLast != nullptr ? pLast + 1 : gstrRecords; p < gstrRecords + giRecords;
         p++) {
        if (p->eOwner == eOwner && p->iOwner == iOwner)
            return p;
    }
    return nullptr;
}
