// The decoder of READ ELEMENT STATUS data (SMC). It takes the bytes of a reply, gives plain
// structures, prints nothing and touches nothing else. Stands on scsi/bytes.h.
#pragma once

enum {
    iELEMENT_FIELDS = 12,  // bytes of a descriptor that are read: address to source address
    iVOLUME_TAG_SIZE = 36, // bytes of a primary volume tag behind them
    iREPLY_HEADER = 8,     // bytes of a reply's header, and of a page's
    iPLAIN_REPORT = 32767, // bytes of report up to which the counts of its pages have 16 bits
    iREPLY_MARGIN = 64 // bytes behind a reply that are read as zeros: a header, fields and a tag
};

// The header of a reply.
struct REPLY_HEADER {
    unsigned int uiFirst;    // first element address
    unsigned int uiElements; // number of elements
    int iBytes;              // bytes of report, without the header as the device counts
};

// An element status page.
struct ELEMENT_PAGE {
    int iType;        // element type code
    bool bVolumeTags; // descriptors hold a primary volume tag
    int iDescLen;     // bytes of a descriptor
    int iElements;    // descriptors; none without a length
    int iFirst;       // index of the first one
    int iNext;        // index of the next page
};

// An element.
struct ELEMENT {
    int iAddress;
    int iSource; // storage element that the cartridge came from
    bool bFull, bException, bAccess;
    unsigned int uiTarget; // SCSI target of a drive
    const char* cpLabel;   // volume tag (bar code), iVOLUME_TAG_SIZE bytes; null without one
};

// The functions below read a reply of any length with iREPLY_MARGIN zeros behind it.

REPLY_HEADER strReadReplyHeader(const unsigned char* cpReply);

// Reads the page whose header is at index iPos. Its count of bytes has 24 bits with bWide, else 16:
// what stands above them in a small report is not looked at.
ELEMENT_PAGE strReadPage(const unsigned char* cpReply, int iPos, bool bWide);

// Reads element u of a page of a reply of iSize bytes. Returns false when its descriptor does not
// lie wholly in them.
bool bReadElement(const unsigned char* cpReply, int iSize, const ELEMENT_PAGE* pPage, int u,
                  ELEMENT* pElement);
