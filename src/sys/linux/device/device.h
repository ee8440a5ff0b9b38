// The device that a run works on, as a value: selection fills it, each command checks it again, and
// everything else reads it.
#pragma once

#include "device/address.h"
#include "device/name.h"

// Peripheral device types (SPC), of all that there are.
enum { TYPE_TAPE = 1, TYPE_CHANGER = 8 };

struct DEVICE {
    NAME_FORM eForm;   // as what it was named
    char szName[1024]; // the name; the generic node's path when another node was typed
    char szID[32];     // its ID, as far as it is known; the name before (gszID)
    int iBus;          // how many characters of an ID outside the columns stand before the target
    char szDev[1024];  // the file to open; the name while no node is known (gszDev)
    bool bChanges;     // the operation changes something on the device
    bool bAddress;     // strAddress is known: typed, or pinned
    bool bPinned;      // sysfs knows the device: the run keeps to strAddress
    bool bListed;      // the listing had the pinned device
    int iNumber;       // n of its generic device sg<n>, while bPinned
    SCSI_ADDRESS strAddress; // the device's, whatever is added or removed between commands
    bool bCut;               // a listing could not be read to its end in this run
    bool bJudged;            // the first pass was judged
    int iRefusal;            // the status that ends the run before anything is sent, 0 for none
};

extern DEVICE gstrDevice; // filled by selection, set up by the front end
