// The six-byte commands that need no reply data, and ERASE.
#include "mvk.h"

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
    unsigned char cSense[iSENSE_SIZE];
    printf("TRY %s\n", strCommand.cpLabel);
    const int iStatus =
        iLinuxScsiCmd(cCDB, sizeof(cCDB), cBuf, 0, 1, cSense, sizeof(cSense), iReport);
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
    unsigned char cSense[iSENSE_SIZE];
    TRACE_ABOVE(&strLog, 0, "Erase");
    return iLinuxScsiCmd(cCDB, sizeof(cCDB), cBuf, sizeof(cBuf), 1, cSense, sizeof(cSense),
                         iReport);
}
