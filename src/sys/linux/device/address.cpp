// Addresses and IDs. Stands on the common library's text helpers alone.
#include "device/address.h"

#include "cm_common.h"

#include <limits.h>
#include <stdio.h>
#include <string.h>

const char* cpReadDigits(const char* cpText, unsigned long long* pNumber)
{
    for (*pNumber = 0; *cpText >= '0' && *cpText <= '9'; cpText++) {
        const unsigned long long ullDigit = (unsigned long long)(*cpText - '0');
        *pNumber = *pNumber > (ULLONG_MAX - ullDigit) / 10 ? ULLONG_MAX : *pNumber * 10 + ullDigit;
    }
    return cpText;
}

bool bTakeNumber(const char** cppText, char cEnd, unsigned long long* pNumber)
{
    const char* cpEnd = cpReadDigits(*cppText, pNumber);
    const bool bTaken = cpEnd > *cppText && *cpEnd == cEnd;
    *cppText = cpEnd + 1;
    return bTaken;
}

bool bReadAddress(const char* cpText, SCSI_ADDRESS* pAddress)
{
    for (int i = 0; i < ADDRESS_NUMBERS; i++) {
        if (!bTakeNumber(&cpText, i < LUN ? ':' : '\0', &pAddress->ullNumbers[i]))
            return false;
    }
    return true;
}

// Writes the numbers of an address one after another, each but the first behind cpBetween.
static const char* cpWriteNumbers(const SCSI_ADDRESS* pAddress, const char* cpBetween,
                                  char (&szText)[iADDRESS_SIZE])
{
    const unsigned long long* ullNumbers = pAddress->ullNumbers;
    snprintf(szText, sizeof(szText), "%llu%s%llu%s%llu%s%llu", ullNumbers[HOST], cpBetween,
             ullNumbers[CHANNEL], cpBetween, ullNumbers[TARGET], cpBetween, ullNumbers[LUN]);
    return szText;
}

const char* cpWriteAddress(const SCSI_ADDRESS* pAddress, char (&szText)[iADDRESS_SIZE])
{
    return cpWriteNumbers(pAddress, ":", szText);
}

bool bSameAddress(const SCSI_ADDRESS* pOne, const SCSI_ADDRESS* pOther)
{
    return memcmp(pOne->ullNumbers, pOther->ullNumbers, sizeof(pOne->ullNumbers)) == 0;
}

SCSI_ADDRESS strAddressOfWord(unsigned int uiWord)
{
    return {
        {uiWord >> 24, uiWord >> 16 & 0xFF, uiWord & 0xFF, uiWord >> 8 & 0xFF}
    };
}

const char* cpFullID(const SCSI_ADDRESS* pAddress, char (&szID)[iADDRESS_SIZE])
{
    return cpWriteNumbers(pAddress, "", szID);
}

void vAppendNumber(char (&szID)[iID_SIZE], int iNumber)
{
    // Most are digits, and a listing has many: snprintf would be most of the work on it.
    char szNumber[12] = {(char)('0' + iNumber), '\0'};
    if (iNumber < 0 || iNumber > 9)
        snprintf(szNumber, sizeof(szNumber), "%d", iNumber);
    v_APPEND(szID, sizeof(szID), szNumber);
}

int iDigitSum(const char* cpDigits)
{
    return cpDigits[0] + cpDigits[1] - 2 * '0';
}

void vWriteID(const SCSI_ADDRESS* pAddress, bool bHost, char (&szID)[iID_SIZE])
{
    szID[0] = '\0';
    for (int i = bHost ? HOST : CHANNEL; i < ADDRESS_NUMBERS; i++) {
        const unsigned long long ullNumber = pAddress->ullNumbers[i];
        char szNumber[24];
        if (i != HOST && ullNumber < 100) {
            vAppendNumber(szID, (int)(ullNumber / 10 + ullNumber % 10));
        } else {
            snprintf(szNumber, sizeof(szNumber), "%llu", ullNumber);
            v_APPEND(szID, sizeof(szID), szNumber);
        }
    }
}

bool bWithoutHost(const char* cpID)
{
    return strlen(cpID) == 3;
}

char cLunOf(const char* cpID)
{
    const size_t uiLength = strlen(cpID);
    return uiLength == 3 || uiLength == 4 ? cpID[uiLength - 1] : '0';
}

int iBusLength(const SCSI_ADDRESS* pAddress, bool bHost)
{
    char szID[iID_SIZE];
    char szRest[iID_SIZE];
    const SCSI_ADDRESS strRest = {
        {0, 0, pAddress->ullNumbers[TARGET], pAddress->ullNumbers[LUN]}
    };
    vWriteID(pAddress, bHost, szID);
    vWriteID(&strRest, false, szRest);
    return (int)strlen(szID) - ((int)strlen(szRest) - 1);
}
