// What sysfs knows of the SCSI devices: the address behind a device node, the node of an address,
// and the kernel's listing where the kernel has none. Stands on the common library's text helpers
// alone.
#pragma once

#include <stddef.h>

// The numbers of an address, in the order in which the kernel writes them.
enum { HOST, CHANNEL, TARGET, LUN, ADDRESS_NUMBERS };

// The address of a logical unit.
struct SCSI_ADDRESS {
    unsigned long long ullNumbers[ADDRESS_NUMBERS];
};

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

// A line of the listing is read in pieces of at most one byte less than this.
enum { iLISTING_LINE_SIZE = 128 };

// Reads the decimal digits at cpText, none as 0, more than fit as the largest number. Returns what
// stands behind them.
const char* cpReadDigits(const char* cpText, unsigned long long* pNumber);

// Returns whether all numbers are the same.
bool bSameAddress(const SCSI_ADDRESS* pOne, const SCSI_ADDRESS* pOther);

// Return whether sysfs knows /dev/sg<iNumber>, or /dev/nst<iNumber>; *pAddress is its address then.
bool bGenericAddress(int iNumber, SCSI_ADDRESS* pAddress);
bool bTapeAddress(int iNumber, SCSI_ADDRESS* pAddress);

// Reads all generic devices of the machine, once; there are none without sysfs or memory.
void vReadGenericNodes(GENERIC_NODES* pNodes);

// Returns the number of the generic device with this address, -1 when sysfs knows none.
int iFindGenericNode(GENERIC_NODES* pNodes, const SCSI_ADDRESS* pAddress);

// Releases the list; it is as before vReadGenericNodes then.
void vFreeGenericNodes(GENERIC_NODES* pNodes);

// Write the lines of the kernel's listing for a generic device, each with its line feed. What sysfs
// does not tell is left blank (layout: the kernel's drivers/scsi/scsi_proc.c).
void vHostLine(const GENERIC_NODE* pNode, char (&szLine)[iLISTING_LINE_SIZE]);
void vVendorLine(const GENERIC_NODE* pNode, char (&szLine)[iLISTING_LINE_SIZE]);
void vTypeLine(const GENERIC_NODE* pNode, char (&szLine)[iLISTING_LINE_SIZE]);
