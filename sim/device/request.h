// One command on its way through a device, and the ways in which it ends. Bytes as SCSI has them.
#ifndef MVK_SIM_REQUEST_H
#define MVK_SIM_REQUEST_H

#include "world/model.h"

static const int iDATA_IN_MAX = 1 << 22; // data that one command can bring back
static const int iSENSE_LENGTH = 18;     // fixed-format sense data

enum SCSI_STATUS { STATUS_GOOD = 0, STATUS_CHECK_CONDITION = 2 };

// Sense keys that devices here report.
enum SENSE_KEY {
    SENSE_NOT_READY = 2,
    SENSE_HARDWARE_ERROR = 4,
    SENSE_ILLEGAL_REQUEST = 5,
    SENSE_UNIT_ATTENTION = 6,
    SENSE_DATA_PROTECT = 7,
    SENSE_BLANK_CHECK = 8,
    SENSE_INCORRECT_LENGTH = 0x20 // the bit, without a key
};

// Codes and qualifiers that several commands report.
enum SENSE_CODE {
    CODE_NONE = 0,
    CODE_INVALID_OPCODE = 0x2000,
    CODE_INVALID_ADDRESS = 0x2101,
    CODE_INVALID_FIELD = 0x2400,
    CODE_REMOVAL_PREVENTED = 0x5302
};

struct REQUEST {
    const unsigned char* cpCDB; // 6 to 16 bytes by the opcode's group
    const unsigned char* cpOut; // data that came with the request
    int iOutLen;
    unsigned char* cpIn; // iDATA_IN_MAX bytes for the answer
    int iInMax;          // bytes that the initiator takes
    int iInLen;          // bytes that are answered
    int iStatus;         // SCSI status
    unsigned char cSense[iSENSE_LENGTH];
    int iDevice;
    int iDelay;    // ms that the command takes
    bool bChanged; // the library's state must be saved
};

// The device that a request is for.
DEVICE* pDeviceOf(const REQUEST* pReq);

// Ends a command with the first iLen bytes of cpIn, as far as the allocation length and the
// transfer go.
void vAnswer(REQUEST* pReq, int iLen, unsigned uiAllocation);

// Ends a command with CHECK CONDITION and fixed-format sense data.
void vCheck(REQUEST* pReq, SENSE_KEY eKey, int iAscAscq);

// Stores the low iBytes bytes of a number, the highest first; reads them.
void vPut(unsigned char* cp, int iBytes, unsigned uiValue);
unsigned uiGet(const unsigned char* cp, int iBytes);

// Stores a text in a field of iLen bytes, filled up with cFill.
void vPutText(unsigned char* cp, int iLen, const char* cpText, char cFill);

#endif
