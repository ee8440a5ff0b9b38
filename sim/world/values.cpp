// How the values in a description are read.
#include "keys.h"
#include "media.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

// Device types by their SCSI code.
static const char* const cpTypes[] = {
    "disk",    "tape",    "printer",        "processor", "worm",      "cdrom", "scanner",
    "optical", "changer", "communications", "prepress",  "prepress2", "raid",  "enclosure",
};
static const int iTYPES = sizeof(cpTypes) / sizeof(cpTypes[0]);

// Media kinds and the formats of attributes, by their numbers.
static const char* const cpMedia[] = {"data", "worm", "cleaning"};
static const char* const cpFormats[] = {"binary", "ascii", "text"};
static const int iWORDS = 3; // in both

char gszReason[128];

bool bRefuse(const char* cpFormat, ...)
{
    va_list args;
    va_start(args, cpFormat);
    vsnprintf(gszReason, sizeof(gszReason), cpFormat, args);
    va_end(args);
    return false;
}

// Place of a word in a table, -1 when it is none of them.
static int iWordAmong(const char* const* cppWords, int iWords, const char* cpWord)
{
    for (int i = 0; i < iWords; i++) {
        if (strcmp(cpWord, cppWords[i]) == 0)
            return i;
    }
    return -1;
}

// "8 from 4096": appends elements of a type to the changer that is being described.
static bool bAddElements(const char* cp, ELEMENT_TYPE eType)
{
    int iCount;
    int iFirst;
    char szFrom[8];
    if (!bTakeNumber(&cp, &iCount) || !bTakeWord(&cp, szFrom, sizeof(szFrom)) ||
        strcmp(szFrom, "from") != 0 || !bTakeNumber(&cp, &iFirst) || !bAtEnd(cp) || iCount < 0 ||
        iFirst < 0)
        return false;
    if (iCount > iELEMENT_MAX - gstrLib.iElements)
        return bRefuse("more than %d elements", iELEMENT_MAX);
    if (iFirst > 65536 - iCount)
        return bRefuse("an element address is at most 65535");
    for (int i = 0; i < iCount; i++) {
        if (!bAddElement(iFirst + i, eType))
            return bRefuse("there is an element at %d already", iFirst + i);
    }
    return true;
}

// "drives transports": the types in the order in which a changer reports them; the others follow.
static bool bStoreOrder(ELEMENT_TYPE* pOrder, const char* cp)
{
    static const char* const cpNames[] = {"transports", "slots", "ports", "drives"};
    char szName[12];
    bool bNamed[iELEMENT_TYPES] = {};
    int iNext = 0;
    while (!bAtEnd(cp)) {
        const bool bWord = bTakeWord(&cp, szName, sizeof(szName));
        const int iType = bWord ? iWordAmong(cpNames, iELEMENT_TYPES, szName) : -1;
        if (iType < 0 || bNamed[iType])
            return false;
        bNamed[iType] = true;
        pOrder[iNext++] = (ELEMENT_TYPE)(ELEMENT_TRANSPORT + iType);
    }
    for (int i = 0; i < iELEMENT_TYPES; i++) {
        if (!bNamed[i])
            pOrder[iNext++] = (ELEMENT_TYPE)(ELEMENT_TRANSPORT + i);
    }
    return true;
}

// "4099 0x8300": an element of the changer so far has an exception.
static bool bAddException(int iChanger, const char* cp)
{
    int iAt;
    int iSense;
    if (!bTakeNumber(&cp, &iAt) || !bTakeNumber(&cp, &iSense) || !bAtEnd(cp) || iSense < 0)
        return false;
    ELEMENT* pElement = pElementAt(iChanger, iAt);
    if (pElement == nullptr)
        return bRefuse("no element at %d so far", iAt);
    pElement->iException = iSense & 0xFFFF;
    return true;
}

int iAttribute(const char* cp, int* ipId, int* ipFormat, unsigned char* cpOut)
{
    char szFormat[8];
    if (!bTakeNumber(&cp, ipId) || !bTakeWord(&cp, szFormat, sizeof(szFormat)))
        return -1;
    *ipFormat = iWordAmong(cpFormats, iWORDS, szFormat);
    return *ipFormat < 0 ? -1 : iData(cp, gcpLibrary, cpOut, iVALUE_MAX + 1);
}

static bool bStoreNumber(const KEY* pKey, int* ip, const char* cp)
{
    if (!bTakeNumber(&cp, ip) || !bAtEnd(cp))
        return false;
    if (*ip > pKey->iLimit)
        return bRefuse("at most %d", pKey->iLimit);
    if (*ip < 0 && pKey->iDefault >= 0)
        return bRefuse("a number is needed");
    return true;
}

static bool bStoreFlag(bool* bp, const char* cp)
{
    int iValue;
    if (!bTakeNumber(&cp, &iValue) || !bAtEnd(cp) || (iValue != 0 && iValue != 1))
        return bRefuse("yes or no is needed");
    *bp = iValue != 0;
    return true;
}

// "0:0:4:0"
static bool bStoreAddress(ADDRESS* pAddress, const char* cp)
{
    int* const ipParts[] = {&pAddress->iHost, &pAddress->iChannel, &pAddress->iTarget,
                            &pAddress->iLun};
    for (int i = 0; i < 4; i++) {
        char* cpEnd;
        errno = 0;
        const long iNumber = strtol(cp, &cpEnd, 10);
        if (cpEnd == cp || *cpEnd != (i < 3 ? ':' : '\0'))
            return false;
        if (errno != 0 || iNumber < 0 || iNumber > INT32_MAX)
            return bRefuse("the numbers of an address are from 0 to %d", INT32_MAX);
        *ipParts[i] = (int)iNumber;
        cp = cpEnd + 1;
    }
    return true;
}

// Stores the place of a word in a table, as the code that it stands for.
template <typename CODE>
static bool bStoreCode(CODE* p, const char* const* cppWords, int iWords, const char* cp)
{
    const int iCode = iWordAmong(cppWords, iWords, cp);
    *p = (CODE)iCode;
    return iCode >= 0;
}

// "0 2a00": what was written on a medium.
static bool bStoreRecord(MEDIA_OWNER eOwner, int iOwner, const char* cp)
{
    static unsigned char cData[iBLOCK_MAX + 1];
    int iAt;
    const int iLen = bTakeNumber(&cp, &iAt) ? iData(cp, gcpLibrary, cData, iBLOCK_MAX) : -1;
    if (iLen < 0 || iAt < 0)
        return false;
    return bAddRecord(eOwner, iOwner, iAt, cData, iLen) || bRefuse("too much is written");
}

bool bStore(const KEY* pKey, int iIndex, const char* cp)
{
    static unsigned char cScratch[iBLOCK_MAX + 1];
    int iId;
    int iFormat;
    const VALUE strValue = pKey->strIn != nullptr ? pKey->strIn(iIndex) : VALUE{};
    switch (pKey->eKind) {
    case KEY_NUMBER:
        return bStoreNumber(pKey, strValue.ip, cp);
    case KEY_FLAG:
        return bStoreFlag(strValue.bp, cp);
    case KEY_TEXT:
        *strValue.cpp = cp;
        return true;
    case KEY_TYPE:
        return bStoreCode(strValue.pType, cpTypes, iTYPES, cp);
    case KEY_MEDIUM:
        return bStoreCode(strValue.pMedium, cpMedia, iWORDS, cp);
    case KEY_ADDRESS:
        return bStoreAddress(strValue.pAddress, cp);
    case KEY_NODE:
        return bTakeDeviceNumber(&cp, strValue.pNumber) && bAtEnd(cp);
    case KEY_BYTES:
        strValue.pBytes->iLen = iData(cp, gcpLibrary, strValue.pBytes->c, pKey->iLimit);
        return strValue.pBytes->iLen >= 0;
    case KEY_DATA:
        return iData(cp, gcpLibrary, cScratch, pKey->iLimit + 1) >= 0;
    case KEY_ATTRIBUTE:
        return iAttribute(cp, &iId, &iFormat, cScratch) >= 0;
    case KEY_ELEMENTS:
        return bAddElements(cp, (ELEMENT_TYPE)pKey->iLimit);
    case KEY_LABEL:
        return strcmp(cp, "2A") == 0 || strcmp(cp, "TAPE") == 0;
    case KEY_EXCEPTION:
        return bAddException(iIndex, cp);
    case KEY_ORDER:
        return bStoreOrder(gstrLib.strDevices[iIndex].eOrder, cp);
    case KEY_RECORD:
        return bStoreRecord((MEDIA_OWNER)pKey->iLimit, iIndex, cp);
    case KEY_LATER:
        return true;
    }
    return false;
}
