// Ways to the devices through shell commands. Stands on listing.
#include "device/shell.h"

#include "device/device.h"
#include "device/listing.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

void vRunCommand(const char* cpCommand)
{
    const int iIgnored = system(cpCommand);
    (void)iIgnored;
}

int iFindByPipeline()
{
    static const char szFile1[] = "/tmp/mvk_dev.tmp";
    static const char szFile2[] = "/tmp/mvk_id.tmp";
    char szCmd[512];
    const char* cpDigit = gstrDevice.szID;
    int iLength =
        snprintf(szCmd, sizeof(szCmd), "cat %s | grep 'Host' | grep -n 'Host' > %s; cat %s | ",
                 szKERNEL_LISTING, szFile1, szFile1);
    if (strlen(gstrDevice.szID) == 4)
        iLength += snprintf(szCmd + iLength, sizeof(szCmd) - (size_t)iLength, "grep 'scsi%c' | ",
                            *cpDigit++);
    snprintf(szCmd + iLength, sizeof(szCmd) - (size_t)iLength,
             "grep 'Channel: 0%c' | grep 'Id: 0%c' | grep 'Lun: 0%c' | cut -f1 -d':' > %s",
             cpDigit[0], cpDigit[1], cpDigit[2], szFile2);
    if (system(szCmd) != 0)
        return -1;
    FILE* fpResult = fopen(szFile2, "r");
    if (fpResult == nullptr)
        return -2;
    char szFirst[2] = "";
    if (fgets(szFirst, sizeof(szFirst), fpResult) != nullptr)
        snprintf(gstrDevice.szDev, sizeof(gstrDevice.szDev), "/dev/sg%c", szFirst[0] - 1);
    fclose(fpResult);
    return 0;
}

int iExecFilter(const char* cpMode, const char* cpCmd)
{
    FILE* fpPipe = popen(cpCmd, "r");
    if (fpPipe == nullptr) {
        printf("iExec() ERROR to get file pointer\n");
        return -1;
    }
    const bool bScan = strcmp(cpMode, "scan") == 0;
    char szLine[iLISTING_LINE_SIZE];
    LISTING_ENTRY strEntry = {};
    while (fgets(szLine, sizeof(szLine), fpPipe) != nullptr) {
        if (!bScan) {
            fputs(szLine, stdout);
            continue;
        }
        if (!bReadListingLine(szLine, !bWithoutHost(gstrDevice.szID), &strEntry))
            continue;
        if (strEntry.eKind != KIND_OTHER)
            printf("ID=%s %s%s%s\n", strEntry.szID,
                   strEntry.eKind == KIND_LOADER ? "Loader: " : "Tape:   ", strEntry.szVendor,
                   strEntry.szModel);
    }
    return pclose(fpPipe);
}
