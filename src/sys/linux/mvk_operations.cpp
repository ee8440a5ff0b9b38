// The dispatch table and the operations that are more than one routine.
#include "mvk_operations.h"

#include "changer/changer.h"
#include "mvk.h"
#include "scsi/executor.h"
#include "scsi/operations.h"
#include "tape/tape.h"

#include "cm_common.h"

#include <stdio.h>
#include <string.h>

int iUsage(const RUN* pRun)
{
    vUsage(pRun->argv[0], 0);
    return USAGE_ERROR;
}

static int iInquiry(const RUN* pRun)
{
    return iScsiInquiry(pRun->iReport);
}

// A changer that refuses READ ELEMENT STATUS still has its mode page.
static int iStatusOf(const RUN* pRun)
{
    if (strcmp(gszTyp, "tape") == 0) {
        printf("Tape Info\n");
        iScsiCmdReadAttributes("medium_type", pRun->iReport);
        return iScsiModeSense(pRun->iReport);
    }
    const int iStatus = iScsiRES("show page", pRun->iReport);
    return iStatus == 0 ? iStatus : iScsiModeSense(pRun->iReport);
}

// The filter is looked up by position, so a trailing "debug" stands in for it.
static int iList(const RUN* pRun)
{
    static const char szModes[][2][12] = {
        {"full",  "show full" },
        {"empty", "show empty"},
        {"scsi",  "show scsi" },
        {"debug", "show full" },
    };
    const char* cpFilter = pRun->argv[3];
    if (cpFilter == nullptr)
        return iScsiRES("show all", pRun->iReport);
    for (const auto& szMode : szModes) {
        if (strcmp(cpFilter, szMode[0]) == 0)
            return iScsiRES(szMode[1], pRun->iReport);
    }
    return iScsiRES(cpFilter, pRun->iReport);
}

static int iListWithLabels(const RUN* pRun)
{
    giVolTag = 16;
    return iList(pRun);
}

static int iHardMove(const RUN* pRun)
{
    return iScsiHardMoveMedium(pRun->argv[3], pRun->argv[4], pRun->argv[5], pRun->iReport);
}

// The addresses are asked for first, so that a move never works on remembered ones.
static int iMove(const RUN* pRun)
{
    iScsiRES("page code", pRun->iReport);
    // The override is stored under the device as it was typed, ID or path.
    v_COPY(gszID, sizeof(gszID), gstrDevice.szName);
    iScsiHardAddress(pRun->iReport);
    if (pRun->argc < 5)
        return iUsage(pRun);
    return iScsiMoveMedium(pRun->argv[3], pRun->argv[4], pRun->argc > 5 ? pRun->argv[5] : "t:0",
                           pRun->iReport);
}

// Every load leaves the drive in variable block mode and shows the label; only the load counts.
static int iLoad(const RUN* pRun)
{
    const int iStatus = iScsiCmdCDB6("load", pRun->iReport);
    iScsiCmdModeSelect("set_block_size", "", "0", pRun->iReport);
    iScsiCmdCDBRead("", pRun->iReport);
    return iStatus;
}

static int iCompression(const RUN* pRun)
{
    return iScsiCmdModeSelect("set_dce", "", pRun->argv[3], pRun->iReport);
}

static int iSetEeprom(const RUN* pRun)
{
    return iScsiCmdSetEeprom("MODE SENSE FOR EEPROM", pRun->argv[3], pRun->argv[4], pRun->iReport);
}

static int iErase(const RUN* pRun)
{
    return iScsiCmdErase(pRun->iReport);
}

static int iReadAttributes(const RUN* pRun)
{
    return iScsiCmdReadAttributes(pRun->argc > 3 ? pRun->argv[3] : "medium", pRun->iReport);
}

// A key that is none of these changes nothing and is no error.
static int iSet(const RUN* pRun)
{
    if (strcmp(pRun->argv[3], "block_size") == 0)
        return iScsiCmdModeSelect("set_block_size", "", pRun->argv[4], pRun->iReport);
    if (strcmp(pRun->argv[3], "density_code") == 0)
        return iScsiCmdModeSelect("set_density_code", "", pRun->argv[4], pRun->iReport);
    return MVK_SUCCESS;
}

// The dispatch table: word, mode word, dash, change, least number of arguments (program name and
// device included), and the routine.
static const OPERATION strOperations[] = {
    {"i",          "",            true,  false, 0, iInquiry,        nullptr          },
    {"s",          "",            true,  false, 0, iStatusOf,       nullptr          },
    {"e",          "",            true,  false, 0, iList,           nullptr          },
    {"l",          "",            true,  false, 0, iListWithLabels, nullptr          },
    {"hm",         "",            true,  true,  6, iHardMove,       nullptr          },
    {"m",          "",            true,  true,  0, iMove,           nullptr          },
    {"u",          "unload",      true,  true,  0, nullptr,         iScsiCmdCDB6     },
    {"L",          "",            true,  true,  0, iLoad,           nullptr          },
    {"r",          "rewind",      true,  true,  0, nullptr,         iScsiCmdCDB6     },
    {"a",          "allow",       true,  true,  0, nullptr,         iScsiCmdCDB6     },
    {"p",          "prevent",     true,  true,  0, nullptr,         iScsiCmdCDB6     },
    {"I",          "inventory",   true,  true,  0, nullptr,         iScsiCmdCDB6     },
    {"c",          "",            true,  true,  4, iCompression,    nullptr          },
    {"get_eeprom", "eeprom_10",   false, false, 0, nullptr,         iScsiCmdModeSense},
    {"set_eeprom", "",            false, true,  5, iSetEeprom,      nullptr          },
    {"erase",      "",            false, true,  0, iErase,          nullptr          },
    {"read",       "",            false, false, 0, iReadAttributes, nullptr          },
    {"get",        "all_pages_6", false, false, 0, nullptr,         iScsiCmdModeSense},
    {"set",        "",            false, true,  5, iSet,            nullptr          },
};

const OPERATION* pFindOperation(const char* cpWord)
{
    if (cpWord == nullptr)
        return nullptr;
    for (const OPERATION& strOperation : strOperations) {
        const bool bDashed = strOperation.bDash && cpWord[0] == '-';
        if (strcmp(bDashed ? cpWord + 1 : cpWord, strOperation.szWord) == 0)
            return &strOperation;
    }
    return nullptr;
}

int iDispatch(const RUN* pRun, const OPERATION* pOperation)
{
    if (pOperation == nullptr || pRun->argc < pOperation->iMinArguments)
        return iUsage(pRun);
    if (pOperation->iPerform != nullptr)
        return pOperation->iPerform(pRun);
    return pOperation->iPerformMode(pOperation->szMode, pRun->iReport);
}
