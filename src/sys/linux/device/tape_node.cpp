// Finds the tape driver's node of a drive by the address that the node tells.
#include "device/tape_node.h"

#include "device/address.h"
#include "device/run.h"

#include "cm_common.h"

#include <fcntl.h>
#include <scsi/scsi_ioctl.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#ifndef SCSI_IOCTL_GET_IDLUN
#define SCSI_IOCTL_GET_IDLUN 0x5382
#endif

// Room for a path of a tape node, or an ID in its place.
static const int iTAPE_PATH_SIZE = 32;

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

static bool bShows(int iReport)
{
    return iReport >= REPORT_NORMAL && iReport < REPORT_SCAN;
}

// Asks the node for the kernel's address words (SCSI_IOCTL_GET_IDLUN).
static void vAskNode(const char* cpDev, TAPE_NODE* pNode)
{
    pNode->bAsked = true;
    const int iFD = open(cpDev, O_RDWR | O_NONBLOCK);
    if (iFD < 0) {
        pNode->iResult = DEVICE_OPEN_ERROR;
        return;
    }
    if (ioctl(iFD, SCSI_IOCTL_GET_IDLUN, pNode->uiAddress) < 0)
        pNode->iResult = IOCTL_ERROR;
    close(iFD);
    pNode->strAddress = strAddressOfWord(pNode->uiAddress[0]);
}

// Compares what a node told with the wanted ID, and says so; see iLinuxGetTapeBusInfo.
static int iCompareID(const TAPE_NODE* pNode, const char* cpDev, const char* cpBus, int iReport)
{
    const bool bShow = bShows(iReport);
    const unsigned long long* ullNumbers = pNode->strAddress.ullNumbers;
    char szBus[iADDRESS_SIZE];
    if (pNode->iResult != 0) {
        if (bShow && pNode->iResult == DEVICE_OPEN_ERROR)
            printf("COULD NOT OPEN %s\n", cpDev);
        else if (bShow)
            printf("COULD NOT GET DEVICE INFORMATION\n");
        return pNode->iResult;
    }
    cpFullID(&pNode->strAddress, szBus);
    if (bShow) {
        printf("GOT '%x' '%x'\n", pNode->uiAddress[0], pNode->uiAddress[1]);
        printf("iHost:'%llu'\niId:'%llu'\niChannel:'%llu'\niLun:'%llu'\n", ullNumbers[HOST],
               ullNumbers[TARGET], ullNumbers[CHANNEL], ullNumbers[LUN]);
    }
    if (strcmp(szBus, cpBus) != 0)
        return -1;
    if (bShow)
        printf("FOUND SAME SCSI ID '%s' FOR DEV '%s'\n", szBus, cpDev);
    return 0;
}

int iLinuxGetTapeBusInfo(const char* cpDev, const char* cpBus, int iReport)
{
    TAPE_NODE strNode = {};
    vAskNode(cpDev, &strNode);
    return iCompareID(&strNode, cpDev, cpBus, iReport);
}

void vLinuxScanTape(int iMax, char* cpTape, int iReport)
{
    for (int n = 0; n < iMax; n++) {
        char szPath[iTAPE_PATH_SIZE];
        snprintf(szPath, sizeof(szPath), "/dev/nst%d", n);
        if (iFileExist(szPath, 0) == 0 && iLinuxGetTapeBusInfo(szPath, cpTape, iReport) == 0)
            v_COPY(cpTape, sizeof(szPath), szPath);
    }
}

// Whether the node is the drive's: by the ID as far as the columns of the listing go, which sums up
// digits, else by the numbers.
static bool bIsNodeOf(const TAPE_NODE* pNode, const char* cpDev, const LISTING_ENTRY* pEntry,
                      int iReport)
{
    if (pEntry->bByColumns)
        return iCompareID(pNode, cpDev, pEntry->szID, iReport) == 0;
    return pNode->iResult == 0 && pEntry->bAddress &&
           bSameAddress(&pNode->strAddress, &pEntry->strAddress);
}

bool bFindTapeNode(TAPE_NODE* pNodes, const LISTING_ENTRY* pEntry, char* cpPath, int iReport)
{
    for (int n = 0; n < iTAPE_NODES; n++) {
        char szPath[iTAPE_PATH_SIZE];
        snprintf(szPath, sizeof(szPath), "/dev/nst%d", n);
        if (!pNodes[n].bAsked) {
            if (iFileExist(szPath, 0) != 0)
                continue;
            vAskNode(szPath, &pNodes[n]);
        }
        if (bIsNodeOf(&pNodes[n], szPath, pEntry, iReport)) {
            v_COPY(cpPath, sizeof(szPath), szPath);
            return true;
        }
    }
    return false;
}
