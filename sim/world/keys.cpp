// The keys of a description and how their values are read.
#include "keys.h"

#include "media.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define IN_LIBRARY(f) offsetof(LIBRARY, f)
#define IN_DEVICE(f) offsetof(DEVICE, f)
#define IN_CARTRIDGE(f) offsetof(CARTRIDGE, f)
const KEY gstrLibraryKeys[] = {
    {"strict_allocation", KEY_FLAG, false, IN_LIBRARY(bStrict),   0, 0},
    {"listing",           KEY_TEXT, false, IN_LIBRARY(cpListing), 0, 0},
    {"sysfs",             KEY_FLAG, false, IN_LIBRARY(bSysfs),    0, 1},
    {nullptr,             KEY_FLAG, false, 0,                     0, 0},
};
const KEY gstrDeviceKeys[] = {
    {"address",          KEY_ADDRESS,   false, IN_DEVICE(strAddress),     0,                 0 },
    {"type",             KEY_TYPE,      false, IN_DEVICE(eType),          0,                 0 },
    {"ansi",             KEY_NUMBER,    false, IN_DEVICE(iAnsi),          255,               5 },
    {"scsi_level",       KEY_NUMBER,    false, IN_DEVICE(iLevel),         256,               -1},
    {"sg",               KEY_NUMBER,    false, IN_DEVICE(iSg),            iSG_MAX - 1,       -1},
    {"generic_node",     KEY_NODE,      false, IN_DEVICE(strGenericNode), 0,                 0 },
    {"tape_node",        KEY_NODE,      false, IN_DEVICE(strTapeNode),    0,                 0 },
    {"held",             KEY_FLAG,      false, IN_DEVICE(bHeld),          0,                 0 },
    {"vendor",           KEY_TEXT,      false, IN_DEVICE(cpVendor),       0,                 0 },
    {"product",          KEY_TEXT,      false, IN_DEVICE(cpProduct),      0,                 0 },
    {"revision",         KEY_TEXT,      false, IN_DEVICE(cpRevision),     0,                 0 },
    {"delay_ms",         KEY_NUMBER,    false, IN_DEVICE(iDelay),         1000000,           0 },
    {"page",             KEY_DATA,      false, 0,                         257,               0 },
    {"transports",       KEY_ELEMENTS,  false, 0,                         ELEMENT_TRANSPORT, 0 },
    {"slots",            KEY_ELEMENTS,  false, 0,                         ELEMENT_SLOT,      0 },
    {"ports",            KEY_ELEMENTS,  false, 0,                         ELEMENT_PORT,      0 },
    {"drives",           KEY_ELEMENTS,  false, 0,                         ELEMENT_DRIVE,     0 },
    {"exception",        KEY_EXCEPTION, false, 0,                         0,                 0 },
    {"element",          KEY_NUMBER,    false, IN_DEVICE(iElement),       65535,             -1},
    {"auto_load",        KEY_FLAG,      false, IN_DEVICE(bAutoLoad),      0,                 0 },
    {"status_byte",      KEY_NUMBER,    false, IN_DEVICE(iStatusByte),    255,               -1},
    {"medium_type",      KEY_NUMBER,    false, IN_DEVICE(iMediumType),    255,               -1},
    {"node_address",     KEY_ADDRESS,   false, IN_DEVICE(strNodeAddress), 0,                 -1},
    {"node",             KEY_NUMBER,    true,  IN_DEVICE(iNode),          9999,              -2},
    {"loaded",           KEY_FLAG,      true,  IN_DEVICE(bLoaded),        0,                 0 },
    {"prevent",          KEY_FLAG,      true,  IN_DEVICE(bPrevent),       0,                 0 },
    {"cleaning",         KEY_FLAG,      true,  IN_DEVICE(bCleaning),      0,                 0 },
    {"density",          KEY_NUMBER,    true,  IN_DEVICE(iDensity),       255,               0 },
    {"buffered",         KEY_NUMBER,    true,  IN_DEVICE(iBuffered),      7,                 1 },
    {"block_length",     KEY_NUMBER,    true,  IN_DEVICE(iBlockLength),   0xFFFFFF,          0 },
    {"position",         KEY_NUMBER,    true,  IN_DEVICE(iPosition),      9999,              0 },
    {"compression_page", KEY_BYTES,     true,  IN_DEVICE(strCompression), 255,               0 },
    {"eeprom",           KEY_BYTES,     true,  IN_DEVICE(strEeprom),      255,               0 },
    {"written",          KEY_RECORD,    true,  0,                         MEDIA_DISK,        0 },
    {nullptr,            KEY_FLAG,      false, 0,                         0,                 0 },
};
const KEY gstrCartridgeKeys[] = {
    {"barcode",      KEY_TEXT,      false, IN_CARTRIDGE(cpBarcode),   0,               0 },
    {"kind",         KEY_MEDIUM,    false, IN_CARTRIDGE(eMedium),     0,               0 },
    {"protected",    KEY_FLAG,      false, IN_CARTRIDGE(bProtected),  0,               0 },
    {"medium_type",  KEY_NUMBER,    false, IN_CARTRIDGE(iMediumType), 255,             -1},
    {"label",        KEY_LABEL,     false, 0,                         0,               0 },
    {"label_text",   KEY_LATER,     false, 0,                         0,               0 },
    {"label_time",   KEY_LATER,     false, 0,                         0,               0 },
    {"label_etc",    KEY_LATER,     false, 0,                         0,               0 },
    {"label_header", KEY_DATA,      false, 0,                         90,              0 },
    {"block",        KEY_DATA,      false, 0,                         iBLOCK_MAX,      0 },
    {"attribute",    KEY_ATTRIBUTE, false, 0,                         0,               0 },
    {"place",        KEY_NUMBER,    true,  IN_CARTRIDGE(iPlace),      65535,           -1},
    {"source",       KEY_NUMBER,    true,  IN_CARTRIDGE(iSource),     65535,           -1},
    {"blank",        KEY_FLAG,      true,  IN_CARTRIDGE(bBlank),      0,               0 },
    {"written",      KEY_RECORD,    true,  0,                         MEDIA_CARTRIDGE, 0 },
    {nullptr,        KEY_FLAG,      false, 0,                         0,               0 },
};

struct SECTION {
    const char* cpHeader;
    const KEY* pKeys;
};

static const SECTION strSections[] = {
    {"[library]",   gstrLibraryKeys  },
    {"[device]",    gstrDeviceKeys   },
    {"[cartridge]", gstrCartridgeKeys},
};

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

const KEY* pFindKey(const KEY* pKeys, const char* cpName)
{
    for (const KEY* p = pKeys; p != nullptr && p->cpName != nullptr; p++) {
        if (p->cpName[0] == cpName[0] && strcmp(p->cpName, cpName) == 0)
            return p;
    }
    return nullptr;
}

const KEY* pSectionKeys(const char* cpHeader)
{
    for (const SECTION& strSection : strSections) {
        if (strcmp(cpHeader, strSection.cpHeader) == 0)
            return strSection.pKeys;
    }
    return nullptr;
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

// "4099 0x8300": an element of the changer so far has an exception.
static bool bAddException(const char* cp)
{
    int iAt;
    int iSense;
    if (!bTakeNumber(&cp, &iAt) || !bTakeNumber(&cp, &iSense) || !bAtEnd(cp) || iSense < 0)
        return false;
    ELEMENT* pElement = iAt >= 0 && iAt <= 65535 ? pElementAt((unsigned)iAt) : nullptr;
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

// Stores a number that a word stands for; returns false for -1.
static bool bStoreCode(void* vpEnum, int iCode)
{
    memcpy(vpEnum, &iCode, sizeof(iCode));
    return iCode >= 0;
}

// "none", or "c 21 3" and "b 8 0": what stands at a node instead of what the driver made.
static bool bStoreNode(DEVICE_NUMBER* pNumber, const char* cp)
{
    char szKind[8];
    if (!bTakeWord(&cp, szKind, sizeof(szKind)))
        return false;
    pNumber->eKind = strcmp(szKind, "none") == 0 ? NUMBER_NONE : NUMBER_DRIVER;
    if (pNumber->eKind == NUMBER_NONE)
        return bAtEnd(cp);
    pNumber->eKind = szKind[0] == 'b' ? NUMBER_BLOCK : NUMBER_CHARACTER;
    return (strcmp(szKind, "b") == 0 || strcmp(szKind, "c") == 0) &&
           bTakeNumber(&cp, &pNumber->iMajor) && bTakeNumber(&cp, &pNumber->iMinor) && bAtEnd(cp) &&
           pNumber->iMajor >= 0 && pNumber->iMinor >= 0;
}

// "0 2a00": what was written on the medium that is being described.
static bool bStoreRecord(MEDIA_OWNER eOwner, const char* cp)
{
    static unsigned char cData[iBLOCK_MAX + 1];
    int iAt;
    const int iOwner = eOwner == MEDIA_DISK ? gstrLib.iDevices - 1 : gstrLib.iCartridges - 1;
    const int iLen = bTakeNumber(&cp, &iAt) ? iData(cp, gcpLibrary, cData, iBLOCK_MAX) : -1;
    if (iLen < 0 || iAt < 0)
        return false;
    return bAddRecord(eOwner, iOwner, iAt, cData, iLen) || bRefuse("too much is written");
}

bool bStore(const KEY* pKey, char* cpObject, const char* cp)
{
    static unsigned char cScratch[iBLOCK_MAX + 1];
    int iId;
    int iFormat;
    void* vp = cpObject + pKey->uiOffset;
    BYTES* pBytes = (BYTES*)vp;
    switch (pKey->eKind) {
    case KEY_NUMBER:
        return bStoreNumber(pKey, (int*)vp, cp);
    case KEY_FLAG:
        return bStoreFlag((bool*)vp, cp);
    case KEY_TEXT:
        *(const char**)vp = cp;
        return true;
    case KEY_TYPE:
        return bStoreCode(vp, iWordAmong(cpTypes, iTYPES, cp));
    case KEY_MEDIUM:
        return bStoreCode(vp, iWordAmong(cpMedia, iWORDS, cp));
    case KEY_ADDRESS:
        return bStoreAddress((ADDRESS*)vp, cp);
    case KEY_BYTES:
        pBytes->iLen = iData(cp, gcpLibrary, pBytes->c, pKey->iLimit);
        return pBytes->iLen >= 0;
    case KEY_DATA:
        return iData(cp, gcpLibrary, cScratch, pKey->iLimit + 1) >= 0;
    case KEY_ATTRIBUTE:
        return iAttribute(cp, &iId, &iFormat, cScratch) >= 0;
    case KEY_ELEMENTS:
        return bAddElements(cp, (ELEMENT_TYPE)pKey->iLimit);
    case KEY_LABEL:
        return strcmp(cp, "2A") == 0 || strcmp(cp, "TAPE") == 0;
    case KEY_EXCEPTION:
        return bAddException(cp);
    case KEY_NODE:
        return bStoreNode((DEVICE_NUMBER*)vp, cp);
    case KEY_RECORD:
        return bStoreRecord((MEDIA_OWNER)pKey->iLimit, cp);
    case KEY_LATER:
        return true;
    }
    return false;
}

char* cpNew(const KEY* pKeys, void* vpObject)
{
    for (const KEY* p = pKeys; p->cpName != nullptr; p++) {
        void* vp = (char*)vpObject + p->uiOffset;
        if (p->eKind == KEY_TEXT)
            *(const char**)vp = "";
        else if (p->eKind == KEY_FLAG)
            *(bool*)vp = p->iDefault != 0;
        else if (p->eKind == KEY_NUMBER || p->eKind == KEY_ADDRESS)
            *(int*)vp = p->iDefault; // of an address, the host
    }
    return (char*)vpObject;
}
