// The devices as sysfs shows them: two folders with, for each device, the link that holds its
// address and the files that hold its identity.
#include "views.h"
#include "world/model.h"

#include <string.h>

bool bSysfsExists(const PLACE* pPlace, int iDevice)
{
    if (!gstrLib.bSysfs || pPlace->eKind == PLACE_ABSENT)
        return false;
    return pPlace->eKind == PLACE_CLASS || iDevice >= 0;
}

void vAddField(OUT* pOut, const char* cpText, int iLen)
{
    const int iText = (int)strnlen(cpText, (size_t)iLen);
    for (int i = 0; i < iLen; i++)
        vAdd(pOut, "%c", i < iText && cpText[i] >= ' ' && cpText[i] <= '~' ? cpText[i] : ' ');
}

// The content of a device's file.
static void vAddAttribute(OUT* pOut, const DEVICE* pDev, ATTRIBUTE eAttribute)
{
    switch (eAttribute) {
    case ATTRIBUTE_VENDOR:
        vAddField(pOut, pDev->cpVendor, 8);
        break;
    case ATTRIBUTE_MODEL:
        vAddField(pOut, pDev->cpProduct, 16);
        break;
    case ATTRIBUTE_REV:
        vAddField(pOut, pDev->cpRevision, 4);
        break;
    case ATTRIBUTE_TYPE:
        vAdd(pOut, "%d", (int)pDev->eType);
        break;
    default:
        vAdd(pOut, "%d", pDev->iLevel);
    }
    vAdd(pOut, "\n");
}

// The nodes in a class. The kernel promises no order of them; the reverse of the description's is
// one that nobody can take for sorted.
static void vAddNodes(OUT* pOut, bool bTape)
{
    for (int i = gstrLib.iDevices - 1; i >= 0; i--) {
        const DEVICE* pDev = &gstrLib.strDevices[i];
        if (!bTape)
            vAdd(pOut, "sg%d\n", pDev->iSg);
        else if (pDev->eType == TYPE_TAPE && pDev->iNode >= 0)
            vAdd(pOut, "nst%d\n", pDev->iNode);
    }
}

void vSysfsView(const PLACE* pPlace, int iDevice, OUT* pOut)
{
    if (pPlace->eKind == PLACE_LINK) {
        const ADDRESS* p = pAddressOf(&gstrLib.strDevices[iDevice], pPlace->bTape);
        vAdd(pOut, "../../../%d:%d:%d:%d", p->iHost, p->iChannel, p->iTarget, p->iLun);
        return;
    }
    if (pPlace->eKind == PLACE_ATTRIBUTE) {
        vAddAttribute(pOut, &gstrLib.strDevices[iDevice], pPlace->eAttribute);
        return;
    }
    vAdd(pOut, ".\n..\n");
    if (pPlace->eKind == PLACE_CLASS)
        vAddNodes(pOut, pPlace->bTape);
    else if (pPlace->eKind == PLACE_ENTRY)
        vAdd(pOut, "device\n");
    for (int i = 0; pPlace->eKind == PLACE_DEVICE && i < ATTRIBUTES; i++)
        vAdd(pOut, "%s\n", gcpAttributes[i]);
}
