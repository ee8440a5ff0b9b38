// Elements of a media changer, as the address table, the listings and the moves know them.
#pragma once

// Element type codes (SMC); also the row of giElementAddress and the column of its row 0.
enum ELEMENT_TYPE {
    ELEMENT_TRANSPORT = 1,
    ELEMENT_SLOT = 2,
    ELEMENT_PORT = 3,
    ELEMENT_DRIVE = 4,
};

// Returns the name of an element type, or "" for a code that is none.
const char* cpElementName(int iType);

// Prints how many elements of a type there are, and the address of the first.
void vPrintElementCount(int iType, int iCount, int iFirst);

// Store a count, or the address of element u of a type, in giElementAddress. What lies beyond the
// table is dropped; a count is at most the number of columns.
void vSetElementCount(int iType, int iCount);
void vSetElementAddress(int iType, int u, int iAddress);
