// What sysfs knows of the SCSI devices. Each class of nodes is a folder with an entry per node, in
// which "device" is a link whose last part is the address and a folder with the identity.
#include "scsi_sysfs.h"

#include "cm_common.h"

#include <ctype.h>
#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static const char szGENERIC[] = "/sys/class/scsi_generic";

// More generic devices than the sg driver makes (its limit is 32768).
static const int iGENERIC_MAX = 1 << 16;

bool bSameAddress(const SCSI_ADDRESS* pOne, const SCSI_ADDRESS* pOther)
{
    return memcmp(pOne->ullNumbers, pOther->ullNumbers, sizeof(pOne->ullNumbers)) == 0;
}

// Reads the number at *cppText, which cEnd follows, and steps over both.
static bool bTakeNumber(const char** cppText, char cEnd, unsigned long long* pNumber)
{
    char* cpEnd = nullptr;
    if (!isdigit((unsigned char)**cppText))
        return false;
    *pNumber = strtoull(*cppText, &cpEnd, 10);
    *cppText = cpEnd + 1;
    return *cpEnd == cEnd;
}

// Reads the address at the end of the link szPath.
static bool bLinkAddress(const char* szPath, SCSI_ADDRESS* pAddress)
{
    char szLink[512];
    const ssize_t iLength = readlink(szPath, szLink, sizeof(szLink) - 1);
    if (iLength <= 0)
        return false;
    szLink[iLength] = '\0';
    const char* cpSlash = strrchr(szLink, '/');
    const char* cpText = cpSlash != nullptr ? cpSlash + 1 : szLink;
    for (int i = 0; i < ADDRESS_NUMBERS; i++) {
        if (!bTakeNumber(&cpText, i < LUN ? ':' : '\0', &pAddress->ullNumbers[i]))
            return false;
    }
    return true;
}

bool bGenericAddress(int iNumber, SCSI_ADDRESS* pAddress)
{
    char szPath[64];
    snprintf(szPath, sizeof(szPath), "%s/sg%d/device", szGENERIC, iNumber);
    return bLinkAddress(szPath, pAddress);
}

bool bTapeAddress(int iNumber, SCSI_ADDRESS* pAddress)
{
    char szPath[64];
    snprintf(szPath, sizeof(szPath), "/sys/class/scsi_tape/nst%d/device", iNumber);
    return bLinkAddress(szPath, pAddress);
}

// Appends a device, with twice the room when there is none left. Returns false without memory.
static bool bAppendNode(GENERIC_NODES* pNodes, const GENERIC_NODE* pNode)
{
    const int iCount = pNodes->iCount;
    if ((iCount & (iCount - 1)) == 0) { // the room is a power of two
        const size_t uiRoom = iCount > 0 ? 2 * (size_t)iCount : 1;
        void* pGrown = realloc(pNodes->pNodes, uiRoom * sizeof(GENERIC_NODE));
        if (pGrown == nullptr)
            return false;
        pNodes->pNodes = (GENERIC_NODE*)pGrown;
    }
    pNodes->pNodes[pNodes->iCount++] = *pNode;
    return true;
}

static int iCompareNodes(const void* pOne, const void* pOther)
{
    return ((const GENERIC_NODE*)pOne)->iNumber - ((const GENERIC_NODE*)pOther)->iNumber;
}

void vReadGenericNodes(GENERIC_NODES* pNodes)
{
    if (pNodes->bRead)
        return;
    pNodes->bRead = true;
    DIR* pFolder = opendir(szGENERIC);
    if (pFolder == nullptr)
        return;
    for (const struct dirent* pEntry = readdir(pFolder);
         pEntry != nullptr && pNodes->iCount < iGENERIC_MAX; pEntry = readdir(pFolder)) {
        const char* cpNumber = pEntry->d_name + 2;
        unsigned long long ullNumber = 0;
        if (!b_STARTS_WITH(pEntry->d_name, "sg") || !bTakeNumber(&cpNumber, '\0', &ullNumber) ||
            ullNumber >= iGENERIC_MAX)
            continue;
        GENERIC_NODE strNode = {(int)ullNumber, {}};
        if (bGenericAddress(strNode.iNumber, &strNode.strAddress) && !bAppendNode(pNodes, &strNode))
            break;
    }
    closedir(pFolder);
    if (pNodes->iCount > 1)
        qsort(pNodes->pNodes, (size_t)pNodes->iCount, sizeof(GENERIC_NODE), iCompareNodes);
}

int iFindGenericNode(GENERIC_NODES* pNodes, const SCSI_ADDRESS* pAddress)
{
    vReadGenericNodes(pNodes);
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
    if (fpAttribute == nullptr)
        return;
    if (fgets(cpText, iSize, fpAttribute) == nullptr)
        cpText[0] = '\0';
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

// The kernel's name of a peripheral device type (drivers/scsi/scsi.c, scsi_common.c).
static const char* cpTypeName(unsigned int uiType)
{
    static const char szNames[][18] = {
        "Direct-Access    ", "Sequential-Access", "Printer          ", "Processor        ",
        "WORM             ", "CD-ROM           ", "Scanner          ", "Optical Device   ",
        "Medium Changer   ", "Communications   ", "ASC IT8          ", "ASC IT8          ",
        "RAID             ", "Enclosure        ", "Direct-Access-RBC", "Optical card     ",
        "Bridge controller", "Object storage   ", "Automation/Drive ", "Security Manager ",
        "Direct-Access-ZBC",
    };
    if (uiType == 0x1E)
        return "Well-known LUN   ";
    if (uiType == 0x1F)
        return "No Device        ";
    return uiType < sizeof(szNames) / sizeof(szNames[0]) ? szNames[uiType] : "Unknown          ";
}

void vListingLines(const GENERIC_NODE* pNode, char szLines[iLISTING_LINES][iLISTING_LINE_SIZE])
{
    const unsigned long long* ullNumbers = pNode->strAddress.ullNumbers;
    char szVendor[10], szModel[18], szRevision[6], szType[12], szLevel[12];
    vReadIdentity(pNode->iNumber, "vendor", szVendor, sizeof(szVendor));
    vReadIdentity(pNode->iNumber, "model", szModel, sizeof(szModel));
    vReadIdentity(pNode->iNumber, "rev", szRevision, sizeof(szRevision));
    vReadAttribute(pNode->iNumber, "type", szType, sizeof(szType));
    vReadAttribute(pNode->iNumber, "scsi_level", szLevel, sizeof(szLevel));
    const int iLevel = i_DECIMAL(szLevel);
    snprintf(szLines[0], iLISTING_LINE_SIZE,
             "Host: scsi%llu Channel: %02llu Id: %02llu Lun: %02llu\n", ullNumbers[HOST],
             ullNumbers[CHANNEL], ullNumbers[TARGET], ullNumbers[LUN]);
    snprintf(szLines[1], iLISTING_LINE_SIZE, "  Vendor: %-8.8s Model: %-16.16s Rev: %-4.4s\n",
             szVendor, szModel, szRevision);
    snprintf(szLines[2], iLISTING_LINE_SIZE,
             "  Type:   %s                ANSI  SCSI revision: %02x%s\n",
             cpTypeName(szType[0] != '\0' ? (unsigned int)i_DECIMAL(szType) : ~0U),
             (unsigned int)(iLevel > 1 ? iLevel - 1 : iLevel), iLevel == 2 ? " CCS" : "");
}
