// Target: whole runs of the program, discovery, and what no run calls, on a device with any
// answers.
#include "world.h"

#include "changer/changer.h"
#include "device/selection.h"
#include "device/shell.h"
#include "mvk.h"
#include "scsi/executor.h"
#include "scsi/operations.h"
#include "scsi/second_executor.h"
#include "scsi/sense.h"
#include "tape/tape.h"

// Each argument ends with a NUL. There may be none.
static int iProgram()
{
    static std::vector<char*> cpArguments;
    cpArguments.clear();
    for (size_t i = 0; i < guiSizes[0]; i += strlen(gcpTexts[0] + i) + 1)
        cpArguments.push_back(gcpTexts[0] + i);
    cpArguments.push_back(nullptr);
    cpArguments.shrink_to_fit();
    gstrDevice = {};
    return iMvkMain((int)cpArguments.size() - 1, cpArguments.data());
}

static int iAlternative()
{
    unsigned char cBuf[100] = {}, cSense[iSENSE_SIZE];
    const unsigned char cCDB[12] = {(unsigned char)gcpTexts[0][0]};
    return iXLinuxScsiCmd(cCDB, 12, cBuf, sizeof(cBuf), 1, cSense, sizeof(cSense), giReport);
}

static int iSense()
{
    if (guiSizes[0] >= 16)
        vScsiSenseData((const unsigned char*)gcpTexts[0], giReport);
    return iScsiRequestSense(giReport);
}

const std::vector<int (*)()> gOperations = {
    iProgram,
    iAlternative,
    iSense,
    [] { return iScsiCmdCDB6(gcpTexts[0], giReport); },
    [] { return iScsiCmdModeSense(gcpTexts[0], giReport); },
    [] { return iScsiCmdModeSelect(gcpTexts[0], gcpTexts[1], gcpTexts[2], giReport); },
    [] { return -iLinuxGetID(gcpTexts[0], giReport); },
    [] { return -iExecFilter(gcpTexts[0], "/scsi/scsi"); }};
