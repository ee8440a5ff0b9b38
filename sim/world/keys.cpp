// The keys of a description.
#include "keys.h"

#include "media.h"

#include <string.h>

// Where the value of a key is: a field of the iIndex-th object of a section.
// NOLINTBEGIN(bugprone-macro-parentheses): names of types and members take none.
#define VALUE_OF(TYPE, member)                                                                     \
    static VALUE strAt(TYPE* p)                                                                    \
    {                                                                                              \
        return {.member = p};                                                                      \
    }
VALUE_OF(int, ip)
VALUE_OF(bool, bp)
VALUE_OF(const char*, cpp)
VALUE_OF(DEVICE_TYPE, pType)
VALUE_OF(MEDIUM, pMedium)
VALUE_OF(ADDRESS, pAddress)
VALUE_OF(DEVICE_NUMBER, pNumber)
VALUE_OF(BYTES, pBytes)
#define IN_LIBRARY(f) [](int) { return strAt(&gstrLib.f); }
#define IN_DEVICE(f) [](int iIndex) { return strAt(&gstrLib.strDevices[iIndex].f); }
#define IN_CARTRIDGE(f) [](int iIndex) { return strAt(&gstrLib.strCartridges[iIndex].f); }
// NOLINTEND(bugprone-macro-parentheses)

const KEY gstrLibraryKeys[] = {
    {"strict_allocation", KEY_FLAG,   false, IN_LIBRARY(bStrict),        0,             0            },
    {"load_attention",    KEY_FLAG,   false, IN_LIBRARY(bLoadAttention), 0,             0            },
    {"max_transfer",      KEY_NUMBER, false, IN_LIBRARY(iMaxTransfer),   iTRANSFER_MAX, iTRANSFER_MAX},
    {"listing",           KEY_TEXT,   false, IN_LIBRARY(cpListing),      0,             0            },
    {"sysfs",             KEY_FLAG,   false, IN_LIBRARY(bSysfs),         0,             1            },
    {nullptr,             KEY_FLAG,   false, nullptr,                    0,             0            },
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
    {"page",             KEY_DATA,      false, nullptr,                   257,               0 },
    {"transports",       KEY_ELEMENTS,  false, nullptr,                   ELEMENT_TRANSPORT, 0 },
    {"slots",            KEY_ELEMENTS,  false, nullptr,                   ELEMENT_SLOT,      0 },
    {"ports",            KEY_ELEMENTS,  false, nullptr,                   ELEMENT_PORT,      0 },
    {"drives",           KEY_ELEMENTS,  false, nullptr,                   ELEMENT_DRIVE,     0 },
    {"element_order",    KEY_ORDER,     false, nullptr,                   0,                 0 },
    {"exception",        KEY_EXCEPTION, false, nullptr,                   0,                 0 },
    {"changer",          KEY_ADDRESS,   false, IN_DEVICE(strChanger),     0,                 -1},
    {"element",          KEY_NUMBER,    false, IN_DEVICE(iElement),       65535,             -1},
    {"load_ms",          KEY_NUMBER,    false, IN_DEVICE(iLoadTime),      1000000,           0 },
    {"auto_load",        KEY_FLAG,      false, IN_DEVICE(bAutoLoad),      0,                 0 },
    {"status_byte",      KEY_NUMBER,    false, IN_DEVICE(iStatusByte),    255,               -1},
    {"medium_type",      KEY_NUMBER,    false, IN_DEVICE(iMediumType),    255,               -1},
    {"node_address",     KEY_ADDRESS,   false, IN_DEVICE(strNodeAddress), 0,                 -1},
    {"node",             KEY_NUMBER,    true,  IN_DEVICE(iNode),          9999,              -2},
    {"attention",        KEY_NUMBER,    true,  IN_DEVICE(iAttention),     65535,             -1},
    {"ready_at",         KEY_NUMBER,    true,  IN_DEVICE(iReadyAt),       INT32_MAX,         -1},
    {"loaded",           KEY_FLAG,      true,  IN_DEVICE(bLoaded),        0,                 0 },
    {"prevent",          KEY_FLAG,      true,  IN_DEVICE(bPrevent),       0,                 0 },
    {"cleaning",         KEY_FLAG,      true,  IN_DEVICE(bCleaning),      0,                 0 },
    {"density",          KEY_NUMBER,    true,  IN_DEVICE(iDensity),       255,               0 },
    {"buffered",         KEY_NUMBER,    true,  IN_DEVICE(iBuffered),      7,                 1 },
    {"block_length",     KEY_NUMBER,    true,  IN_DEVICE(iBlockLength),   0xFFFFFF,          0 },
    {"position",         KEY_NUMBER,    true,  IN_DEVICE(iPosition),      9999,              0 },
    {"compression_page", KEY_BYTES,     true,  IN_DEVICE(strCompression), 255,               0 },
    {"eeprom",           KEY_BYTES,     true,  IN_DEVICE(strEeprom),      255,               0 },
    {"written",          KEY_RECORD,    true,  nullptr,                   MEDIA_DISK,        0 },
    {nullptr,            KEY_FLAG,      false, nullptr,                   0,                 0 },
};
const KEY gstrCartridgeKeys[] = {
    {"barcode",      KEY_TEXT,      false, IN_CARTRIDGE(cpBarcode),   0,               0 },
    {"kind",         KEY_MEDIUM,    false, IN_CARTRIDGE(eMedium),     0,               0 },
    {"protected",    KEY_FLAG,      false, IN_CARTRIDGE(bProtected),  0,               0 },
    {"medium_type",  KEY_NUMBER,    false, IN_CARTRIDGE(iMediumType), 255,             -1},
    {"label",        KEY_LABEL,     false, nullptr,                   0,               0 },
    {"label_text",   KEY_LATER,     false, nullptr,                   0,               0 },
    {"label_time",   KEY_LATER,     false, nullptr,                   0,               0 },
    {"label_etc",    KEY_LATER,     false, nullptr,                   0,               0 },
    {"label_header", KEY_DATA,      false, nullptr,                   90,              0 },
    {"block",        KEY_DATA,      false, nullptr,                   iBLOCK_MAX,      0 },
    {"attribute",    KEY_ATTRIBUTE, false, nullptr,                   0,               0 },
    {"changer",      KEY_ADDRESS,   false, IN_CARTRIDGE(strChanger),  0,               -1},
    {"place",        KEY_NUMBER,    true,  IN_CARTRIDGE(iPlace),      65535,           -1},
    {"source",       KEY_NUMBER,    true,  IN_CARTRIDGE(iSource),     65535,           -1},
    {"blank",        KEY_FLAG,      true,  IN_CARTRIDGE(bBlank),      0,               0 },
    {"written",      KEY_RECORD,    true,  nullptr,                   MEDIA_CARTRIDGE, 0 },
    {nullptr,        KEY_FLAG,      false, nullptr,                   0,               0 },
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

void vNew(const KEY* pKeys, int iIndex)
{
    for (const KEY* p = pKeys; p->cpName != nullptr; p++) {
        if (p->eKind == KEY_TEXT)
            *p->strIn(iIndex).cpp = "";
        else if (p->eKind == KEY_FLAG)
            *p->strIn(iIndex).bp = p->iDefault != 0;
        else if (p->eKind == KEY_NUMBER)
            *p->strIn(iIndex).ip = p->iDefault;
        else if (p->eKind == KEY_ADDRESS)
            p->strIn(iIndex).pAddress->iHost = p->iDefault;
    }
}
