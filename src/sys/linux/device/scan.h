// The bus scan: a line for each device of the listing.
#pragma once

#include "device/listing.h"
#include "device/sysfs.h"
#include "device/tape_node.h"

// One scan. Zeros before the first entry.
struct SCAN {
    int iReport;
    int iTapeNr;                     // number of the next tape drive
    TAPE_NODE strTapes[iTAPE_NODES]; // what was asked while sysfs knows no device
    char szTapeDev[32];              // the node of the last tape drive
};

// Prints the line of an entry that is complete; a device without a node has "?" in its place.
// pNodes is read. Where sysfs knows no generic device, a missing tape node is made and the nodes
// are opened.
void vScanEntry(SCAN* pScan, const LISTING_ENTRY* pEntry, GENERIC_NODES* pNodes);
