// What a tape drive does with the cartridge that stands in it. Layouts are those of SSC-3.
#include "commands.h"
#include "world/media.h"

CARTRIDGE* pSeated(REQUEST* pReq)
{
    CARTRIDGE* pCart = pDriveCartridge(pDeviceOf(pReq));
    if (pCart == nullptr)
        vCheck(pReq, SENSE_NOT_READY, 0x3A00); // medium not present
    return pCart;
}

bool bDriveReady(REQUEST* pReq)
{
    const CARTRIDGE* pCart = pSeated(pReq);
    if (pCart == nullptr)
        return false;
    if (!pDeviceOf(pReq)->bLoaded)
        vCheck(pReq, SENSE_NOT_READY, 0x0402); // initializing command required
    else if (bDriveLoading(pDeviceOf(pReq)))
        vCheck(pReq, SENSE_NOT_READY, 0x0401); // in process of becoming ready
    else if (pCart->eMedium == MEDIUM_CLEANING)
        vCheck(pReq, SENSE_NOT_READY, 0x3003); // cleaning cartridge installed
    return pReq->iStatus == STATUS_GOOD;
}

int iDriveStatusByte(const DEVICE* pDev)
{
    if (pDev->iStatusByte >= 0)
        return pDev->iStatusByte;
    return 0x80 | (pDev->bLoaded ? 0 : 2) | (pDev->bCleaning ? 1 : 0);
}

// Time in units of 10 ms, which lasts a machine for eight months.
static int iHundredths()
{
    return (int)(i64Now() / 10000000);
}

bool bDriveLoading(const DEVICE* pDev)
{
    const int iLeft = pDev->iReadyAt - iHundredths();
    return pDev->iReadyAt >= 0 && iLeft > 0 && iLeft <= pDev->iLoadTime / 10; // not of another boot
}

void vDriveLoad(DEVICE* pDev)
{
    if (!pDev->bLoaded) {
        pDev->iReadyAt = pDev->iLoadTime > 0 ? iHundredths() + pDev->iLoadTime / 10 : -1;
        pDev->iAttention = gstrLib.bLoadAttention ? 0x2800 : pDev->iAttention; // another medium
    }
    pDev->bLoaded = true;
    pDev->iPosition = 0;
    if (pDriveCartridge(pDev)->eMedium == MEDIUM_CLEANING)
        pDev->bCleaning = false;
}

// LOAD UNLOAD: an unloaded cartridge stays in the drive's mouth until the robot takes it. LOAD ends
// when the drive is ready, unless it is told to end at once.
void vLoadUnload(REQUEST* pReq)
{
    DEVICE* pDev = pDeviceOf(pReq);
    if (pSeated(pReq) == nullptr)
        return;
    if ((pReq->cpCDB[4] & 1) != 0) {
        pReq->iDelay = pDev->bLoaded || (pReq->cpCDB[1] & 1) != 0 ? 0 : pDev->iLoadTime;
        vDriveLoad(pDev);
    } else if (pDev->bPrevent) {
        vCheck(pReq, SENSE_ILLEGAL_REQUEST, CODE_REMOVAL_PREVENTED);
    } else {
        pDev->bLoaded = false;
    }
    pReq->bChanged = pReq->iStatus == STATUS_GOOD;
}

// PREVENT ALLOW MEDIUM REMOVAL.
void vPreventAllow(REQUEST* pReq)
{
    pDeviceOf(pReq)->bPrevent = (pReq->cpCDB[4] & 1) != 0;
    pReq->bChanged = true;
}

void vRewind(REQUEST* pReq)
{
    if (!bDriveReady(pReq))
        return;
    pDeviceOf(pReq)->iPosition = 0;
    pReq->bChanged = true;
}

// ERASE from where the tape stands, so behind the label block it leaves the label.
void vErase(REQUEST* pReq)
{
    if (!bDriveReady(pReq))
        return;
    const DEVICE* pDev = pDeviceOf(pReq);
    CARTRIDGE* pCart = pDriveCartridge(pDev);
    if (pCart->bProtected) {
        vCheck(pReq, SENSE_DATA_PROTECT, 0x2700); // write protected
    } else if (pCart->eMedium == MEDIUM_WORM) {
        vCheck(pReq, SENSE_DATA_PROTECT, 0x300C); // overwrite attempted on a write-once medium
    } else {
        vDropRecords(MEDIA_CARTRIDGE, (int)(pCart - gstrLib.strCartridges), pDev->iPosition);
        pCart->bBlank = pCart->bBlank || pDev->iPosition == 0;
        pReq->bChanged = true;
    }
}
