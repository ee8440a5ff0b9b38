// The devices as sysfs shows them: folders with all nodes, by their names and by their numbers. In
// the folder of a node stand its number and the link to its device, whose last part is the address
// and which leads to the device's own nodes and identity.
#include "views.h"
#include "world/model.h"

#include <string.h>

bool bSysfsExists(const PLACE* pPlace)
{
    NODE strNode;
    if (!gstrLib.bSysfs || pPlace->eKind == PLACE_ABSENT)
        return false;
    if (pPlace->eKind == PLACE_CLASS)
        return true;
    const int iDevice = iDriverDevice(&pPlace->strNode);
    if (iDevice < 0 || iDriverDevice(&pPlace->strFirst) != iDevice)
        return false;
    if (pPlace->eKind != PLACE_NODES)
        return true;
    for (int i = 0; i < DRIVERS; i++) {
        if (bSameClass((DRIVER)i, pPlace->eClass) && iNodesOf(iDevice, (DRIVER)i, &strNode) > 0)
            return true;
    }
    return false;
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

static void vAddNumber(OUT* pOut, const NODE* pNode)
{
    const DEVICE_NUMBER strNumber = strDriverNumber(pNode);
    vAdd(pOut, "%d:%d\n", strNumber.iMajor, strNumber.iMinor);
}

// Those of a device's nodes that stand in a folder with nodes or numbers.
static void vAddNodes(OUT* pOut, const PLACE* pPlace, int iDevice)
{
    NODE strNode;
    for (int i = 0; i < DRIVERS; i++) {
        const DRIVER eDriver = (DRIVER)i;
        const bool bNumbers = pPlace->eClass == DRIVERS;
        if (!bNumbers && !bSameClass(eDriver, pPlace->eClass))
            continue;
        for (int iLeft = iNodesOf(iDevice, eDriver, &strNode); iLeft > 0; iLeft--) {
            const bool bBlock = strDriverNumber(&strNode).eKind == NUMBER_BLOCK;
            if (!bNumbers) {
                vAddName(pOut, &strNode);
                vAdd(pOut, "\n");
            } else if (bBlock == pPlace->bBlock) {
                vAddNumber(pOut, &strNode);
            }
            strNode.iPart++;
        }
    }
}

// What stands in a folder.
static void vAddFolder(OUT* pOut, const PLACE* pPlace, int iDevice)
{
    vAdd(pOut, ".\n..\n");
    if (pPlace->eKind == PLACE_ENTRY) {
        vAdd(pOut, "dev\n%s", bPartition(&pPlace->strNode) ? "" : "device\n");
    } else if (pPlace->eKind == PLACE_NODES) {
        vAddNodes(pOut, pPlace, iDevice);
    } else if (pPlace->eKind == PLACE_CLASS) {
        // The kernel promises no order; the reverse of the description's is one that nobody can
        // take for sorted.
        for (int i = gstrLib.iDevices - 1; i >= 0; i--)
            vAddNodes(pOut, pPlace, i);
    } else {
        NODE strNode;
        for (const char* cpName : gcpAttributes)
            vAdd(pOut, "%s\n", cpName);
        for (int i = 0; i < DRIVERS; i++) {
            if (iNodesOf(iDevice, (DRIVER)i, &strNode) > 0)
                vAdd(pOut, "%s\n", cpClassOf((DRIVER)i));
        }
    }
}

void vSysfsView(const PLACE* pPlace, OUT* pOut)
{
    const int iDevice = pPlace->eKind != PLACE_CLASS ? iDriverDevice(&pPlace->strNode) : 0;
    const DEVICE* pDev = &gstrLib.strDevices[iDevice];
    if (pPlace->eKind == PLACE_LINK) {
        const ADDRESS* p = pAddressOf(pDev, pPlace->strNode.eDriver == DRIVER_TAPE);
        vAdd(pOut, "../../../%d:%d:%d:%d", p->iHost, p->iChannel, p->iTarget, p->iLun);
    } else if (pPlace->eKind == PLACE_ATTRIBUTE) {
        vAddAttribute(pOut, pDev, pPlace->eAttribute);
    } else if (pPlace->eKind == PLACE_NUMBER) {
        vAddNumber(pOut, &pPlace->strNode);
    } else {
        vAddFolder(pOut, pPlace, iDevice);
    }
}
