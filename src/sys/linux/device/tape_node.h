// The tape driver's nodes, /dev/nst<n>: which drive stands behind each.
#pragma once

#include "device/listing.h"

// How many tape nodes the scan looks at.
enum { iTAPE_NODES = 16 };

// What a tape node has told. Each open makes the kernel send commands to the drive, so a node is
// asked once.
struct TAPE_NODE {
    bool bAsked;
    int iResult;               // 0, or why there is no address, as iLinuxGetTapeBusInfo has it
    unsigned int uiAddress[2]; // the kernel's words
    SCSI_ADDRESS strAddress;
};

// Looks for the node of a drive of the listing among those of pNodes (iTAPE_NODES of them, zeros at
// first), which exist by now. cpPath (at least 32 bytes) becomes its path. Returns whether there is
// one.
bool bFindTapeNode(TAPE_NODE* pNodes, const LISTING_ENTRY* pEntry, char* cpPath, int iReport);

// Looks through /dev/nst0 to /dev/nst<iMax-1> for the drive whose SCSI ID is cpTape (32 bytes) and
// replaces the ID by its path; leaves the ID when there is none.
void vLinuxScanTape(int iMax, char* cpTape, int iReport);

// Returns 0 when the tape device cpDev has the SCSI ID cpBus, -1 when it has another,
// DEVICE_OPEN_ERROR when it cannot be opened, IOCTL_ERROR when its address cannot be read. Prints
// only for iReport 1 to 10.
int iLinuxGetTapeBusInfo(const char* cpDev, const char* cpBus, int iReport);

// Returns the result of stat(2) on cpFile, 0 when it exists; for iShow >= 1 prints what it found.
int iFileExist(const char* cpFile, int iShow);
