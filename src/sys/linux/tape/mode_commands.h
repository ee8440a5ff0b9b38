// MODE SENSE and MODE SELECT of a tape drive, as several operations send them.
#pragma once

#include "tape/replies.h"

// Bytes that a reply can have.
static const int iMAX_PAGES = 8191;

// The vendor page that holds a drive's EEPROM text.
static const unsigned char cEEPROM_PAGE = 0x3E;

// A reply of MODE SENSE, and what its header says. A descriptor count that points behind the buffer
// finds nothing there.
struct PAGE_REPLY {
    unsigned char cBuf[iMAX_PAGES + 1];
    MODE_HEADER strHeader;
};

// How pages are asked for, by mode word.
struct PAGE_COMMAND {
    char szMode[16];
    char szTitle[32];
    bool bText; // the page is text
    int iCDBSize;
    int iBufSize;
    unsigned char cCDB[10];
};

// Returns the command of a mode ("all_pages_6", "all_pages_10", "eeprom_6", "eeprom_10"), null for
// any other word.
const PAGE_COMMAND* pFindPages(const char* cpMode);

// Sends MODE SENSE, announces it and prints what the header says. pReply: zeros, receives the
// reply. Returns the executor's status.
int iReadPages(const PAGE_COMMAND* pCommand, PAGE_REPLY* pReply, int iReport);

// Sends MODE SELECT(6) of the iSize bytes at cpList, which the answer overwrites. Returns the
// executor's status.
int iSelectPages(unsigned char* cpList, int iSize, int iReport);
