// READ ELEMENT STATUS (SMC) on its way: the passes that every listing begins with, and what follows
// when a library has more to report than they take.
#pragma once

#include "changer/element_reply.h"
#include "changer/joined_report.h"

// The transfer size of a pass. The first two ask for more: what the device then says to have is
// believed only up to this size. The buffer has a byte more.
static const int iPASS_SIZE = iPLAIN_REPORT;
static const int iPASS_REPLY = iPASS_SIZE + 1;

// What the passes have brought.
struct ELEMENT_PASSES {
    unsigned char cBuf[iPASS_REPLY + iREPLY_MARGIN];
    int iAllBytes; // bytes of report in cBuf, 0 when there are none
    int iSaid;     // bytes that the device said to have when they are still to be asked for, else 0
};

// Sends the command until the device has filled the buffer, three times at most. Returns the last
// status; prints a warning for each failure. More is to be asked for when the last try failed
// because the device has more than a pass takes and the reply that said so came whole; and when the
// others failed because of that and the last looks complete, since some devices fit their count to
// what was asked for.
int iReadPasses(ELEMENT_PASSES* pPasses, int iReport);

// Reads what the passes could not take: in one transfer, or else in parts. Prints nothing of what
// fails. Returns null when there is nothing more than the passes have brought; otherwise what was
// gathered, which the caller frees. It may not be all: a device can hold elements back, and the
// number of requests is bounded.
JOINED_REPORT* pReadLargeReport(const ELEMENT_PASSES* pPasses, int iReport);
