// What sysfs knows of the SCSI devices. Each class of nodes is a folder with an entry per node, in
// which "device" is a link whose last part is the address and a folder with the identity.
#include "device/sysfs.h"

#include "cm_common.h"

#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static const char szGENERIC[] = "/sys/class/scsi_generic";

// More generic devices than the sg driver makes (its limit is 32768).
static const int iGENERIC_MAX = 1 << 16;

// Reads the address at the end of the link szPath.
static bool bLinkAddress(const char* szPath, SCSI_ADDRESS* pAddress)
{
    char szLink[512];
    const ssize_t iLength = readlink(szPath, szLink, sizeof(szLink) - 1);
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
    DIR* pFolder = opendir(cpFolder);
    if (pFolder == nullptr)
        return -1;
    for (const struct dirent* pEntry = readdir(pFolder); pEntry != nullptr && iNumber < 0;
         pEntry = readdir(pFolder))
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
    DIR* pFolder = opendir(szGENERIC);
    if (pFolder == nullptr)
        return 0;
    for (const struct dirent* pEntry = readdir(pFolder); pEntry != nullptr;
         pEntry = readdir(pFolder)) {
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

void vHostLine(const GENERIC_NODE* pNode, char (&szLine)[iLISTING_LINE_SIZE])
{
    const unsigned long long* ullNumbers = pNode->strAddress.ullNumbers;
    snprintf(szLine, sizeof(szLine), "Host: scsi%llu Channel: %02llu Id: %02llu Lun: %02llu\n",
             ullNumbers[HOST], ullNumbers[CHANNEL], ullNumbers[TARGET], ullNumbers[LUN]);
}

void vVendorLine(const GENERIC_NODE* pNode, char (&szLine)[iLISTING_LINE_SIZE])
{
    char szVendor[10], szModel[18], szRevision[6];
    vReadIdentity(pNode->iNumber, "vendor", szVendor, sizeof(szVendor));
    vReadIdentity(pNode->iNumber, "model", szModel, sizeof(szModel));
    vReadIdentity(pNode->iNumber, "rev", szRevision, sizeof(szRevision));
    snprintf(szLine, sizeof(szLine), "  Vendor: %-8.8s Model: %-16.16s Rev: %-4.4s\n", szVendor,
             szModel, szRevision);
}

void vTypeLine(const GENERIC_NODE* pNode, char (&szLine)[iLISTING_LINE_SIZE])
{
    char szLevel[12];
    vReadAttribute(pNode->iNumber, "scsi_level", szLevel, sizeof(szLevel));
    const int iLevel = i_DECIMAL(szLevel);
    snprintf(szLine, sizeof(szLine), "  Type:   %s                ANSI  SCSI revision: %02x%s\n",
             cpTypeName((unsigned int)iTypeOfGeneric(pNode->iNumber)),
             (unsigned int)(iLevel > 1 ? iLevel - 1 : iLevel), iLevel == 2 ? " CCS" : "");
}
