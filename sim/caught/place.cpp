// Reads paths. Nothing below the folders of ours in sysfs is ever looked for on the machine itself.
#include "place.h"

#include <stdlib.h>
#include <string.h>

const char* const gcpAttributes[ATTRIBUTES] = {"vendor", "model", "rev", "type", "scsi_level"};

// Where nodes stand, and how their names begin.
struct NODES {
    const char* cpFolder;
    const char* cpPrefix;
    bool bTape;
};

static const NODES strDevNodes[] = {
    {"/dev", "sg",  false},
    {"/dev", "nst", true },
};

static const NODES strSysfsNodes[] = {
    {"/sys/class/scsi_generic", "sg",  false},
    {"/sys/class/scsi_tape",    "nst", true },
};

// What follows the folder in a path: the end, or a slash and more. Null for another path.
static const char* cpBehindFolder(const char* cpPath, const char* cpFolder)
{
    const size_t uiFolder = strlen(cpFolder);
    if (strncmp(cpPath, cpFolder, uiFolder) != 0)
        return nullptr;
    return cpPath[uiFolder] == '\0' || cpPath[uiFolder] == '/' ? cpPath + uiFolder : nullptr;
}

// Takes a slash, the prefix and a number. Returns what follows them, null when they are not there.
static const char* cpTakeNode(const char* cp, const char* cpPrefix, int* ipNumber)
{
    const size_t uiPrefix = strlen(cpPrefix);
    if (*cp != '/' || strncmp(cp + 1, cpPrefix, uiPrefix) != 0)
        return nullptr;
    cp += 1 + uiPrefix;
    const size_t uiDigits = strspn(cp, "0123456789");
    if (uiDigits == 0 || uiDigits > 5 || (uiDigits > 1 && *cp == '0'))
        return nullptr;
    *ipNumber = atoi(cp);
    return cp + uiDigits;
}

static bool bFolderEnd(const char* cp)
{
    return strcmp(cp, "") == 0 || strcmp(cp, "/") == 0;
}

// What is meant in a device's folder.
static PLACE_KIND eKindBelow(const char* cp, ATTRIBUTE* epAttribute)
{
    if (bFolderEnd(cp))
        return PLACE_ENTRY;
    const char* cpRest = cpBehindFolder(cp, "/device");
    if (cpRest == nullptr)
        return PLACE_ABSENT;
    if (bFolderEnd(cpRest))
        return *cpRest == '\0' ? PLACE_LINK : PLACE_DEVICE;
    for (int i = 0; i < ATTRIBUTES; i++) {
        if (strcmp(cpRest + 1, gcpAttributes[i]) == 0) {
            *epAttribute = (ATTRIBUTE)i;
            return PLACE_ATTRIBUTE;
        }
    }
    return PLACE_ABSENT;
}

static PLACE_KIND eSysfsKind(const char* cpPath, PLACE* pPlace)
{
    for (const NODES& strNodes : strSysfsNodes) {
        const char* cpRest = cpBehindFolder(cpPath, strNodes.cpFolder);
        if (cpRest == nullptr)
            continue;
        pPlace->bTape = strNodes.bTape;
        if (bFolderEnd(cpRest))
            return PLACE_CLASS;
        cpRest = cpTakeNode(cpRest, strNodes.cpPrefix, &pPlace->iNumber);
        return cpRest != nullptr ? eKindBelow(cpRest, &pPlace->eAttribute) : PLACE_ABSENT;
    }
    return PLACE_NONE;
}

static PLACE_KIND eDevKind(const char* cpPath, PLACE* pPlace)
{
    for (const NODES& strNodes : strDevNodes) {
        const char* cpRest = cpBehindFolder(cpPath, strNodes.cpFolder);
        if (cpRest != nullptr)
            cpRest = cpTakeNode(cpRest, strNodes.cpPrefix, &pPlace->iNumber);
        if (cpRest == nullptr || *cpRest != '\0')
            continue;
        pPlace->bTape = strNodes.bTape;
        return strNodes.bTape ? PLACE_TAPE : PLACE_SG;
    }
    return PLACE_NONE;
}

bool bPlace(const char* cpPath, PLACE* pPlace)
{
    *pPlace = {};
    if (strncmp(cpPath, "/dev/", 5) == 0)
        pPlace->eKind = eDevKind(cpPath, pPlace);
    else if (strncmp(cpPath, "/sys/", 5) == 0)
        pPlace->eKind = eSysfsKind(cpPath, pPlace);
    else if (strcmp(cpPath, "/proc/scsi/scsi") == 0)
        pPlace->eKind = PLACE_LISTING;
    else if (strcmp(cpPath, "/proc/scsi/mvk-sim") == 0)
        pPlace->eKind = PLACE_PICTURE;
    return pPlace->eKind != PLACE_NONE;
}
