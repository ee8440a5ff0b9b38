// Which command a device carries out by which routine.
#include "commands.h"

struct COMMAND {
    int iOpcode;
    void (*vRun)(REQUEST* pReq);
};

// The tables end with opcode -1.
static const COMMAND strCommonCommands[] = {
    {0x00, vTestUnitReady},
    {0x03, vRequestSense },
    {0x12, vInquiry      },
    {-1,   nullptr       },
};

static const COMMAND strDriveCommands[] = {
    {0x01, vRewind       },
    {0x08, vRead         },
    {0x15, vModeSelect   },
    {0x19, vErase        },
    {0x1A, vModeSense    },
    {0x1B, vLoadUnload   },
    {0x1E, vPreventAllow },
    {0x5A, vModeSense    },
    {0x8C, vReadAttribute},
    {-1,   nullptr       },
};

static const COMMAND strChangerCommands[] = {
    {0x07, vInventory        },
    {0x1A, vModeSense        },
    {0x1E, vPreventAllow     },
    {0x5A, vModeSense        },
    {0xA5, vMoveMedium       },
    {0xB8, vReadElementStatus},
    {-1,   nullptr           },
};

static const COMMAND* pFind(const COMMAND* pTable, int iOpcode)
{
    for (; pTable->iOpcode >= 0; pTable++) {
        if (pTable->iOpcode == iOpcode)
            return pTable;
    }
    return nullptr;
}

// Whether a device, instead of carrying out a command, reports what happened to it before. INQUIRY
// is carried out all the same, and REQUEST SENSE reports it itself.
static bool bTellAttention(REQUEST* pReq)
{
    DEVICE* pDev = pDeviceOf(pReq);
    const int iOpcode = pReq->cpCDB[0];
    if (pDev->iAttention < 0 || iOpcode == 0x12 || iOpcode == 0x03 || bDriveLoading(pDev))
        return false;
    vCheck(pReq, SENSE_UNIT_ATTENTION, pDev->iAttention);
    pDev->iAttention = -1;
    pReq->bChanged = true;
    return true;
}

void vRunCommand(REQUEST* pReq)
{
    const DEVICE_TYPE eType = pDeviceOf(pReq)->eType;
    const int iOpcode = pReq->cpCDB[0];
    if (bTellAttention(pReq))
        return;
    const COMMAND* pCommand = pFind(strCommonCommands, iOpcode);
    if (pCommand == nullptr && eType == TYPE_TAPE)
        pCommand = pFind(strDriveCommands, iOpcode);
    if (pCommand == nullptr && eType == TYPE_CHANGER)
        pCommand = pFind(strChangerCommands, iOpcode);
    if (pCommand != nullptr)
        pCommand->vRun(pReq);
    else
        vCheck(pReq, SENSE_ILLEGAL_REQUEST, CODE_INVALID_OPCODE);
}
