// What programs wrote on tapes and disks through their nodes, kept from run to run.
#ifndef MVK_SIM_MEDIA_H
#define MVK_SIM_MEDIA_H

enum MEDIA_OWNER { MEDIA_CARTRIDGE, MEDIA_DISK };

// A block of a tape, or bytes of a disk.
struct RECORD {
    MEDIA_OWNER eOwner;
    int iOwner; // index of the cartridge or the device
    int iAt;    // number of the block from the beginning of the tape; byte of the disk
    int iLen;
    unsigned char* cp;
};

// Takes all records away.
void vForgetRecords();

// Adds a record. Returns false when there is no room for it.
bool bAddRecord(MEDIA_OWNER eOwner, int iOwner, int iAt, const unsigned char* cp, int iLen);

// Takes the records of an owner from iFrom on away.
void vDropRecords(MEDIA_OWNER eOwner, int iOwner, int iFrom);

// The records of an owner in the order in which they were written: the one behind pLast, null for
// the first. Returns null behind the last one.
const RECORD* pNextRecord(MEDIA_OWNER eOwner, int iOwner, const RECORD* pLast);

#endif
