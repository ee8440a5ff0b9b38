// Target: every operation on a device, with any answers.
#include "world.h"

#include "changer.h"
#include "mvk.h"
#include "scsi.h"
#include "scsi_exec_alt.h"
#include "scsi_sense.h"
#include "tape.h"

// A whole run of the program: the arguments are the lines of an operand.
static int iProgram()
{
    char* cpArguments[10] = {};
    char* cpLines = gcpTexts[0];
    int iCount = 0;
    for (char* cpLine; iCount < 9 && (cpLine = strsep(&cpLines, "\n")) != nullptr;)
        cpArguments[iCount++] = cpLine;
    const int iStatus = iMvkMain(iCount, cpArguments);
    giOpened = 0; // standard streams that were closed stay occupied
    return iStatus;
}

static int iMove()
{
    iScsiRES("page code", giReport);
    iScsiHardAddress(giReport);
    return iScsiMoveMedium(gcpTexts[0], gcpTexts[1], gcpTexts[2], giReport);
}

static int iSense()
{
    unsigned char cSense[16] = {};
    memcpy(cSense, gcpTexts[0], strnlen(gcpTexts[0], sizeof(cSense)));
    vScsiSenseData(cSense, giReport);
    return iScsiRequestSense(giReport);
}

static int iAlternative()
{
    unsigned char cBuf[100] = {};
    unsigned char cSense[iSENSE_SIZE];
    const unsigned char cCDB[12] = {(unsigned char)gcpTexts[0][0]};
    return iXLinuxScsiCmd(cCDB, 12, cBuf, sizeof(cBuf), 1, cSense, sizeof(cSense), giReport);
}

int (*const giOperations[])() = {
    iProgram,
    iMove,
    iSense,
    iAlternative,
    [] { return iScsiInquiry(giReport); },
    [] { return iScsiModeSense(giReport); },
    [] { return iScsiCmdErase(giReport); },
    [] { return iScsiRES(gcpTexts[0], giReport); },
    [] { return iScsiHardMoveMedium(gcpTexts[0], gcpTexts[1], gcpTexts[2], giReport); },
    [] { return iScsiCmdCDB6(gcpTexts[0], giReport); },
    [] { return iScsiCmdModeSense(gcpTexts[0], giReport); },
    [] { return iScsiCmdModeSelect(gcpTexts[0], gcpTexts[1], gcpTexts[2], giReport); },
    [] { return iScsiCmdReadAttributes(gcpTexts[0], giReport); },
    [] { return iScsiCmdSetEeprom(gcpTexts[0], gcpTexts[1], gcpTexts[2], giReport); },
    [] { return iScsiCmdCDBRead(gcpTexts[0], giReport); }};
const unsigned int guiOperations = sizeof(giOperations) / sizeof(*giOperations);
