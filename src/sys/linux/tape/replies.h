// Decoders of what a tape drive returns: mode parameter lists and attribute lists. They take the
// bytes of a reply and how many of them are valid, give plain structures, print nothing and touch
// nothing else. Stands on scsi/bytes.h.
#pragma once

#include <stddef.h>

// The mode parameter list of MODE SENSE (SPC).
struct MODE_HEADER {
    unsigned int uiLength;      // mode data length, as the device says
    unsigned int uiDescriptors; // block descriptors of eight bytes
    unsigned int uiHeader;      // bytes before them: 4 or 8
    unsigned int uiPages;       // index of the first page, which may lie behind the reply
};

// Reads the header of a reply of at least eight bytes. bLong: that of MODE SENSE(10).
MODE_HEADER strReadModeHeader(const unsigned char* cpReply, bool bLong);

// A walk through the pages of a list, byte by byte. A page begins where a byte that is not zero,
// the code, is followed by one that is not zero, the length; what lies between pages belongs to
// none.
struct PAGE_WALK {
    const unsigned char* cpReply;
    unsigned int uiValid; // valid bytes of the reply
    unsigned int uiNext;  // index of the next byte
    unsigned int uiEnd;   // index behind the last one
    bool bInside;         // a page has begun
    // The byte that the walk stands on.
    unsigned int i;        // its index in the reply
    unsigned int j;        // its index in the page
    unsigned int uiCode;   // code and length of the page, those of the byte itself outside a page
    unsigned int uiLength; //
    bool bBegins;          // it is the first byte of a page
};

// Begins a walk over the bytes uiFirst to uiEnd - 1.
PAGE_WALK strBeginPages(const unsigned char* cpReply, unsigned int uiValid, unsigned int uiFirst,
                        unsigned int uiEnd);

// Goes to the next byte. Returns false behind the last one.
bool bNextPageByte(PAGE_WALK* pWalk);

// An attribute of READ ATTRIBUTE (SPC, medium auxiliary memory).
struct ATTRIBUTE {
    unsigned int uiIdentifier;
    unsigned char cHeader[4]; // format, length and the first byte of the value
    bool bReadOnly;
    unsigned int uiFormat; // 0 binary, 1 ASCII, 2 text, 3 reserved
    const unsigned char* cpValue;
    unsigned int uiValue; // bytes of the value that the reply holds
    unsigned int uiNext;  // index of the next attribute, which may lie behind the reply
};

// Reads the attribute at index i of a reply of uiValid bytes, zeros behind them.
ATTRIBUTE strReadAttribute(const unsigned char* cpReply, unsigned int uiValid, unsigned int i);
