// An entry of the kernel's listing of SCSI devices, and the reader of its lines.
#pragma once

#include "device/address.h"

// The kernel's listing.
inline constexpr char szKERNEL_LISTING[] = "/proc/scsi/scsi";

// A line of the listing is read in pieces of at most one byte less than this.
enum { iLISTING_LINE_SIZE = 128 };

enum DEVICE_KIND { KIND_LOADER, KIND_TAPE, KIND_OTHER };

// The entry that is being read. Zeros before the first line.
struct LISTING_ENTRY {
    char szID[iID_SIZE]; // empty when the host line does not give one
    bool bByColumns;     // the ID is made of the columns of the host line
    int iBus;            // how many characters of any other ID stand before the target
    bool bAddress;       // strAddress is known
    SCSI_ADDRESS strAddress;
    char szVendor[16];
    char szModel[32];
    char szRevision[16];
    DEVICE_KIND eKind; // once the entry is complete
    int iNum;          // number of the next entry: this one is iNum - 1
};

// Takes what one line says into the entry: a host line begins the next one. bHost: IDs begin with
// the host. Returns true for the type line, which comes last and completes the entry.
bool bReadListingLine(const char* szLine, bool bHost, LISTING_ENTRY* pEntry);
