// Looks at names and files before anything is opened. Stands on address and sysfs.
#include "device/name.h"

#include "device/address.h"
#include "device/sysfs.h"

#include <linux/major.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

// The memory devices that take and give bytes without harm; /dev/mem and its like are not among
// them (Linux, Documentation/admin-guide/devices.txt).
static const unsigned int uiMINOR_NULL = 3;
static const unsigned int uiMINOR_ZERO = 5;
static const unsigned int uiMINOR_FULL = 7;

NAME_FORM eNameForm(const char* cpName)
{
    SCSI_ADDRESS strAddress;
    unsigned long long ullNumber = 0;
    const char* cpEnd = cpReadDigits(cpName, &ullNumber);
    if (cpEnd > cpName && cpEnd[strspn(cpEnd, "-0123456789")] == '\0')
        return NAME_ID;
    return bReadAddress(cpName, &strAddress) ? NAME_ADDRESS : NAME_PATH;
}

// No device has the number 0:0: a node of it cannot be opened, but what stands in for a device may
// tell no better one.
static bool bHarmless(const FILE_FACTS* pFacts)
{
    if (pFacts->uiMajor == 0 && pFacts->uiMinor == 0)
        return true;
    return !pFacts->bBlock && pFacts->uiMajor == MEM_MAJOR &&
           (pFacts->uiMinor == uiMINOR_NULL || pFacts->uiMinor == uiMINOR_ZERO ||
            pFacts->uiMinor == uiMINOR_FULL);
}

static FILE_FACTS strFactsOf(const struct stat* pStatus)
{
    FILE_FACTS strFacts = {FILE_STAND_IN, S_ISBLK(pStatus->st_mode), major(pStatus->st_rdev),
                           minor(pStatus->st_rdev)};
    if (!S_ISCHR(pStatus->st_mode) && !strFacts.bBlock)
        return strFacts;
    if (!strFacts.bBlock && strFacts.uiMajor == SCSI_GENERIC_MAJOR)
        strFacts.eKind = FILE_GENERIC;
    else if (!bHarmless(&strFacts))
        strFacts.eKind = FILE_DEVICE;
    return strFacts;
}

FILE_FACTS strLookAt(const char* cpPath)
{
    struct stat strStatus = {};
    return stat(cpPath, &strStatus) == 0 ? strFactsOf(&strStatus) : FILE_FACTS{};
}

FILE_FACTS strLookAtOpen(int iFD)
{
    struct stat strStatus = {};
    return fstat(iFD, &strStatus) == 0 ? strFactsOf(&strStatus) : FILE_FACTS{};
}

int iGenericNumber(const FILE_FACTS* pFacts)
{
    if (pFacts->eKind == FILE_GENERIC)
        return (int)pFacts->uiMinor;
    if (pFacts->eKind == FILE_DEVICE)
        return iGenericOfNode(pFacts->bBlock, pFacts->uiMajor, pFacts->uiMinor);
    return -1;
}
