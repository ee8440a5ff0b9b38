// Selects the device of a run: takes its name, judges what the listing says of it, and opens its
// file. Stands on pass, name and shell.
#include "device/selection.h"

#include "device/pass.h"
#include "device/run.h"
#include "device/shell.h"

#include "cm_common.h"

#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

// Takes the device that a path leads to. A node of another driver, a link and an alias become the
// path of the generic node, where that is in its place.
static void vNamePath()
{
    char szPath[32];
    const FILE_FACTS strFacts = strLookAt(gstrDevice.szName);
    const int iNumber =
        strFacts.eKind == FILE_UNKNOWN ? iNodeNumber(gstrDevice.szName) : iGenericNumber(&strFacts);
    const NODE_ADDRESS strNode = strAskNode(iNumber);
    if (!strNode.bKnown)
        return;
    vPin(&strNode);
    vNodePath(iNumber, "", szPath, sizeof(szPath));
    if (strcmp(szPath, gstrDevice.szName) == 0)
        return;
    const FILE_FACTS strOwn = strLookAt(szPath);
    if (strOwn.eKind == FILE_GENERIC && iGenericNumber(&strOwn) == iNumber)
        v_COPY(gstrDevice.szName, sizeof(gstrDevice.szName), szPath);
}

// Takes the device that an address names, where sysfs knows it.
static void vNameAddress()
{
    GENERIC_NODES strNodes = {};
    gstrDevice.bAddress = bReadAddress(gstrDevice.szName, &gstrDevice.strAddress);
    const NODE_ADDRESS strNode = {iFindGenericNode(&strNodes, &gstrDevice.strAddress), true,
                                  gstrDevice.strAddress};
    if (strNode.iNumber >= 0)
        vPin(&strNode);
    vFreeGenericNodes(&strNodes);
}

// Several loaders and drives have the ID, which leaves open which of them is meant: a question goes
// to the last one, and nothing is changed on any. IDs of three digits leave the host out on
// purpose.
static void vJudgeSharing(const LISTING* pListing)
{
    char szAddress[iADDRESS_SIZE];
    if (pListing->iSharing < 2 || bWithoutHost(gstrDevice.szName))
        return;
    fprintf(stderr, "Warning: %s is the ID of %d devices, ", gstrDevice.szName, pListing->iSharing);
    if (gstrDevice.bPinned && !gstrDevice.bChanges)
        fprintf(stderr, "this is %s\n", cpWriteAddress(&gstrDevice.strAddress, szAddress));
    else
        fprintf(stderr, "these are%s\n", pListing->szSharing);
    if (gstrDevice.bChanges)
        gstrDevice.iRefusal = DEVICE_OPEN_ERROR;
}

// Only a loader or a drive is changed. pListing: the pass that found the device.
static void vJudgeType(const LISTING* pListing)
{
    const int iType = gstrDevice.bPinned ? iTypeOfGeneric(gstrDevice.iNumber) : -1;
    if (gstrDevice.bPinned ? iType < 0 || iType == TYPE_TAPE || iType == TYPE_CHANGER
                           : !pListing->bOther)
        return;
    fprintf(stderr, "Warning: %s is neither loader nor tape drive, nothing is sent to it\n",
            gstrDevice.szName);
    gstrDevice.iRefusal = NOTAPE_ERROR;
}

// Judges what a pass has found, before anything is sent: once, where sysfs knows the device. Where
// it could not be asked, or a listing was cut short, what was not seen may be what matters.
static void vJudge(const LISTING* pListing)
{
    if (gstrDevice.bJudged || gstrDevice.iRefusal != 0)
        return;
    gstrDevice.bJudged = gstrDevice.bPinned;
    if (gstrDevice.eForm == NAME_ID)
        vJudgeSharing(pListing);
    if (!gstrDevice.bChanges || gstrDevice.iRefusal != 0)
        return;
    vJudgeType(pListing);
    if (gstrDevice.iRefusal != 0 ||
        !(bSysfsIsDoubtful() || (gstrDevice.bPinned && gstrDevice.bCut)))
        return;
    fprintf(stderr, "Warning: the devices cannot all be read, nothing is sent to %s\n",
            gstrDevice.szName);
    gstrDevice.iRefusal = DEVICE_OPEN_ERROR;
}

// One pass for a command, or for the scan. Returns 0, or -1 with a message unless bQuiet.
static int iPass(bool bScan, bool bQuiet, int iReport)
{
    LISTING strListing = {};
    strListing.bScan = bScan;
    strListing.strScan.iReport = iReport;
    const int iResult = iReadListing(&strListing);
    if (iResult != 0 && !bQuiet)
        printf("iLinuxGetID() FAIL COULD NOT OPEN '%s'\n", szKERNEL_LISTING);
    vJudge(&strListing); // sysfs can know the device without the listing
    return iResult;
}

// Finds the device of an ID ahead of the first command, without a word.
static void vLookAhead()
{
    LISTING strListing = {};
    const int iFlg = strLog.iFlg;
    vReadGenericNodes(&strListing.strNodes);
    strLog.iFlg = 0;
    if (strListing.strNodes.iCount > 0)
        iReadListing(&strListing);
    strLog.iFlg = iFlg;
    vFreeGenericNodes(&strListing.strNodes);
}

void vNameDevice(const char* cpName, bool bChanges)
{
    gstrDevice = {};
    gstrDevice.eForm = eNameForm(cpName);
    gstrDevice.bChanges = bChanges;
    v_COPY(gstrDevice.szName, sizeof(gstrDevice.szName), cpName);
    if (gstrDevice.eForm == NAME_ADDRESS)
        vNameAddress();
    else if (gstrDevice.eForm == NAME_PATH)
        vNamePath();
    v_COPY(gstrDevice.szID, sizeof(gstrDevice.szID), gstrDevice.szName);
    v_COPY(gstrDevice.szDev, sizeof(gstrDevice.szDev), gstrDevice.szName);
    if (gstrDevice.bPinned && gstrDevice.eForm == NAME_ADDRESS)
        vNodePath(gstrDevice.iNumber, "", gstrDevice.szDev, sizeof(gstrDevice.szDev));
}

void vOtherID(char (&szID)[iID_SIZE])
{
    szID[0] = '\0';
    if (gstrDevice.bPinned)
        vWriteID(&gstrDevice.strAddress, true, szID);
    if (strcmp(szID, gstrDevice.szName) == 0)
        szID[0] = '\0';
}

void vFindAhead()
{
    if (gstrDevice.eForm == NAME_ID && bWithoutHost(gstrDevice.szName))
        vLookAhead();
}

// Returns why the file may not be opened, for the trace, or null when it may.
static const char* cpWhyNot()
{
    const FILE_FACTS strFacts = strLookAt(gstrDevice.szDev);
    if (strFacts.eKind == FILE_DEVICE)
        return "it is no node of the generic driver";
    const int iNumber = iGenericNumber(&strFacts);
    if (strFacts.eKind == FILE_UNKNOWN || iNumber == gstrDevice.iNumber)
        return nullptr;
    const bool bCounted = gstrDevice.eForm != NAME_PATH && strAskNode(iNumber).bKnown;
    return gstrDevice.bPinned || bCounted ? "it is not the node of the device" : nullptr;
}

// Whether an open file may be used: it is no other node than a generic one, whatever stat told
// before, and where there is a pinned device it has its number, and the number is still the
// device's.
static bool bMayUse(int iFD)
{
    const FILE_FACTS strFacts = strLookAtOpen(iFD);
    if (!gstrDevice.bPinned)
        return strFacts.eKind != FILE_DEVICE;
    return strFacts.eKind == FILE_GENERIC && iGenericNumber(&strFacts) == gstrDevice.iNumber &&
           bPinHolds();
}

int iOpenDevice()
{
    if (eNameForm(gstrDevice.szDev) != NAME_PATH)
        return -1; // an ID or address that leads to no node
    const char* cpReason = cpWhyNot();
    const int iFD = cpReason == nullptr ? open(gstrDevice.szDev, O_RDWR) : -1;
    if (iFD >= 0 && !bMayUse(iFD)) {
        close(iFD);
        cpReason = "what was opened is not the device";
    }
    if (cpReason == nullptr)
        return iFD;
    TRACE_ABOVE(&strLog, 0, "[%s] is not opened: %s", gstrDevice.szDev, cpReason);
    return -1;
}

int iLinuxGetID(const char* cpMode, int iReport)
{
    if (b_STARTS_WITH(cpMode, "linux_proc_scsi"))
        return iPass(strcmp(cpMode, "linux_proc_scsi_scan") == 0,
                     strcmp(cpMode, "linux_proc_scsi_quiet") == 0, iReport);
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
    (void)cpBus; // every bus is scanned
    iLinuxGetID("linux_proc_scsi_scan", iReport);
}
