// The generic node of a device: found by counting the entries of the listing, /dev/sg<n> for entry
// n, and by its address where sysfs knows it.
#pragma once

#include "device/listing.h"
#include "device/sysfs.h"

#include <stddef.h>

// A generic node and its address in sysfs.
struct NODE_ADDRESS {
    int iNumber; // -1: none
    bool bKnown; // sysfs knows it
    SCSI_ADDRESS strAddress;
};

// Asks sysfs for the address of /dev/sg<iNumber>.
NODE_ADDRESS strAskNode(int iNumber);

// Finds the node of the current entry. The counted number holds unless sysfs knows better: its
// number is -1 when that one is another device's and sysfs knows no other. pNodes is read when it
// is needed.
NODE_ADDRESS strNodeOf(const LISTING_ENTRY* pEntry, GENERIC_NODES* pNodes);

// Writes the path of the node iNumber, or cpNone for -1, into cpPath of uiSize bytes.
void vNodePath(int iNumber, const char* cpNone, char* cpPath, size_t uiSize);

// Returns the number of the generic node that cpPath names by its text, -1 when it names none.
int iNodeNumber(const char* cpPath);
