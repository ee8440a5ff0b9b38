// What sysfs knows of the SCSI devices: the address behind a device node, the node of an address,
// the nodes of one device, and the kernel's listing where the kernel has none. Stands on address
// and listing.
#pragma once

#include "device/listing.h"

// A generic device, /dev/sg<iNumber>.
struct GENERIC_NODE {
    int iNumber;
    SCSI_ADDRESS strAddress;
};

// All generic devices in the order of their numbers; empty until vReadGenericNodes.
struct GENERIC_NODES {
    bool bRead;
    int iCount;
    int iNext; // where the next search begins
    GENERIC_NODE* pNodes;
};

// Returns whether sysfs knows /dev/sg<iNumber>; *pAddress is its address then.
bool bGenericAddress(int iNumber, SCSI_ADDRESS* pAddress);

// Returns n of the generic device sg<n> of the device that a node with these numbers leads to, -1
// when it leads to none, as a terminal or a partition does.
int iGenericOfNode(bool bBlock, unsigned int uiMajor, unsigned int uiMinor);

// Returns the peripheral device type of /dev/sg<iNumber> (SPC), -1 when sysfs does not know it.
int iTypeOfGeneric(int iNumber);

// A node of the tape driver, /dev/nst<iNumber>.
struct TAPE_NODE_FACTS {
    int iNumber; // -1: none
    unsigned long long ullMajor;
    unsigned long long ullMinor;
};

// Returns the non-rewinding node of the drive /dev/sg<iNumber>.
TAPE_NODE_FACTS strTapeNodeOf(int iNumber);

// Reads all generic devices of the machine, once; there are none without sysfs or memory.
void vReadGenericNodes(GENERIC_NODES* pNodes);

// Returns the number of the generic device with this address, -1 when sysfs knows none.
int iFindGenericNode(GENERIC_NODES* pNodes, const SCSI_ADDRESS* pAddress);

// Releases the list; it is as before vReadGenericNodes then.
void vFreeGenericNodes(GENERIC_NODES* pNodes);

// Begins the next entry of a listing with a generic device: its number, ID and address.
void vTakeGeneric(const GENERIC_NODE* pNode, bool bHost, LISTING_ENTRY* pEntry);

// Completes that entry with what else the device tells: identity, as wide as the listing has it,
// and kind. Reads four files.
void vDescribeGeneric(const GENERIC_NODE* pNode, LISTING_ENTRY* pEntry);

// Returns whether anything in sysfs that was there could not be read in this run: what was found
// may not be all there is.
bool bSysfsIsDoubtful();
