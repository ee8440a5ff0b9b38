// One pass through the listing of devices, which finds the device of the run.
#pragma once

#include "device/device.h"
#include "device/listing.h"
#include "device/nodes.h"
#include "device/scan.h"

// Zeros but for bScan and strScan.iReport before the pass.
struct LISTING {
    bool bScan;
    LISTING_ENTRY strEntry;
    GENERIC_NODES strNodes;
    SCAN strScan;
    int iGiven;               // number of the node that gszDev names by its text, -1 for none
    bool bSelected;           // an entry was selected
    NODE_ADDRESS strSelected; // its node
    int iSharing;             // loaders and drives with the ID that sysfs knows
    char szSharing[1024];     // their addresses, a blank before each,
    bool bOther;              // a device of another type that sysfs knows has the ID
};

// Reads the listing from its start and completes gstrDevice; a scan prints every entry. Returns 0,
// or -1 when there is neither the kernel's listing nor a device in sysfs.
int iReadListing(LISTING* pListing);

// From now on the run keeps to the device of a node that sysfs knows.
void vPin(const NODE_ADDRESS* pNode);

// Returns whether sysfs still has the pinned device behind its node.
bool bPinHolds();
