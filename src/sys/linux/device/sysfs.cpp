// What sysfs knows of the SCSI devices. Each class of nodes is a folder with an entry per node, in
// which "device" is a link whose last part is the address and a folder with the identity.
#include "device/sysfs.h"

#include "device/device.h"

#include "cm_common.h"

#include <dirent.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static const char szGENERIC[] = "/sys/class/scsi_generic";

// More generic devices than the sg driver makes (its limit is 32768).
static const int iGENERIC_MAX = 1 << 16;

// Something was there but could not be read.
static bool gbDoubtful;

bool bSysfsIsDoubtful()
{
    return gbDoubtful;
}

// Notes that a call has failed, unless what it looked for is not there.
static void vNoteFailure()
{
    gbDoubtful = gbDoubtful || (errno != ENOENT && errno != ENOTDIR);
}

// Opens a folder. Returns null without one.
static DIR* pOpenFolder(const char* cpPath)
{
    DIR* pFolder = opendir(cpPath);
    if (pFolder == nullptr)
        vNoteFailure();
    return pFolder;
}

// Returns the next entry of an open folder, null behind the last.
static const struct dirent* pNextEntry(DIR* pFolder)
{
    errno = ENOENT; // the end of a folder leaves it alone
    const struct dirent* pEntry = readdir(pFolder);
    if (pEntry == nullptr)
        vNoteFailure();
    return pEntry;
}

// Reads the address at the end of the link szPath.
static bool bLinkAddress(const char* szPath, SCSI_ADDRESS* pAddress)
{
    char szLink[512];
    const ssize_t iLength = readlink(szPath, szLink, sizeof(szLink) - 1);
    if (iLength < 0)
        vNoteFailure();
    if (iLength <= 0 || iLength == (ssize_t)sizeof(szLink) - 1) // the end may be missing
        return false;
    szLink[iLength] = '\0';
    const char* cpText = szLink + iLength;
    while (cpText > szLink && cpText[-1] != '/')
        cpText--;
    return bReadAddress(cpText, pAddress);
}

bool bGenericAddress(int iNumber, SCSI_ADDRESS* pAddress)
{
    char szPath[64];
    snprintf(szPath, sizeof(szPath), "%s/sg%d/device", szGENERIC, iNumber);
    return bLinkAddress(szPath, pAddress);
}

// Returns n when a file is named cpPrefix and a number n below iGENERIC_MAX, otherwise -1.
static int iNumberBehind(const char* cpName, const char* cpPrefix)
{
    if (!b_STARTS_WITH(cpName, cpPrefix))
        return -1;
    const char* cpNumber = cpName + strlen(cpPrefix);
    unsigned long long ullNumber = 0;
    if (!bTakeNumber(&cpNumber, '\0', &ullNumber))
        return -1;
    return ullNumber < (unsigned int)iGENERIC_MAX ? (int)ullNumber : -1;
}

// Returns the number of the first file in a folder that is named cpPrefix and a number, -1 for
// none.
static int iFindNumber(const char* cpFolder, const char* cpPrefix)
{
    int iNumber = -1;
    DIR* pFolder = pOpenFolder(cpFolder);
    if (pFolder == nullptr)
        return -1;
    for (const struct dirent* pEntry = pNextEntry(pFolder); pEntry != nullptr && iNumber < 0;
         pEntry = pNextEntry(pFolder))
        iNumber = iNumberBehind(pEntry->d_name, cpPrefix);
    closedir(pFolder);
    return iNumber;
}

int iGenericOfNode(bool bBlock, unsigned int uiMajor, unsigned int uiMinor)
{
    char szPath[80];
    snprintf(szPath, sizeof(szPath), "/sys/dev/%s/%u:%u/device/scsi_generic",
             bBlock ? "block" : "char", uiMajor, uiMinor);
    return iFindNumber(szPath, "sg");
}

// Marks the numbers of all generic devices in cNumbers, a bit each; sysfs has them in no order.
// Returns how many there are.
static int iMarkNumbers(unsigned char cNumbers[iGENERIC_MAX / 8])
{
    int iCount = 0;
    DIR* pFolder = pOpenFolder(szGENERIC);
    if (pFolder == nullptr)
        return 0;
    for (const struct dirent* pEntry = pNextEntry(pFolder); pEntry != nullptr;
         pEntry = pNextEntry(pFolder)) {
        const int iNumber = iNumberBehind(pEntry->d_name, "sg");
        if (iNumber >= 0) {
            cNumbers[iNumber / 8] |= (unsigned char)(1U << iNumber % 8);
            iCount++;
        }
    }
    closedir(pFolder);
    return iCount;
}

void vReadGenericNodes(GENERIC_NODES* pNodes)
{
    if (pNodes->bRead)
        return;
    pNodes->bRead = true;
    unsigned char cNumbers[iGENERIC_MAX / 8] = {};
    const int iCount = iMarkNumbers(cNumbers);
    if (iCount > 0)
        pNodes->pNodes = (GENERIC_NODE*)calloc((size_t)iCount, sizeof(GENERIC_NODE));
    if (pNodes->pNodes == nullptr)
        return;
    for (int i = 0; i < iGENERIC_MAX && pNodes->iCount < iCount; i++) {
        GENERIC_NODE* pNode = &pNodes->pNodes[pNodes->iCount];
        pNode->iNumber = i;
        if ((cNumbers[i / 8] >> i % 8 & 1) != 0 && bGenericAddress(i, &pNode->strAddress))
            pNodes->iCount++;
    }
}

int iFindGenericNode(GENERIC_NODES* pNodes, const SCSI_ADDRESS* pAddress)
{
    vReadGenericNodes(pNodes);
    if (pNodes->pNodes == nullptr)
        return -1;
    // A listing names the devices in about the order of their numbers.
    for (int i = 0; i < pNodes->iCount; i++) {
        const int iAt = (pNodes->iNext + i) % pNodes->iCount;
        if (bSameAddress(&pNodes->pNodes[iAt].strAddress, pAddress)) {
            pNodes->iNext = iAt + 1;
            return pNodes->pNodes[iAt].iNumber;
        }
    }
    return -1;
}

void vFreeGenericNodes(GENERIC_NODES* pNodes)
{
    free(pNodes->pNodes);
    *pNodes = {};
}

// Reads one attribute of a generic device, without its line feed; empty when there is none.
static void vReadAttribute(int iNumber, const char* cpName, char* cpText, int iSize)
{
    char szPath[80];
    snprintf(szPath, sizeof(szPath), "%s/sg%d/device/%s", szGENERIC, iNumber, cpName);
    cpText[0] = '\0';
    FILE* fpAttribute = fopen(szPath, "r");
    if (fpAttribute == nullptr) {
        vNoteFailure();
        return;
    }
    if (fgets(cpText, iSize, fpAttribute) == nullptr) {
        gbDoubtful = gbDoubtful || ferror(fpAttribute) != 0;
        cpText[0] = '\0';
    }
    fclose(fpAttribute);
    i_CUT_LINE_FEED(cpText);
}

// The same for one of the identity, which the listing shows with blanks for control characters.
static void vReadIdentity(int iNumber, const char* cpName, char* cpText, int iSize)
{
    vReadAttribute(iNumber, cpName, cpText, iSize);
    for (; *cpText != '\0'; cpText++)
        *cpText = (unsigned char)*cpText < ' ' ? ' ' : *cpText;
}

int iTypeOfGeneric(int iNumber)
{
    char szType[12];
    vReadAttribute(iNumber, "type", szType, sizeof(szType));
    return szType[0] >= '0' && szType[0] <= '9' ? i_DECIMAL(szType) : -1;
}

TAPE_NODE_FACTS strTapeNodeOf(int iNumber)
{
    char szPath[80];
    char szNumbers[48];
    snprintf(szPath, sizeof(szPath), "%s/sg%d/device/scsi_tape", szGENERIC, iNumber);
    TAPE_NODE_FACTS strNode = {iFindNumber(szPath, "nst"), 0, 0};
    snprintf(szPath, sizeof(szPath), "scsi_tape/nst%d/dev", strNode.iNumber);
    vReadAttribute(iNumber, szPath, szNumbers, sizeof(szNumbers));
    const char* cpText = szNumbers;
    if (!bTakeNumber(&cpText, ':', &strNode.ullMajor) ||
        !bTakeNumber(&cpText, '\0', &strNode.ullMinor))
        strNode.iNumber = -1;
    return strNode;
}

void vTakeGeneric(const GENERIC_NODE* pNode, bool bHost, LISTING_ENTRY* pEntry)
{
    const unsigned long long* ullNumbers = pNode->strAddress.ullNumbers;
    pEntry->iNum++;
    pEntry->bAddress = true;
    pEntry->strAddress = pNode->strAddress;
    pEntry->eKind = KIND_OTHER;
    vWriteID(&pNode->strAddress, bHost, pEntry->szID);
    pEntry->bByColumns = ullNumbers[HOST] < 10 && ullNumbers[CHANNEL] < 100 &&
                         ullNumbers[TARGET] < 100 && ullNumbers[LUN] < 100;
    pEntry->iBus = pEntry->bByColumns ? 0 : iBusLength(&pNode->strAddress, bHost);
}

void vDescribeGeneric(const GENERIC_NODE* pNode, LISTING_ENTRY* pEntry)
{
    char szVendor[10], szModel[18], szRevision[6];
    const int iType = iTypeOfGeneric(pNode->iNumber);
    vReadIdentity(pNode->iNumber, "vendor", szVendor, sizeof(szVendor));
    vReadIdentity(pNode->iNumber, "model", szModel, sizeof(szModel));
    vReadIdentity(pNode->iNumber, "rev", szRevision, sizeof(szRevision));
    snprintf(pEntry->szVendor, sizeof(pEntry->szVendor), " %-8.8s", szVendor);
    snprintf(pEntry->szModel, sizeof(pEntry->szModel), " %-16.16s", szModel);
    snprintf(pEntry->szRevision, sizeof(pEntry->szRevision), " %-4.4s", szRevision);
    pEntry->eKind = iType == TYPE_CHANGER ? KIND_LOADER
                    : iType == TYPE_TAPE  ? KIND_TAPE
                                          : KIND_OTHER;
}
