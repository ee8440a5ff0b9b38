// Decodes fixed-format sense data (SPC) into a line for a person.
#include "scsi/sense.h"

#include "device/run.h"
#include "scsi/bytes.h"

#include <stdio.h>

// The executor hands over the sense area of the request, which is empty: these texts are for
// callers that bring a device's own sense data.

// What an additional sense code and its qualifier mean, sorted by code.
struct SENSE_TEXT {
    unsigned int uiCode;
    char szText[56];
};

static const SENSE_TEXT strTexts[] = {
    {0x0400, "no sense data"                                },
    {0x0401, "Lun not ready, calibration in process"        },
    {0x0402, "lun not ready"                                },
    {0x0403, "manual invention needed (door was opened)."   },
    {0x2000, "illegal opcode"                               },
    {0x2101, "invalid element address"                      },
    {0x2400, "commando block error"                         },
    {0x2600, "parameter list error, invalid field"          },
    {0x2601, "parameter list error, parameter not supported"},
    {0x2602, "parameter list error, parameter value invalid"},
    {0x2800, "medium may have changed"                      },
    {0x2801, "import or export element accessed"            },
    {0x2900, "power on"                                     },
    {0x3A00, "medium not present"                           },
    {0x3B0D, "medium not present"                           }, // a full destination, on purpose
    {0x3B0E, "medium source element empty"                  },
    {0x5300, "media load eject failure"                     },
    {0x5302, "Media Removal Prevented (MANUELL KEY)"        },
    {0x8000, "Calibration error"                            },
};

static const char* cpFindText(unsigned int uiCode)
{
    for (const SENSE_TEXT& strText : strTexts) {
        if (strText.uiCode == uiCode)
            return strText.szText;
    }
    return nullptr;
}

// The dump runs to the third byte after the number in byte 3, but not out of the sense area.
static void vDumpSense(const unsigned char* cpSenseData)
{
    const int iBound = cpSenseData[3] + 3;
    printf("debug info\n");
    vDumpBytes(cpSenseData, iBound < iSENSE_AREA ? iBound : iSENSE_AREA, DUMP_TEXT);
    printf("\n");
}

void vScsiSenseData(const unsigned char* cpSenseData, int iReport)
{
    if (iReport < REPORT_DEBUG)
        return;
    const unsigned int iSenseCode = uiGet16(cpSenseData + 12);
    const char* cpText = cpFindText(iSenseCode);
    if (iSenseCode != 0) {
        printf("Error (code=%2x) (sensekey=%2x): ", cpSenseData[0], cpSenseData[2]);
        if (cpText != nullptr)
            printf("%s\n", cpText);
        else
            printf("%2x %2x\n", cpSenseData[12], cpSenseData[13]);
    } else if (iReport >= REPORT_DETAIL) {
        printf("Success (code=%2x) (sensekey=%2x)\n", cpSenseData[0], cpSenseData[2]);
    }
    vDumpSense(cpSenseData);
}
