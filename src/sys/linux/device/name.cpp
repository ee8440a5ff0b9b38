// Looks at names and files before anything is opened. Stands on the C library alone.
#include "device/name.h"

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
    static const char szDigits[] = "0123456789";
    int iColons = 0;
    size_t uiRun = strspn(cpName, szDigits);
    while (uiRun > 0 && cpName[uiRun] == ':') {
        iColons++;
        cpName += uiRun + 1;
        uiRun = strspn(cpName, szDigits);
    }
    if (uiRun == 0 || cpName[uiRun] != '\0' || (iColons != 0 && iColons != 3))
        return NAME_PATH;
    return iColons == 0 ? NAME_ID : NAME_ADDRESS;
}

// Whether a file is one that can stand in for a device and harms none.
static bool bIsStandIn(const struct stat* pStatus)
{
    if (S_ISBLK(pStatus->st_mode))
        return false;
    if (!S_ISCHR(pStatus->st_mode))
        return true;
    const unsigned int uiMinor = minor(pStatus->st_rdev);
    return major(pStatus->st_rdev) == MEM_MAJOR &&
           (uiMinor == uiMINOR_NULL || uiMinor == uiMINOR_ZERO || uiMinor == uiMINOR_FULL);
}

const char* cpWhyNotOpened(const char* cpName, int iNumber)
{
    struct stat strStatus = {};
    if (eNameForm(cpName) != NAME_PATH)
        return "an ID or address without a node";
    if (stat(cpName, &strStatus) != 0 || bIsStandIn(&strStatus))
        return nullptr;
    if (!S_ISCHR(strStatus.st_mode) || major(strStatus.st_rdev) != SCSI_GENERIC_MAJOR)
        return "it is no node of the generic driver";
    if (iNumber >= 0 && minor(strStatus.st_rdev) != (unsigned int)iNumber)
        return "its number is another device's";
    return nullptr;
}
