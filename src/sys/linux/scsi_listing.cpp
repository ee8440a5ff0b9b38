// Reads the kernel's listing of SCSI devices line by line. Stands on scsi_sysfs.h for addresses.
//
// The numbers of a host line stand in columns as long as the host has one digit and the others have
// two. Every SATA port and every iSCSI session is a host of its own, so that larger numbers are
// common: they shift the columns and are read behind their words instead.
#include "scsi_listing.h"

#include "cm_common.h"

#include <stdio.h>
#include <string.h>

// A host line of fewer characters, its line feed included, is not taken for one.
static const size_t uiHOST_LINE_MIN = 38;

// A number as it stands in a line; no digits when it is missing.
struct DIGITS {
    const char* cpFirst;
    int iCount;
    unsigned long long ullValue;
};

// Finds the numbers behind their words.
static void vFindNumbers(const char* szLine, DIGITS strNumbers[ADDRESS_NUMBERS])
{
    static const char szWords[ADDRESS_NUMBERS][12] = {"scsi", "Channel:", "Id:", "Lun:"};
    for (int i = 0; i < ADDRESS_NUMBERS; i++) {
        const char* cpWord = strstr(szLine, szWords[i]);
        szLine = cpWord != nullptr ? cpWord + strlen(szWords[i]) : "";
        while (*szLine == ' ')
            szLine++;
        strNumbers[i].cpFirst = szLine;
        szLine = cpReadDigits(szLine, &strNumbers[i].ullValue);
        strNumbers[i].iCount = (int)(szLine - strNumbers[i].cpFirst);
    }
}

// Returns whether a number has more digits than its columns hold.
static bool bOutsideColumns(const DIGITS strNumbers[ADDRESS_NUMBERS])
{
    for (int i = 0; i < ADDRESS_NUMBERS; i++) {
        if (strNumbers[i].iCount > (i == HOST ? 1 : 2))
            return true;
    }
    return false;
}

// The sum of two digits: the number itself up to 9, which the columns of an ID have room for.
static int iDigitSum(const char* cpDigits)
{
    return cpDigits[0] + cpDigits[1] - 2 * '0';
}

static void vReadColumns(const char* szLine, bool bHost, char* cpID, size_t uiSize)
{
    const int iHost = szLine[10] - '0';
    const int iChannel = iDigitSum(szLine + 21);
    const int iTarget = iDigitSum(szLine + 28);
    const int iLun = iDigitSum(szLine + 36);
    if (bHost)
        snprintf(cpID, uiSize, "%d%d%d%d", iHost, iChannel, iTarget, iLun);
    else
        snprintf(cpID, uiSize, "%d%d%d", iChannel, iTarget, iLun);
}

// The host stands in full, then each number: one or two digits as their sum, like in the columns,
// and more in full.
static void vReadWords(const DIGITS strNumbers[ADDRESS_NUMBERS], bool bHost, char* cpID,
                       size_t uiSize)
{
    cpID[0] = '\0';
    for (int i = bHost ? HOST : CHANNEL; i < ADDRESS_NUMBERS; i++) {
        const DIGITS* pNumber = &strNumbers[i];
        char szPart[64];
        int iSum = 0;
        for (int j = 0; j < pNumber->iCount; j++)
            iSum += pNumber->cpFirst[j] - '0';
        if (i != HOST && pNumber->iCount <= 2)
            snprintf(szPart, sizeof(szPart), "%d", iSum);
        else
            snprintf(szPart, sizeof(szPart), "%.*s", pNumber->iCount, pNumber->cpFirst);
        v_APPEND(cpID, uiSize, szPart);
    }
}

// Takes the numbers for an address. Returns false when one is missing.
static bool bTakeAddress(const DIGITS strNumbers[ADDRESS_NUMBERS], SCSI_ADDRESS* pAddress)
{
    for (int i = 0; i < ADDRESS_NUMBERS; i++) {
        if (strNumbers[i].iCount == 0)
            return false;
        pAddress->ullNumbers[i] = strNumbers[i].ullValue;
    }
    return true;
}

// A number that is missing gives no ID: the one of an earlier entry would be another device's.
static void vReadHostLine(const char* szLine, bool bHost, LISTING_ENTRY* pEntry)
{
    DIGITS strNumbers[ADDRESS_NUMBERS];
    vFindNumbers(szLine, strNumbers);
    pEntry->iNum++;
    pEntry->bByColumns = !bOutsideColumns(strNumbers);
    pEntry->bAddress = bTakeAddress(strNumbers, &pEntry->strAddress);
    if (pEntry->bByColumns)
        vReadColumns(szLine, bHost, pEntry->szID, sizeof(pEntry->szID));
    else if (pEntry->bAddress)
        vReadWords(strNumbers, bHost, pEntry->szID, sizeof(pEntry->szID));
    else
        pEntry->szID[0] = '\0';
}

// Copies the columns uiFirst to uiFirst + uiCount - 1 of szLine, as far as the line goes.
static void vTakeField(char* cpField, const char* szLine, size_t uiFirst, size_t uiCount)
{
    v_COPY(cpField, uiCount + 1, strlen(szLine) > uiFirst ? szLine + uiFirst : "");
}

bool bReadListingLine(const char* szLine, bool bHost, LISTING_ENTRY* pEntry)
{
    if (strstr(szLine, "Host:") != nullptr && strlen(szLine) >= uiHOST_LINE_MIN)
        vReadHostLine(szLine, bHost, pEntry);
    if (strstr(szLine, "  Vendor:") != nullptr) {
        vTakeField(pEntry->szVendor, szLine, 9, 9);
        vTakeField(pEntry->szModel, szLine, 25, 17);
        vTakeField(pEntry->szRevision, szLine, 47, 5);
    }
    return strstr(szLine, "Type:") != nullptr;
}

DEVICE_KIND eKindOf(const char* szLine)
{
    if (strstr(szLine, "Medium Changer") != nullptr)
        return KIND_LOADER;
    return strstr(szLine, "Sequential-Access") != nullptr ? KIND_TAPE : KIND_OTHER;
}
