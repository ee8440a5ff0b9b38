// Operations of a media changer, and its elements as the address table, the listings and the moves
// know them.
#pragma once

// Element type codes (SMC); also the row of giElementAddress and the column of its row 0.
enum ELEMENT_TYPE {
    ELEMENT_TRANSPORT = 1,
    ELEMENT_SLOT = 2,
    ELEMENT_PORT = 3,
    ELEMENT_DRIVE = 4,
};

extern int giVolTag; // 16 when listings show volume tags, else 0; set by main

// Row 0: counts by element type; rows 1 to 4: addresses. A row holds every 16-bit address; what no
// run fills takes no memory.
enum { iELEMENT_COLUMNS = 1 << 16 };
extern int giElementAddress[16][iELEMENT_COLUMNS];

// Returns the name of an element type, or "" for a code that is none.
const char* cpElementName(int iType);

// Returns the element type that a letter stands for in references and ranges: 's' a slot, 'd' a
// drive, 'p' a port; 0 for any other.
int iElementTypeOf(char cKind);

// Prints how many elements of a type there are, and the address of the first.
void vPrintElementCount(int iType, int iCount, int iFirst);

// Store a count, or the address of element u of a type, in giElementAddress. What lies beyond the
// table is dropped; a count is at most the number of columns.
void vSetElementCount(int iType, int iCount);
void vSetElementAddress(int iType, int u, int iAddress);

// READ ELEMENT STATUS (SMC): lists elements, or fills giElementAddress, as cpMode says ("show all",
// "show full", "show empty", "show scsi", "show page", "page code", or a range such as "s:1-5").
// A report of more than 32,767 bytes is read in other ways, see element_request.h. Returns the
// status of the last command, 0 when a large report has been read.
int iScsiRES(const char* cpMode, int iReport);

// Fills giElementAddress from the Element Address Assignment page and prints what it says; the
// branch of iScsiModeSense for a loader. Returns the command's status.
int iLoaderModeSense(int iReport);

// Applies the operator's override of element addresses from the global variable "gv_mvk_adr_<ID>",
// when there is one, to giElementAddress. Returns 0.
int iScsiHardAddress(int iReport);

// Prints the count and first address of each element type in giElementAddress.
void vPrintElementCounts();

// MOVE MEDIUM (SMC) between elements named by kind and number ("s:4", "d:0", "p:1", "t:0").
// Returns USAGE_ERROR with a message for a bad reference, otherwise the executor's status.
int iScsiMoveMedium(const char* cpSource, const char* cpTarget, const char* cpTransport,
                    int iReport);

// MOVE MEDIUM between raw decimal element addresses. Returns the executor's status.
int iScsiHardMoveMedium(const char* cpSource, const char* cpTarget, const char* cpTransport,
                        int iReport);
