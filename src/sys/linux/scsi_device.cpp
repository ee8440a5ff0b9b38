// Finds devices: reads the kernel's listing /proc/scsi/scsi, maps ID strings and device files to
// each other, and prints the bus scan.
#include "scsi_device.h"

#include "mvk.h"

#include "cm_common.h"

#include <fcntl.h>
#include <scsi/scsi_ioctl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#ifndef SCSI_IOCTL_GET_IDLUN
#define SCSI_IOCTL_GET_IDLUN 0x5382
#endif

static const char szLISTING[] = "/proc/scsi/scsi";

// How many tape nodes the scan looks at.
static const int iTAPE_NODES = 16;

// A line of the listing is read in pieces of at most one byte less than this.
static const int iLINE_SIZE = 128;

// The entry of the listing that is being read.
struct LISTING_ENTRY {
    char szID[64];
    char szDev[32];
    char szVendor[16];
    char szModel[32];
    char szRevision[16];
    char szTapeDev[32]; // the node of the current tape drive; the scan looks for it
    int iNum;           // number of the next entry
    int iTapeNr;        // number of the next tape drive
};

enum DEVICE_KIND { KIND_LOADER, KIND_TAPE, KIND_OTHER };

int iFileExist(const char* cpFile, int iShow)
{
    struct stat strStat = {};
    const int iResult = stat(cpFile, &strStat);
    if (iShow >= 1) {
        if (iResult == 0)
            printf("iFileExist() %s\nsize:%ld\n\n", cpFile, (long)strStat.st_size);
        else
            printf("iFileExist() Could not get information from %s\n", cpFile);
    }
    return iResult;
}

int iLinuxGetTapeBusInfo(const char* cpDev, const char* cpBus, int iReport)
{
    const bool bShow = iReport >= 1 && iReport <= 10;
    const int iFD = open(cpDev, O_RDWR | O_NONBLOCK);
    if (iFD < 0) {
        if (bShow)
            printf("COULD NOT OPEN %s\n", cpDev);
        return 2;
    }
    unsigned int uiAddress[2] = {};
    if (ioctl(iFD, SCSI_IOCTL_GET_IDLUN, uiAddress) < 0) {
        if (bShow)
            printf("COULD NOT GET DEVICE INFORMATION\n");
        close(iFD);
        return 3;
    }
    close(iFD);
    const unsigned int uiId = uiAddress[0] & 0xFF;
    const unsigned int uiLun = uiAddress[0] >> 8 & 0xFF;
    const unsigned int uiChannel = uiAddress[0] >> 16 & 0xFF;
    const unsigned int uiHost = uiAddress[0] >> 24;
    char szBus[32];
    snprintf(szBus, sizeof(szBus), "%u%u%u%u", uiHost, uiChannel, uiId, uiLun);
    if (bShow) {
        printf("GOT '%x' '%x'\n", uiAddress[0], uiAddress[1]);
        printf("iHost:'%u'\niId:'%u'\niChannel:'%u'\niLun:'%u'\n", uiHost, uiId, uiChannel, uiLun);
    }
    if (strcmp(szBus, cpBus) != 0)
        return -1;
    if (bShow)
        printf("FOUND SAME SCSI ID '%s' FOR DEV '%s'\n", szBus, cpDev);
    return 0;
}

void vLinuxScanTape(int iMax, char* cpTape, int iReport)
{
    for (int n = 0; n < iMax; n++) {
        char szPath[32];
        snprintf(szPath, sizeof(szPath), "/dev/nst%d", n);
        if (iFileExist(szPath, 0) == 0 && iLinuxGetTapeBusInfo(szPath, cpTape, iReport) == 0)
            v_COPY(cpTape, sizeof(LISTING_ENTRY::szTapeDev), szPath);
    }
}

// Copies the columns iFirst to iFirst + iCount - 1 of szLine, as far as the line goes.
static void vTakeField(char* cpField, const char* szLine, size_t uiFirst, size_t uiCount)
{
    v_COPY(cpField, uiCount + 1, strlen(szLine) > uiFirst ? szLine + uiFirst : "");
}

// The sum of two digits: the number itself up to 9, which the columns of an ID have room for.
static int iDigitSum(const char* cpDigits)
{
    return cpDigits[0] + cpDigits[1] - 2 * '0';
}

// A "Host:" line begins the next entry. An ID of three digits is asked for without the host.
static void vReadHostLine(const char* szLine, LISTING_ENTRY* pEntry)
{
    const int iHost = szLine[10] - '0';
    const int iChannel = iDigitSum(szLine + 21);
    const int iTarget = iDigitSum(szLine + 28);
    const int iLun = iDigitSum(szLine + 36);
    snprintf(pEntry->szDev, sizeof(pEntry->szDev), "/dev/sg%d", pEntry->iNum);
    if (strlen(gszID) == 3)
        snprintf(pEntry->szID, sizeof(pEntry->szID), "%d%d%d", iChannel, iTarget, iLun);
    else
        snprintf(pEntry->szID, sizeof(pEntry->szID), "%d%d%d%d", iHost, iChannel, iTarget, iLun);
    pEntry->iNum++;
}

// Runs a command for its effect: what follows shows whether it had one.
static void vRunCommand(const char* cpCommand)
{
    const int iIgnored = system(cpCommand);
    (void)iIgnored;
}

// Prints the tape drive of a scan with the node that carries its ID. The node that its place in the
// listing suggests is made when it is missing.
static void vScanTape(LISTING_ENTRY* pEntry, int iReport)
{
    char szTemp[32];
    char szCmd[64];
    snprintf(szTemp, sizeof(szTemp), "/dev/nst%d", pEntry->iTapeNr);
    if (iFileExist(szTemp, 0) != 0) {
        snprintf(szCmd, sizeof(szCmd), "mknod /dev/nst%d c 9 %d > /dev/null 2>&1", pEntry->iTapeNr,
                 pEntry->iTapeNr + 128);
        vRunCommand(szCmd);
    }
    pEntry->iTapeNr++;
    v_COPY(pEntry->szTapeDev, sizeof(pEntry->szTapeDev), pEntry->szID);
    vLinuxScanTape(iTAPE_NODES, pEntry->szTapeDev, iReport);
    const bool bFound = strcmp(pEntry->szTapeDev, pEntry->szID) != 0;
    printf("ID=%s Tape:   %s%s%s (%s)\n", pEntry->szID, pEntry->szVendor, pEntry->szModel,
           pEntry->szRevision, bFound ? pEntry->szTapeDev : "/dev/nst?");
}

static void vScanEntry(LISTING_ENTRY* pEntry, DEVICE_KIND eKind, int iReport)
{
    switch (eKind) {
    case KIND_LOADER:
        printf("ID=%s Loader: %s%s%s (%s)\n", pEntry->szID, pEntry->szVendor, pEntry->szModel,
               pEntry->szRevision, pEntry->szDev);
        break;
    case KIND_TAPE:
        vScanTape(pEntry, iReport);
        break;
    case KIND_OTHER:
        printf("ID=%s other:  %s%s\n", pEntry->szID, pEntry->szVendor, pEntry->szModel);
        break;
    }
}

// Completes the selection when the entry is the selected device.
static void vSelect(const LISTING_ENTRY* pEntry, DEVICE_KIND eKind)
{
    if (strcmp(gszID, pEntry->szID) == 0) {
        if (eKind != KIND_OTHER)
            v_COPY(gszDev, sizeof(gszDev), pEntry->szDev);
        TRACE_ABOVE(&strLog, 0, "device gszDev set to [%s]", gszDev);
    } else if (strcmp(gszDev, pEntry->szDev) == 0 || strcmp(gszDev, pEntry->szTapeDev) == 0) {
        v_COPY(gszID, sizeof(gszID), pEntry->szID);
        TRACE_ABOVE(&strLog, 0, "gszID set to [%s]", gszID);
    }
}

static DEVICE_KIND eKindOf(const char* szLine)
{
    if (strstr(szLine, "Medium Changer") != nullptr)
        return KIND_LOADER;
    return strstr(szLine, "Sequential-Access") != nullptr ? KIND_TAPE : KIND_OTHER;
}

// Takes what the line says into the entry. Returns true when it was the type line, which comes last
// and completes the entry.
static bool bReadLine(const char* szLine, LISTING_ENTRY* pEntry)
{
    if (strstr(szLine, "Host:") != nullptr && strlen(szLine) > 37)
        vReadHostLine(szLine, pEntry);
    if (strstr(szLine, "  Vendor:") != nullptr) {
        vTakeField(pEntry->szVendor, szLine, 9, 9);
        vTakeField(pEntry->szModel, szLine, 25, 17);
        vTakeField(pEntry->szRevision, szLine, 47, 5);
    }
    return strstr(szLine, "Type:") != nullptr;
}

// Reads the listing from its start; with bScan prints every entry. Returns 0 or -1.
static int iReadListing(bool bScan, int iReport)
{
    FILE* fpListing = fopen(szLISTING, "r");
    if (fpListing == nullptr) {
        printf("iLinuxGetID() FAIL COULD NOT OPEN '%s'\n", szLISTING);
        return -1;
    }
    char szLine[iLINE_SIZE];
    LISTING_ENTRY strEntry = {};
    while (fgets(szLine, sizeof(szLine), fpListing) != nullptr) {
        if (!bReadLine(szLine, &strEntry))
            continue;
        const DEVICE_KIND eKind = eKindOf(szLine);
        if (bScan)
            vScanEntry(&strEntry, eKind, iReport);
        vSelect(&strEntry, eKind);
    }
    fclose(fpListing);
    return 0;
}

// Finds the device of gszID by a shell pipeline over the listing. Only the first digit of the line
// number is read, so this is exact for the first nine entries.
static int iFindByPipeline()
{
    static const char szFile1[] = "/tmp/mvk_dev.tmp";
    static const char szFile2[] = "/tmp/mvk_id.tmp";
    char szCmd[512];
    const char* cpDigit = gszID;
    int iLength =
        snprintf(szCmd, sizeof(szCmd), "cat %s | grep 'Host' | grep -n 'Host' > %s; cat %s | ",
                 szLISTING, szFile1, szFile1);
    if (strlen(gszID) == 4)
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
        snprintf(gszDev, sizeof(gszDev), "/dev/sg%c", szFirst[0] - 1);
    fclose(fpResult);
    return 0;
}

int iLinuxGetID(const char* cpMode, int iReport)
{
    if (b_STARTS_WITH(cpMode, "linux_proc_scsi"))
        return iReadListing(strcmp(cpMode, "linux_proc_scsi_scan") == 0, iReport);
    if (strcmp(cpMode, "id") == 0)
        return iFindByPipeline();
    if (strcmp(cpMode, "generate") == 0)
        vRunCommand("modprobe sg");
    else if (strcmp(cpMode, "remove") == 0)
        vRunCommand("rmmod sg");
    return 0;
}

void vScanDevice(const char* cpBus, int iReport)
{
    (void)cpBus;
    iLinuxGetID("linux_proc_scsi_scan", iReport);
}

int iExecFilter(const char* cpMode, const char* cpCmd)
{
    FILE* fpPipe = popen(cpCmd, "r");
    if (fpPipe == nullptr) {
        printf("iExec() ERROR to get file pointer\n");
        return -1;
    }
    const bool bScan = strcmp(cpMode, "scan") == 0;
    char szLine[iLINE_SIZE];
    LISTING_ENTRY strEntry = {};
    while (fgets(szLine, sizeof(szLine), fpPipe) != nullptr) {
        if (!bScan) {
            fputs(szLine, stdout);
            continue;
        }
        if (!bReadLine(szLine, &strEntry))
            continue;
        const DEVICE_KIND eKind = eKindOf(szLine);
        if (eKind != KIND_OTHER)
            printf("ID=%s %s%s%s\n", strEntry.szID,
                   eKind == KIND_LOADER ? "Loader: " : "Tape:   ", strEntry.szVendor,
                   strEntry.szModel);
    }
    return pclose(fpPipe);
}
