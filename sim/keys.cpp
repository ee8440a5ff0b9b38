// The keys of a description and how their values are read.
#include "keys.h"

#include <errno.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define IN_LIBRARY(f) offsetof(LIBRARY, f)
#define IN_DEVICE(f) offsetof(DEVICE, f)
#define IN_CARTRIDGE(f) offsetof(CARTRIDGE, f)
const KEY gLibraryKeys[] = {
    {"strict_allocation", K_NUMBER, 0, IN_LIBRARY(iStrict),   1, 0},
    {"listing",           K_TEXT,   0, IN_LIBRARY(cpListing), 0, 0},
    {"sysfs",             K_NUMBER, 0, IN_LIBRARY(iSysfs),    1, 1},
    {nullptr,             0,        0, 0,                     0, 0}
};
const KEY gDeviceKeys[] = {
    {"address",          K_ADDRESS,   0, IN_DEVICE(iAddress),     0,                 0 },
    {"type",             K_TYPE,      0, IN_DEVICE(iType),        0,                 0 },
    {"ansi",             K_NUMBER,    0, IN_DEVICE(iAnsi),        255,               5 },
    {"scsi_level",       K_NUMBER,    0, IN_DEVICE(iLevel),       256,               -1},
    {"sg",               K_NUMBER,    0, IN_DEVICE(iSg),          SG_MAX - 1,        -1},
    {"vendor",           K_TEXT,      0, IN_DEVICE(cpVendor),     0,                 0 },
    {"product",          K_TEXT,      0, IN_DEVICE(cpProduct),    0,                 0 },
    {"revision",         K_TEXT,      0, IN_DEVICE(cpRevision),   0,                 0 },
    {"delay_ms",         K_NUMBER,    0, IN_DEVICE(iDelay),       1000000,           0 },
    {"page",             K_DATA,      0, 0,                       257,               0 },
    {"transports",       K_ELEMENTS,  0, 0,                       ELEMENT_TRANSPORT, 0 },
    {"slots",            K_ELEMENTS,  0, 0,                       ELEMENT_SLOT,      0 },
    {"ports",            K_ELEMENTS,  0, 0,                       ELEMENT_PORT,      0 },
    {"drives",           K_ELEMENTS,  0, 0,                       ELEMENT_DRIVE,     0 },
    {"exception",        K_EXCEPTION, 0, 0,                       0,                 0 },
    {"element",          K_NUMBER,    0, IN_DEVICE(iElement),     65535,             -1},
    {"auto_load",        K_NUMBER,    0, IN_DEVICE(iAutoLoad),    1,                 0 },
    {"status_byte",      K_NUMBER,    0, IN_DEVICE(iStatusByte),  255,               -1},
    {"medium_type",      K_NUMBER,    0, IN_DEVICE(iMediumType),  255,               -1},
    {"node_address",     K_ADDRESS,   0, IN_DEVICE(iNodeAddress), 0,                 -1},
    {"node",             K_NUMBER,    1, IN_DEVICE(iNode),        9999,              -2},
    {"loaded",           K_NUMBER,    1, IN_DEVICE(iLoaded),      1,                 0 },
    {"prevent",          K_NUMBER,    1, IN_DEVICE(iPrevent),     1,                 0 },
    {"cleaning",         K_NUMBER,    1, IN_DEVICE(iCleaning),    1,                 0 },
    {"density",          K_NUMBER,    1, IN_DEVICE(iDensity),     255,               0 },
    {"buffered",         K_NUMBER,    1, IN_DEVICE(iBuffered),    7,                 1 },
    {"block_length",     K_NUMBER,    1, IN_DEVICE(iBlockLength), 0xFFFFFF,          0 },
    {"position",         K_NUMBER,    1, IN_DEVICE(iPosition),    9999,              0 },
    {"compression_page", K_BYTES,     1, IN_DEVICE(bCompression), 255,               0 },
    {"eeprom",           K_BYTES,     1, IN_DEVICE(bEeprom),      255,               0 },
    {nullptr,            0,           0, 0,                       0,                 0 }
};
const KEY gCartridgeKeys[] = {
    {"barcode",      K_TEXT,      0, IN_CARTRIDGE(cpBarcode),   0,         0 },
    {"kind",         K_MEDIUM,    0, IN_CARTRIDGE(iKind),       0,         0 },
    {"protected",    K_NUMBER,    0, IN_CARTRIDGE(iProtected),  1,         0 },
    {"medium_type",  K_NUMBER,    0, IN_CARTRIDGE(iMediumType), 255,       -1},
    {"label",        K_LABEL,     0, 0,                         0,         0 },
    {"label_text",   K_LATER,     0, 0,                         0,         0 },
    {"label_time",   K_LATER,     0, 0,                         0,         0 },
    {"label_etc",    K_LATER,     0, 0,                         0,         0 },
    {"label_header", K_DATA,      0, 0,                         90,        0 },
    {"block",        K_DATA,      0, 0,                         BLOCK_MAX, 0 },
    {"attribute",    K_ATTRIBUTE, 0, 0,                         0,         0 },
    {"place",        K_NUMBER,    1, IN_CARTRIDGE(iPlace),      65535,     -1},
    {"source",       K_NUMBER,    1, IN_CARTRIDGE(iSource),     65535,     -1},
    {"blank",        K_NUMBER,    1, IN_CARTRIDGE(iBlank),      1,         0 },
    {nullptr,        0,           0, 0,                         0,         0 }
};

static const struct {
    const char* cpHeader;
    const KEY* pKeys;
} gSections[] = {
    {"[library]",   gLibraryKeys  },
    {"[device]",    gDeviceKeys   },
    {"[cartridge]", gCartridgeKeys}
};

// Device types by their SCSI code: the word here, and the kernel's in its listing.
static const char* const gTypes[][2] = {
    {"disk",           "Direct-Access    "},
    {"tape",           "Sequential-Access"},
    {"printer",        "Printer          "},
    {"processor",      "Processor        "},
    {"worm",           "WORM             "},
    {"cdrom",          "CD-ROM           "},
    {"scanner",        "Scanner          "},
    {"optical",        "Optical Device   "},
    {"changer",        "Medium Changer   "},
    {"communications", "Communications   "},
    {"prepress",       "ASC IT8          "},
    {"prepress2",      "ASC IT8          "},
    {"raid",           "RAID             "},
    {"enclosure",      "Enclosure        "}
};

const char* cpTypeName(int iType)
{
    return gTypes[iType][1];
}

// The key of this name in a section, null when the section has none or there is no section yet.
const KEY* pFindKey(const KEY* pKeys, const char* cpName)
{
    for (const KEY* p = pKeys; p && p->cpName; p++) {
        if (p->cpName[0] == cpName[0] && strcmp(p->cpName, cpName) == 0)
            return p;
    }
    return nullptr;
}

// The keys of the section that a line begins, null for a line that begins none.
const KEY* pSectionKeys(const char* cpHeader)
{
    for (const auto& section : gSections) {
        if (strcmp(cpHeader, section.cpHeader) == 0)
            return section.pKeys;
    }
    return nullptr;
}

char gszReason[128];

// Says why a value is refused; returns 0.
int iRefuse(const char* cpFormat, ...)
{
    va_list args;
    va_start(args, cpFormat);
    vsnprintf(gszReason, sizeof(gszReason), cpFormat, args);
    va_end(args);
    return 0;
}

// "8 from 4096": appends elements of a type to the changer that is being described.
static int iAddElements(const char* cp, int iType)
{
    int iCount, iFirst;
    char szFrom[8];
    if (!iTakeNumber(&cp, &iCount) || !iTakeWord(&cp, szFrom, sizeof(szFrom)) ||
        strcmp(szFrom, "from") != 0 || !iTakeNumber(&cp, &iFirst) || !iAtEnd(cp) || iCount < 0 ||
        iFirst < 0)
        return 0;
    if (iCount > ELEMENT_MAX - gLib.iElements)
        return iRefuse("more than %d elements", ELEMENT_MAX);
    if (iFirst > 65536 - iCount)
        return iRefuse("an element address is at most 65535");
    for (int i = 0; i < iCount; i++) {
        if (!bAddElement(iFirst + i, iType))
            return iRefuse("there is an element at %d already", iFirst + i);
    }
    return 1;
}

// "4099 0x8300": an element of the changer so far has an exception.
static int iAddException(const char* cp)
{
    int iAt, iSense, iFound = 0;
    if (!iTakeNumber(&cp, &iAt) || !iTakeNumber(&cp, &iSense) || !iAtEnd(cp))
        return 0;
    for (int i = 0; i < gLib.iElements; i++) {
        if (gLib.element[i].iAddress == iAt) {
            gLib.element[i].iException = iSense & 0xFFFF;
            iFound = 1;
        }
    }
    return iFound ? 1 : iRefuse("no element at %d so far", iAt);
}

// "0x0400 ascii DATA", a value of up to VALUE_MAX bytes. Returns its length, -1 for a mistake.
int iAttribute(const char* cp, int* ipId, int* ipFormat, unsigned char* cpOut)
{
    static const char* const formats[] = {"binary", "ascii", "text"};
    char szFormat[8];
    if (!iTakeNumber(&cp, ipId) || !iTakeWord(&cp, szFormat, sizeof(szFormat)))
        return -1;
    for (*ipFormat = 0; *ipFormat < 3; ++*ipFormat) {
        if (strcmp(szFormat, formats[*ipFormat]) == 0)
            return iData(cp, gcpLibrary, cpOut, VALUE_MAX + 1);
    }
    return -1;
}

static int iTypeNamed(const char* cp, int* ipType)
{
    for (int i = 0; i < (int)(sizeof(gTypes) / sizeof(gTypes[0])); i++) {
        if (strcmp(cp, gTypes[i][0]) == 0) {
            *ipType = i;
            return 1;
        }
    }
    return 0;
}

static int iMediumNamed(const char* cp, int* ipKind)
{
    static const char* const kinds[] = {"data", "worm", "cleaning"};
    for (*ipKind = 0; *ipKind < 3; ++*ipKind) {
        if (strcmp(cp, kinds[*ipKind]) == 0)
            return 1;
    }
    return 0;
}

static int iStoreNumber(const KEY* pKey, int* ip, const char* cp)
{
    if (!iTakeNumber(&cp, ip) || !iAtEnd(cp))
        return 0;
    if (*ip > pKey->iLimit)
        return iRefuse("at most %d", pKey->iLimit);
    if (*ip < (pKey->iDefault < 0 ? -1 : 0))
        return iRefuse("a number is needed");
    return 1;
}

// "0:0:4:0"
static int iStoreAddress(int* ip, const char* cp)
{
    for (int i = 0; i < 4; i++) {
        char* cpEnd;
        errno = 0;
        const long iNumber = strtol(cp, &cpEnd, 10);
        if (cpEnd == cp || *cpEnd != (i < 3 ? ':' : '\0'))
            return 0;
        if (errno || iNumber < 0 || iNumber > INT32_MAX)
            return iRefuse("the numbers of an address are from 0 to %d", INT32_MAX);
        ip[i] = (int)iNumber;
        cp = cpEnd + 1;
    }
    return 1;
}

// Stores one value; returns 0 when it is not of the key's kind.
int iStore(const KEY* pKey, char* cpObject, const char* cp)
{
    static unsigned char cScratch[BLOCK_MAX + 1];
    int iFirst, iSecond, *ip = (int*)(cpObject + pKey->uiOffset);
    BYTES* pBytes = (BYTES*)ip;
    switch (pKey->iKind) {
    case K_NUMBER:
        return iStoreNumber(pKey, ip, cp);
    case K_TEXT:
        *(const char**)ip = cp;
        return 1;
    case K_TYPE:
        return iTypeNamed(cp, ip);
    case K_MEDIUM:
        return iMediumNamed(cp, ip);
    case K_ADDRESS:
        return iStoreAddress(ip, cp);
    case K_BYTES:
        pBytes->iLen = iData(cp, gcpLibrary, pBytes->c, pKey->iLimit);
        return pBytes->iLen >= 0;
    case K_DATA:
        return iData(cp, gcpLibrary, cScratch, pKey->iLimit + 1) >= 0;
    case K_ATTRIBUTE:
        return iAttribute(cp, &iFirst, &iSecond, cScratch) >= 0;
    case K_ELEMENTS:
        return iAddElements(cp, pKey->iLimit);
    case K_LABEL:
        return strcmp(cp, "2A") == 0 || strcmp(cp, "TAPE") == 0;
    case K_EXCEPTION:
        return iAddException(cp);
    default:
        return 1;
    }
}

// Gives an object the values that its description need not name.
char* cpNew(const KEY* pKeys, void* vpObject)
{
    for (const KEY* p = pKeys; p->cpName; p++) {
        char* cp = (char*)vpObject + p->uiOffset;
        if (p->iKind == K_TEXT)
            *(const char**)cp = "";
        else if (p->iKind == K_NUMBER || p->iKind == K_ADDRESS)
            *(int*)cp = p->iDefault;
    }
    return (char*)vpObject;
}
