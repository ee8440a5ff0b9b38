// The commands without a reply, ERASE, and REQUEST SENSE.
#include "scsi/operations.h"

#include "scsi/bytes.h"
#include "scsi/executor.h"

#include <stdio.h>
#include <string.h>

struct CONTROL_COMMAND {
    const char* cpMode;
    unsigned char cOpcode;
    unsigned char cByte4;
    const char* cpLabel;
};

static const CONTROL_COMMAND strCommands[] = {
    {"allow",     0x1E, 0, "ALLOW REMOVABLE"                     }, // PREVENT ALLOW MEDIUM REMOVAL
    {"prevent",   0x1E, 1, "PREVENT REMOVABLE"                   },
    {"unload",    0x1B, 0, "UNLOAD TAPE"                         }, // LOAD UNLOAD
    {"load",      0x1B, 1, "LOAD TAPE"                           },
    {"rewind",    0x01, 0, "REWIND TAPE"                         }, // REWIND
    {"inventory", 0x07, 0, "INITIALIZE ELEMENT STATUS for LOADER"}, // INITIALIZE ELEMENT STATUS
};

int iScsiCmdCDB6(const char* cpMode, int iReport)
{
    CONTROL_COMMAND strCommand = {cpMode, 0x00, 0, cpMode}; // TEST UNIT READY
    for (const CONTROL_COMMAND& strKnown : strCommands) {
        if (strcmp(cpMode, strKnown.cpMode) == 0)
            strCommand = strKnown;
    }
    // No immediate bit: every command waits until the device is done.
    const unsigned char cCDB[6] = {strCommand.cOpcode, 0, 0, 0, strCommand.cByte4, 0};
    unsigned char cBuf[128] = {};
    printf("TRY %s\n", strCommand.cpLabel);
    const int iStatus = iSendCommand(cCDB, sizeof(cCDB), cBuf, 0, iReport);
    printf("DONE %s\n", strCommand.cpLabel);
    return iStatus;
}

int iScsiCmdErase(int iReport)
{
    static const unsigned char cCDB[6] = {
        0x19,          // ERASE
        0x03,          // LONG: the whole medium; IMMED: return at once
        0,    0, 0, 0, // reserved, control
    };
    unsigned char cBuf[19] = {};
    TRACE_ABOVE(&strLog, 0, "Erase");
    return iSendCommand(cCDB, sizeof(cCDB), cBuf, sizeof(cBuf), iReport);
}

int iRequestSense(unsigned char* cpBuf, int iBufSize, int iReport)
{
    const unsigned char cCDB[6] = {
        0x03,                    // REQUEST SENSE
        0,                       // fixed format
        0,                       // reserved
        0,                       // reserved
        (unsigned char)iBufSize, // allocation length
        0,                       // control
    };
    return iSendCommand(cCDB, sizeof(cCDB), cpBuf, iBufSize, iReport);
}

int iScsiRequestSense(int iReport)
{
    unsigned char cBuf[19] = {};
    const int iStatus = iRequestSense(cBuf, sizeof(cBuf), iReport);
    if (strcmp(gszTyp, "tape") == 0) {
        printf("Tape Info\n");
        // Bit 7 says that the drive maintains this byte, bit 0 that it asks for cleaning.
        if ((cBuf[18] & 0x80) != 0)
            printf("cleaning_bit=%d\n", cBuf[18] & 1);
    } else if (strcmp(gszTyp, "loader") == 0) {
        printf("Loader Info\n");
    }
    if (iReport == REPORT_DEBUG) {
        printf("debug info\n");
        vDumpBytes(cBuf, sizeof(cBuf), DUMP_INDEXED_HEX);
        printf("\n");
    }
    return iStatus;
}
