// The elements of a library whose report comes in more than one reply, or in a large one: gathered
// by element type, each element once, and given back as a report of one page for each type. Prints
// nothing and sends nothing. Stands on changer/element_reply.h.
#pragma once

#include "changer/changer.h"
#include "changer/element_reply.h"

static const int iJOINED_TYPES = ELEMENT_DRIVE;
static const int iJOINED_ELEMENTS = 1 << 16;         // of a type: addresses have 16 bits
static const int iJOINED_HEADER = 2 * iREPLY_HEADER; // of a report and of its page
static const int iJOINED_SIZE = iELEMENT_FIELDS + iVOLUME_TAG_SIZE; // bytes of a descriptor

// The elements of a type. Memory that no element takes is never touched.
struct JOINED_TYPE {
    int iElements;
    int iNext;                                 // address behind the last one that came
    unsigned char cSeen[iJOINED_ELEMENTS / 8]; // a bit for each address
    unsigned char cReport[iJOINED_HEADER + iJOINED_ELEMENTS * iJOINED_SIZE + iREPLY_MARGIN];
};

// Element types as they came.
struct JOINED_ORDER {
    int iTypes;
    int iType[iJOINED_TYPES];
};

// To be made of zeros. It takes 12 MB of addresses, and of memory what the elements need.
struct JOINED_REPORT {
    JOINED_ORDER strOrder;
    JOINED_TYPE strTypes[iJOINED_TYPES];
};

// What a reply has added.
struct JOINED_STEP {
    int iNew;    // elements that were not there yet
    bool bWhole; // everything that its header announces was in it
    int iMore;   // its length in bytes if it had one descriptor more
    int iCame;   // how far it came before zeros cut it, else its size
};

// Returns the elements of a type (1 to 4).
JOINED_TYPE* pJoinedType(JOINED_REPORT* pReport, int iType);

// Notes that elements of a type (1 to 4) come next, unless they have been noted.
void vJoinType(JOINED_REPORT* pReport, int iType);

// Adds the elements of a reply of iSize bytes with iREPLY_MARGIN zeros behind them; those of iOnly
// alone unless that is 0. What did not arrive reads as zeros: an empty page header and a descriptor
// of zeros that is not the first of its type end the reply, and the element before them may come
// again. Other types than 1 to 4 are left out.
JOINED_STEP strJoinReply(JOINED_REPORT* pReport, const unsigned char* cpReply, int iSize,
                         int iOnly);

// How many elements there are.
int iCountJoined(const JOINED_REPORT* pReport);

// Forgets types and elements.
void vForgetJoined(JOINED_REPORT* pReport);

// Returns a report with the elements of a type in one page, iREPLY_MARGIN zeros behind it; *ipSize
// is its length in bytes.
const unsigned char* cpJoinedReport(JOINED_TYPE* pType, int iType, int* ipSize);
