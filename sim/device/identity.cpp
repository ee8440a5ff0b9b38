// What every device does: INQUIRY, TEST UNIT READY, REQUEST SENSE. Layouts are those of SPC-3.
#include "commands.h"

#include <string.h>

static const int iINQUIRY_LENGTH = 36;
static const int iSENSE_WITH_STATUS = 19; // the sense data, and the drive's own byte behind it

void vInquiry(REQUEST* pReq)
{
    const DEVICE* pDev = pDeviceOf(pReq);
    unsigned char* cp = pReq->cpIn;
    if ((pReq->cpCDB[1] & 1) != 0 || pReq->cpCDB[2] != 0) {
        vCheck(pReq, SENSE_ILLEGAL_REQUEST, CODE_INVALID_FIELD); // vital product data: none
        return;
    }
    const int iLun = pReq->cpCDB[1] >> 5;
    memset(cp, 0, iINQUIRY_LENGTH);
    cp[0] = (unsigned char)pDev->eType;
    if (iLun != 0 && iLun != pDev->strAddress.iLun)
        cp[0] = 0x7F; // no such logical unit
    cp[1] = pDev->eType == TYPE_TAPE || pDev->eType == TYPE_CHANGER ? 0x80 : 0; // removable medium
    cp[2] = (unsigned char)pDev->iAnsi;
    cp[3] = 2;
    cp[4] = iINQUIRY_LENGTH - 5;
    cp[6] = pDev->iElement >= 0 ? 8 : 0; // stands in a changer
    vPutText(cp + 8, 8, pDev->cpVendor, ' ');
    vPutText(cp + 16, 16, pDev->cpProduct, ' ');
    vPutText(cp + 32, 4, pDev->cpRevision, ' ');
    vAnswer(pReq, iINQUIRY_LENGTH, pReq->cpCDB[4]);
}

void vTestUnitReady(REQUEST* pReq)
{
    if (pDeviceOf(pReq)->eType == TYPE_TAPE)
        bDriveReady(pReq);
}

// The driver has taken the sense data of a failed command with its reply, so what is left to
// report is the state of the drive, and its internal status byte.
void vRequestSense(REQUEST* pReq)
{
    unsigned char* cp = pReq->cpIn;
    DEVICE* pDev = pDeviceOf(pReq);
    vTestUnitReady(pReq);
    if (pDev->iAttention >= 0 && !bDriveLoading(pDev)) {
        vCheck(pReq, SENSE_UNIT_ATTENTION, pDev->iAttention);
        pDev->iAttention = -1;
        pReq->bChanged = true;
    }
    memset(cp, 0, iSENSE_WITH_STATUS);
    cp[0] = 0x70;
    if (pReq->iStatus != STATUS_GOOD)
        memcpy(cp, pReq->cSense, sizeof(pReq->cSense));
    cp[7] = iSENSE_WITH_STATUS - 8;
    cp[18] = (unsigned char)(pDev->eType == TYPE_TAPE ? iDriveStatusByte(pDev) : 0);
    memset(pReq->cSense, 0, sizeof(pReq->cSense));
    pReq->iStatus = STATUS_GOOD;
    vAnswer(pReq, iSENSE_WITH_STATUS, pReq->cpCDB[4]);
}
