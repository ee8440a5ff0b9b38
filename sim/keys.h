// The keys of a description: what they are called, what they hold and where it goes.
#ifndef MVK_SIM_KEYS_H
#define MVK_SIM_KEYS_H

#include "sim.h"

enum KIND {
    K_NUMBER, // -1 for "none" and "auto", up to the key's limit; with the limit 1: yes or no
    K_TEXT,
    K_TYPE,      // a device type, see gTypes
    K_MEDIUM,    // a cartridge's kind
    K_ADDRESS,   // host:channel:target:lun
    K_BYTES,     // data that changes
    K_DATA,      // data that is looked up when it is needed, up to the key's limit
    K_ATTRIBUTE, // number, format and data, looked up as well
    K_LABEL,     // a label layout, looked up as well
    K_LATER,     // text that is looked up
    K_ELEMENTS,  // count "from" address; the limit is the element type
    K_EXCEPTION
};

struct KEY {
    const char* cpName;
    int iKind;
    int iSaved; // changes while the library is in use
    size_t uiOffset;
    int iLimit;
    int iDefault; // what an object has that its description says nothing about
};

// The sections; each table ends with a key without a name.
extern const KEY gLibraryKeys[], gDeviceKeys[], gCartridgeKeys[];

const KEY* pSectionKeys(const char* cpHeader);
const KEY* pFindKey(const KEY* pKeys, const char* cpName);
int iStore(const KEY* pKey, char* cpObject, const char* cp);
int iRefuse(const char* cpFormat, ...) __attribute__((format(printf, 1, 2)));
extern char gszReason[128]; // why the last value was refused, empty: it is not understood
char* cpNew(const KEY* pKeys, void* vpObject);

#endif
