// The kernel's listing and the picture for people.
#include "views.h"

#include "world/model.h"

#include <errno.h>
#include <string.h>

// Device types by their SCSI code, as the kernel names them.
static const char* const cpTypeNames[] = {
    "Direct-Access    ", "Sequential-Access", "Printer          ", "Processor        ",
    "WORM             ", "CD-ROM           ", "Scanner          ", "Optical Device   ",
    "Medium Changer   ", "Communications   ", "ASC IT8          ", "ASC IT8          ",
    "RAID             ", "Enclosure        ",
};

bool bExists(const PLACE* pPlace)
{
    switch (pPlace->eKind) {
    case PLACE_LISTING:
        return strcmp(gstrLib.cpListing, "none") != 0;
    case PLACE_PICTURE:
        return true;
    default:
        return bSysfsExists(pPlace);
    }
}

// The file that the description gives as the kernel's listing.
static void vGivenListing(OUT* pOut)
{
    char szPath[1024];
    vInPlaceOf(gcpLibrary, gstrLib.cpListing, szPath, sizeof(szPath));
    pOut->iLen = iReadFile(szPath, pOut->cp, pOut->iMax);
    if (pOut->iLen < 0)
        vFatal("cannot read %s: %s", szPath, strerror(errno));
}

// /proc/scsi/scsi as the kernel writes it.
static void vListing(OUT* pOut)
{
    vAdd(pOut, "Attached devices:\n");
    for (int i = 0; i < gstrLib.iDevices; i++) {
        const DEVICE* pDev = &gstrLib.strDevices[i];
        const ADDRESS* p = &pDev->strAddress;
        vAdd(pOut, "Host: scsi%d Channel: %02d Id: %02d Lun: %02d\n", p->iHost, p->iChannel,
             p->iTarget, p->iLun);
        vAdd(pOut, "  Vendor: ");
        vAddField(pOut, pDev->cpVendor, 8);
        vAdd(pOut, " Model: ");
        vAddField(pOut, pDev->cpProduct, 16);
        vAdd(pOut, " Rev: ");
        vAddField(pOut, pDev->cpRevision, 4);
        vAdd(pOut, "\n  Type:   %s                ANSI  SCSI revision: %02x%s\n",
             cpTypeNames[pDev->eType], (unsigned)(pDev->iLevel - (pDev->iLevel > 1 ? 1 : 0)),
             pDev->iLevel == 2 ? " CCS" : "");
    }
}

static void vPictureElement(OUT* pOut, const ELEMENT* pElement)
{
    static const char* const cpNames[] = {"", "transport", "slot", "port", "drive"};
    static const char* const cpMedia[] = {"", " write-once", " cleaning"};
    const DEVICE* pDrive = pElement->iDrive >= 0 ? &gstrLib.strDevices[pElement->iDrive] : nullptr;
    vAdd(pOut, "  %-9s %5d", cpNames[pElement->eType], pElement->iAddress);
    if (pDrive != nullptr)
        vAdd(pOut, " /dev/sg%d", pDrive->iSg);
    if (pElement->iCartridge >= 0) {
        const CARTRIDGE* pCart = &gstrLib.strCartridges[pElement->iCartridge];
        vAdd(pOut, " %s%s%s%s", pCart->cpBarcode, cpMedia[pCart->eMedium],
             pCart->bProtected ? " protected" : "",
             pDrive != nullptr && pDrive->bLoaded ? " loaded" : "");
    }
    vAdd(pOut, "\n");
}

// The devices, and what lies where.
static void vPicture(OUT* pOut)
{
    for (int i = 0; i < gstrLib.iDevices; i++) {
        const DEVICE* pDev = &gstrLib.strDevices[i];
        const ADDRESS* p = &pDev->strAddress;
        vAdd(pOut, "/dev/sg%d %d:%d:%d:%d %s %s %s", pDev->iSg, p->iHost, p->iChannel, p->iTarget,
             p->iLun, cpTypeNames[pDev->eType], pDev->cpVendor, pDev->cpProduct);
        if (pDev->eType == TYPE_TAPE && pDev->iNode >= 0)
            vAdd(pOut, " /dev/nst%d", pDev->iNode);
        vAdd(pOut, "\n");
        for (int j = 0; j < pDev->iElements; j++)
            vPictureElement(pOut, &gstrLib.strElements[pDev->iFirstElement + j]);
    }
}

void vView(const PLACE* pPlace, OUT* pOut)
{
    if (pPlace->eKind == PLACE_PICTURE)
        vPicture(pOut);
    else if (pPlace->eKind != PLACE_LISTING)
        vSysfsView(pPlace, pOut);
    else if (gstrLib.cpListing[0] != '\0')
        vGivenListing(pOut);
    else
        vListing(pOut);
}
