// Reads paths. Nothing below the folders of ours in sysfs is ever looked for on the machine itself.
#include "place.h"

#include <string.h>

const char* const gcpAttributes[ATTRIBUTES] = {"vendor", "model", "rev", "type", "scsi_level"};

// Folders with nodes in sysfs: those of a driver by their names, those of all by their numbers.
struct NODE_FOLDER {
    const char* cpPath;
    DRIVER eDriver; // DRIVERS: by number
    bool bBlock;
};

static const NODE_FOLDER strFolders[] = {
    {"/sys/class/scsi_generic", DRIVER_GENERIC, false},
    {"/sys/class/scsi_tape",    DRIVER_TAPE,    false},
    {"/sys/class/scsi_changer", DRIVER_CHANGER, false},
    {"/sys/dev/char",           DRIVERS,        false},
    {"/sys/dev/block",          DRIVERS,        true },
};

// What follows the folder in a path: the end, or a slash and more. Null for another path.
static const char* cpBehindFolder(const char* cpPath, const char* cpFolder)
{
    const size_t uiFolder = strlen(cpFolder);
    if (strncmp(cpPath, cpFolder, uiFolder) != 0)
        return nullptr;
    return cpPath[uiFolder] == '\0' || cpPath[uiFolder] == '/' ? cpPath + uiFolder : nullptr;
}

static bool bFolderEnd(const char* cp)
{
    return strcmp(cp, "") == 0 || strcmp(cp, "/") == 0;
}

static PLACE_KIND eKindInEntry(const char* cp, PLACE* pPlace);

// What is meant behind the name of a driver's folder at a device.
static PLACE_KIND eKindInNodes(const char* cp, PLACE* pPlace)
{
    NODE strNode;
    if (bFolderEnd(cp))
        return PLACE_NODES;
    cp = cpTakeName(cp + 1, &strNode);
    if (cp == nullptr || (*cp != '\0' && *cp != '/') ||
        !bSameClass(strNode.eDriver, pPlace->eClass))
        return PLACE_ABSENT;
    pPlace->strNode = strNode;
    return eKindInEntry(cp, pPlace);
}

// What is meant in the folder of a device, behind "device".
static PLACE_KIND eKindInDevice(const char* cp, PLACE* pPlace)
{
    if (bFolderEnd(cp))
        return *cp == '\0' ? PLACE_LINK : PLACE_DEVICE;
    for (int i = 0; i < ATTRIBUTES; i++) {
        if (strcmp(cp + 1, gcpAttributes[i]) == 0) {
            pPlace->eAttribute = (ATTRIBUTE)i;
            return PLACE_ATTRIBUTE;
        }
    }
    for (int i = 0; i < DRIVERS; i++) {
        const char* cpRest = cpBehindFolder(cp + 1, cpClassOf((DRIVER)i));
        pPlace->eClass = (DRIVER)i;
        if (cpRest != nullptr)
            return eKindInNodes(cpRest, pPlace);
    }
    return PLACE_ABSENT;
}

// What is meant in the folder of a node.
static PLACE_KIND eKindInEntry(const char* cp, PLACE* pPlace)
{
    if (bFolderEnd(cp))
        return PLACE_ENTRY;
    if (strcmp(cp, "/dev") == 0)
        return PLACE_NUMBER;
    const char* cpRest = cpBehindFolder(cp, "/device");
    if (cpRest == nullptr || bPartition(&pPlace->strNode))
        return PLACE_ABSENT;
    return eKindInDevice(cpRest, pPlace);
}

static PLACE_KIND eSysfsKind(const char* cpPath, PLACE* pPlace)
{
    for (const NODE_FOLDER& strFolder : strFolders) {
        const char* cpRest = cpBehindFolder(cpPath, strFolder.cpPath);
        if (cpRest == nullptr)
            continue;
        pPlace->eClass = strFolder.eDriver;
        pPlace->bBlock = strFolder.bBlock;
        if (bFolderEnd(cpRest))
            return PLACE_CLASS;
        const bool bByNumber = strFolder.eDriver == DRIVERS;
        NODE* pNode = &pPlace->strNode;
        cpRest = bByNumber ? cpTakeDeviceNumber(cpRest + 1, strFolder.bBlock, pNode)
                           : cpTakeName(cpRest + 1, pNode);
        if (cpRest == nullptr || (!bByNumber && pNode->eDriver != strFolder.eDriver))
            return PLACE_ABSENT;
        pPlace->strFirst = *pNode;
        return eKindInEntry(cpRest, pPlace);
    }
    return PLACE_NONE;
}

static PLACE_KIND eDevKind(const char* cpName, PLACE* pPlace)
{
    const char* cpEnd = cpTakeName(cpName, &pPlace->strNode);
    return cpEnd != nullptr && *cpEnd == '\0' ? PLACE_NODE : PLACE_NONE;
}

bool bPlace(const char* cpPath, PLACE* pPlace)
{
    *pPlace = {};
    if (strncmp(cpPath, "/dev/", 5) == 0)
        pPlace->eKind = eDevKind(cpPath + 5, pPlace);
    else if (strncmp(cpPath, "/sys/", 5) == 0)
        pPlace->eKind = eSysfsKind(cpPath, pPlace);
    else if (strcmp(cpPath, "/proc/scsi/scsi") == 0)
        pPlace->eKind = PLACE_LISTING;
    else if (strcmp(cpPath, "/proc/scsi/mvk-sim") == 0)
        pPlace->eKind = PLACE_PICTURE;
    return pPlace->eKind != PLACE_NONE;
}
