// Reads the kernel's listing of SCSI devices line by line. Stands on address.
//
// The numbers of a host line stand in columns as long as the host has one digit and the others have
// two. Every SATA port and every iSCSI login is a host of its own, so that larger numbers are
// common: they shift the columns and are read behind their words instead.
#include "device/listing.h"

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

static void vReadColumns(const char* szLine, bool bHost, char (&szID)[iID_SIZE])
{
    static const unsigned char cColumns[] = {21, 28, 36}; // channel, target, LUN
    szID[0] = '\0';
    if (bHost)
        vAppendNumber(szID, szLine[10] - '0');
    for (const unsigned char cColumn : cColumns)
        vAppendNumber(szID, iDigitSum(szLine + cColumn));
}

// The host stands in full, then each number: one or two digits as their sum, like in the columns,
// and more in full, as they stand.
static void vReadWords(const DIGITS strNumbers[ADDRESS_NUMBERS], bool bHost, LISTING_ENTRY* pEntry)
{
    char(&szID)[iID_SIZE] = pEntry->szID;
    szID[0] = '\0';
    for (int i = bHost ? HOST : CHANNEL; i < ADDRESS_NUMBERS; i++) {
        const DIGITS* pNumber = &strNumbers[i];
        if (i == TARGET)
            pEntry->iBus = (int)strlen(szID);
        char szDigits[iID_SIZE];
        int iSum = 0;
        for (int j = 0; j < pNumber->iCount; j++)
            iSum += pNumber->cpFirst[j] - '0';
        if (i != HOST && pNumber->iCount <= 2) {
            vAppendNumber(szID, iSum);
        } else {
            snprintf(szDigits, sizeof(szDigits), "%.*s", pNumber->iCount, pNumber->cpFirst);
            v_APPEND(szID, sizeof(szID), szDigits);
        }
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
    pEntry->iBus = 0;
    pEntry->bByColumns = !bOutsideColumns(strNumbers);
    pEntry->bAddress = bTakeAddress(strNumbers, &pEntry->strAddress);
    if (pEntry->bByColumns)
        vReadColumns(szLine, bHost, pEntry->szID);
    else if (pEntry->bAddress)
        vReadWords(strNumbers, bHost, pEntry);
    else
        pEntry->szID[0] = '\0';
}

// Copies the columns uiFirst to uiFirst + uiCount - 1 of szLine, as far as the line goes.
static void vTakeField(char* cpField, const char* szLine, size_t uiFirst, size_t uiCount)
{
    v_COPY(cpField, uiCount + 1, strlen(szLine) > uiFirst ? szLine + uiFirst : "");
}

// Whether cpWord stands before the colon at cpColon.
static bool bWordBefore(const char* szLine, const char* cpColon, const char* cpWord)
{
    const size_t uiLength = strlen(cpWord);
    return (size_t)(cpColon - szLine) >= uiLength &&
           memcmp(cpColon - uiLength, cpWord, uiLength) == 0;
}

// Returns the kind of device that a type line names.
static DEVICE_KIND eKindOf(const char* szLine)
{
    if (strstr(szLine, "Medium Changer") != nullptr)
        return KIND_LOADER;
    return strstr(szLine, "Sequential-Access") != nullptr ? KIND_TAPE : KIND_OTHER;
}

bool bReadListingLine(const char* szLine, bool bHost, LISTING_ENTRY* pEntry)
{
    bool bHostLine = false;
    bool bVendorLine = false;
    bool bTypeLine = false;
    for (const char* cpColon = strchr(szLine, ':'); cpColon != nullptr;
         cpColon = strchr(cpColon + 1, ':')) {
        bHostLine = bHostLine || bWordBefore(szLine, cpColon, "Host");
        bVendorLine = bVendorLine || bWordBefore(szLine, cpColon, "  Vendor");
        bTypeLine = bTypeLine || bWordBefore(szLine, cpColon, "Type");
    }
    if (bHostLine && strlen(szLine) >= uiHOST_LINE_MIN)
        vReadHostLine(szLine, bHost, pEntry);
    if (bVendorLine) {
        vTakeField(pEntry->szVendor, szLine, 9, 9);
        vTakeField(pEntry->szModel, szLine, 25, 17);
        vTakeField(pEntry->szRevision, szLine, 47, 5);
    }
    if (bTypeLine)
        pEntry->eKind = eKindOf(szLine);
    return bTypeLine;
}
