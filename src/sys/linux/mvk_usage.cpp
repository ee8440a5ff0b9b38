// The usage text.
#include "mvk.h"

#include <stdio.h>
#include <string.h>

// One line of the text; "%s" stands for the program name. The texts lie in the table itself, like
// those of the other tables: a pointer would be one more thing to relocate at every start.
struct USAGE_LINE {
    bool bExtended;
    char szText[96];
};

static const USAGE_LINE strLines[] = {
    {false, "Usage:\n"                                                                           },
    {false, "Scan(0-7) for loaders and tapes:  %s scan [bus]\n"                                  },
    {false, "Inquiry:                          %s <ID|dev> [-]i\n"                               },
    {false, "Mode sense:                       %s <ID|dev> [-]s\n"                               },
    {false, "Loader specific\n"                                                                  },
    {false, "  Initialize element status:      %s <ID|dev> [-]I\n"                               },
    {false, "  Read element status:            %s <ID|dev> [-]e [s|d|p:num-num|full|empty]\n"    },
    {false, "  Read element status with label: %s <ID|dev> [-]l [s|d|p:num-num|full|empty]\n"    },
    {false, "  Move medium:                    %s <ID|dev> [-]m <s|d|p:num> <s|d|p:num>\n"       },
    {true,  "  Move medium with address:       %s <ID|dev> [-]hm <source> <target> <transport>\n"},
    {false, "Drive specific\n"                                                                   },
    {false, "  Set compression:                %s <ID|dev> [-]c [0|1]\n"                         },
    {false, "  Load   for tapes:               %s <ID|dev> [-]L\n"                               },
    {false, "  Unload for tapes:               %s <ID|dev> [-]u\n"                               },
    {false, "  Rewind for tapes:               %s <ID|dev> [-]r\n"                               },
    {false, "  Allow removable for tapes:      %s <ID|dev> [-]a\n"                               },
    {false, "  Prevent removable for tapes:    %s <ID|dev> [-]p\n"                               },
    {true,  "  Erase tape:                     %s <ID|dev> erase\n"                              },
    {true,  "  Read attributes:                %s <ID|dev> read "
           "[medium|medium_type|0x{attribute-id}]\n"                                   },
    {true,  "Override Element Addresses:       kq_glbv w gv_mvk_adr_{id} "
           "transport,slot,port,drive\n"                                               },
    {true,  "   e.g.:                          kq_glbv w gv_mvk_adr_0051 "
           "1x1,23x4096,1x16,2x256\n"                                                  },
};

void vUsage(const char* cpMyName, int iExtendedUsage)
{
    fputs("Version: ", stdout);
    puts(gszRevision);
    for (const USAGE_LINE& strLine : strLines) {
        if (strLine.bExtended && iExtendedUsage == 0)
            continue;
        const char* cpName = strstr(strLine.szText, "%s");
        if (cpName == nullptr) {
            fputs(strLine.szText, stdout);
            continue;
        }
        fwrite(strLine.szText, 1, (size_t)(cpName - strLine.szText), stdout);
        fputs(cpMyName, stdout);
        fputs(cpName + 2, stdout);
    }
}
