// The keys of a description: what they are called, what they hold and where it goes.
#ifndef MVK_SIM_KEYS_H
#define MVK_SIM_KEYS_H

#include "model.h"

enum KEY_KIND {
    KEY_NUMBER, // an int, up to the key's limit; -1 for "none" and "auto" when the default is below
                // 0
    KEY_FLAG,   // a bool, "yes" or "no"
    KEY_TEXT,
    KEY_TYPE,   // a device type
    KEY_MEDIUM, // a cartridge's kind
    KEY_ADDRESS,
    KEY_BYTES,     // data that changes
    KEY_DATA,      // data that is looked up when it is needed, up to the key's limit
    KEY_ATTRIBUTE, // number, format and data, looked up as well
    KEY_LABEL,     // a label layout, looked up as well
    KEY_LATER,     // text that is looked up
    KEY_ELEMENTS,  // count "from" address; the limit is the element type
    KEY_ORDER,     // element types in an order
    KEY_EXCEPTION,
    KEY_NODE,  // what stands at a node, as mknod has it, or none
    KEY_RECORD // repeated: where, and data; the limit is the kind of owner
};

// Where the value of a key is, as its kind has it.
union VALUE {
    int* ip;
    bool* bp;
    const char** cpp;
    DEVICE_TYPE* pType;
    MEDIUM* pMedium;
    ADDRESS* pAddress;
    DEVICE_NUMBER* pNumber;
    BYTES* pBytes;
};

struct KEY {
    const char* cpName;
    KEY_KIND eKind;
    bool bSaved;                // changes while the library is in use
    VALUE (*strIn)(int iIndex); // of the iIndex-th device or cartridge; null: it has no field
    int iLimit;
    int iDefault; // what an object has that its description says nothing about
};

// The sections; each table ends with a key without a name.
extern const KEY gstrLibraryKeys[];
extern const KEY gstrDeviceKeys[];
extern const KEY gstrCartridgeKeys[];

// The keys of the section that a line begins, null for a line that begins none.
const KEY* pSectionKeys(const char* cpHeader);

// The key of this name in a section, null when the section has none or there is no section yet.
const KEY* pFindKey(const KEY* pKeys, const char* cpName);

// Gives the iIndex-th object of a section, all zero, the values that its description need not name.
void vNew(const KEY* pKeys, int iIndex);

// values.cpp: stores one value of it; returns false when it is not of the key's kind.
bool bStore(const KEY* pKey, int iIndex, const char* cp);

// Says why something is refused; returns false.
bool bRefuse(const char* cpFormat, ...) __attribute__((format(printf, 1, 2)));
extern char gszReason[128]; // what was said, empty: it is not understood

static const int iBLOCK_MAX = 65536; // bytes of a tape's first block
static const int iVALUE_MAX = 4096;  // bytes of an attribute

// Takes an attribute: "0x0400 ascii DATA", up to iVALUE_MAX bytes, room for one more. Returns their
// number, -1 for a mistake.
int iAttribute(const char* cp, int* ipId, int* ipFormat, unsigned char* cpOut);

#endif
