// The devices as sysfs shows them: /sys/class/scsi_generic and /sys/class/scsi_tape with, for each
// device, the link that holds its address and the files that hold its identity. Nothing below these
// two folders is ever looked for on the machine itself.
#include "sim.h"

#include <stdlib.h>
#include <string.h>

// The folders, and how the names of their entries begin.
static const struct SYSFS_CLASS {
    const char* cpFolder;
    const char* cpPrefix;
    bool bTape;
} strClasses[] = {
    {"/sys/class/scsi_generic", "sg",  false},
    {"/sys/class/scsi_tape",    "nst", true },
};

// The files of a device.
enum ATTRIBUTE {
    ATTRIBUTE_VENDOR,
    ATTRIBUTE_MODEL,
    ATTRIBUTE_REV,
    ATTRIBUTE_TYPE,
    ATTRIBUTE_LEVEL
};
static const char* const cpAttributes[] = {"vendor", "model", "rev", "type", "scsi_level"};

// What the rest of a path names, from the end of the class folder's name on.
static void vPlaceBelow(const char* cpRest, const SYSFS_CLASS* pClass, PLACE* pPlace)
{
    const size_t uiPrefix = strlen(pClass->cpPrefix);
    pPlace->eKind = NODE_CLASS;
    pPlace->bTape = pClass->bTape;
    if (strcmp(cpRest, "") == 0 || strcmp(cpRest, "/") == 0)
        return;
    pPlace->eKind = NODE_ABSENT;
    if (strncmp(cpRest + 1, pClass->cpPrefix, uiPrefix) != 0)
        return;
    cpRest = cpNodeNumber(cpRest + 1 + uiPrefix, &pPlace->iNumber);
    if (cpRest == nullptr)
        return;
    if (strcmp(cpRest, "") == 0 || strcmp(cpRest, "/") == 0)
        pPlace->eKind = NODE_ENTRY;
    if (strncmp(cpRest, "/device", 7) != 0)
        return;
    cpRest += 7;
    if (strcmp(cpRest, "") == 0)
        pPlace->eKind = NODE_LINK;
    if (strcmp(cpRest, "/") == 0)
        pPlace->eKind = NODE_DEVICE;
    for (int i = 0; *cpRest == '/' && i <= ATTRIBUTE_LEVEL; i++) {
        if (strcmp(cpRest + 1, cpAttributes[i]) == 0) {
            pPlace->eKind = NODE_ATTRIBUTE;
            pPlace->iAttribute = i;
        }
    }
}

// Returns whether the path names one of the two folders or something below; *pPlace tells what.
bool bSysfsPlace(const char* cpPath, PLACE* pPlace)
{
    for (const SYSFS_CLASS& strClass : strClasses) {
        const size_t uiFolder = strlen(strClass.cpFolder);
        if (strncmp(cpPath, strClass.cpFolder, uiFolder) != 0)
            continue;
        if (cpPath[uiFolder] == '\0' || cpPath[uiFolder] == '/') {
            vPlaceBelow(cpPath + uiFolder, &strClass, pPlace);
            return true;
        }
    }
    return false;
}

// Whether the place exists; the library must be entered.
bool bSysfsExists(const PLACE* pPlace)
{
    if (!gLib.iSysfs || pPlace->eKind == NODE_ABSENT)
        return false;
    return pPlace->eKind == NODE_CLASS || iDeviceBehind(pPlace) >= 0;
}

// Writes the target of the link that leads from a node to its device.
void vSysfsLink(const PLACE* pPlace, OUT* pOut)
{
    const DEVICE* pDev = &gLib.device[iDeviceBehind(pPlace)];
    const int* ip = ipNodeAddress(pDev, pPlace->bTape);
    vAdd(pOut, "../../../%d:%d:%d:%d", ip[0], ip[1], ip[2], ip[3]);
}

// Writes the content of a device's file.
void vSysfsAttribute(const PLACE* pPlace, OUT* pOut)
{
    const DEVICE* pDev = &gLib.device[iDeviceBehind(pPlace)];
    switch (pPlace->iAttribute) {
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
        vAdd(pOut, "%d", pDev->iType);
        break;
    default:
        vAdd(pOut, "%d", pDev->iLevel);
    }
    vAdd(pOut, "\n");
}

// Writes the names in a folder, one a line. The kernel promises no order of the nodes; the reverse
// of the description's is one that nobody can take for sorted.
void vSysfsFolder(const PLACE* pPlace, OUT* pOut)
{
    vAdd(pOut, ".\n..\n");
    if (pPlace->eKind == NODE_ENTRY)
        vAdd(pOut, "device\n");
    for (int i = 0; pPlace->eKind > NODE_ENTRY && i <= ATTRIBUTE_LEVEL; i++)
        vAdd(pOut, "%s\n", cpAttributes[i]);
    for (int i = gLib.iDevices - 1; pPlace->eKind == NODE_CLASS && i >= 0; i--) {
        const DEVICE* pDev = &gLib.device[i];
        if (!pPlace->bTape)
            vAdd(pOut, "sg%d\n", pDev->iSg);
        else if (pDev->iType == TYPE_TAPE && pDev->iNode >= 0)
            vAdd(pOut, "nst%d\n", pDev->iNode);
    }
}
