// Finds devices: goes through the listing, maps ID strings and device files to each other, and
// prints the bus scan. Stands on listing, sysfs, tape_node and shell.
//
// An entry's node is found by counting, /dev/sg<n> for entry n. After a device was removed or added
// the numbers have gaps, so that sysfs, where there is one, has the last word.
#include "device/selection.h"

#include "device/listing.h"
#include "device/name.h"
#include "device/shell.h"
#include "device/tape_node.h"
#include "mvk.h"

#include "cm_common.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

static const char szGENERIC_PREFIX[] = "/dev/sg";

// A generic node and its address in sysfs.
struct NODE_ADDRESS {
    int iNumber; // -1: none
    bool bKnown; // sysfs knows it
    SCSI_ADDRESS strAddress;
};

// One pass through the listing.
struct LISTING {
    bool bScan;
    int iReport;
    LISTING_ENTRY strEntry;
    GENERIC_NODES strNodes;
    TAPE_NODE strTapes[iTAPE_NODES];
    int iTapeNr;              // number of the next tape drive
    char szTapeDev[32];       // the node of the last tape drive, as the scan found it
    NODE_ADDRESS strGiven;    // the node that gszDev named at the start
    bool bSelected;           // an entry was selected
    NODE_ADDRESS strSelected; // its node
};

// The device that the run works on, by its address in sysfs. It stays the same from command to
// command, whatever is added or removed between them.
static struct {
    bool bSet;
    char szDev[sizeof(gszDev)]; // the selection that it belongs to
    char szID[sizeof(gszID)];
    SCSI_ADDRESS strAddress;
} gstrPin;

static NODE_ADDRESS strAskNode(int iNumber)
{
    NODE_ADDRESS strNode = {iNumber, false, {}};
    strNode.bKnown = iNumber >= 0 && bGenericAddress(iNumber, &strNode.strAddress);
    return strNode;
}

// Returns the number of the generic node that cpPath names, -1 when it names none.
static int iNodeNumber(const char* cpPath)
{
    char szPath[32];
    if (!b_STARTS_WITH(cpPath, szGENERIC_PREFIX))
        return -1;
    const int iNumber = i_DECIMAL(cpPath + strlen(szGENERIC_PREFIX));
    snprintf(szPath, sizeof(szPath), "%s%d", szGENERIC_PREFIX, iNumber);
    return strcmp(szPath, cpPath) == 0 ? iNumber : -1;
}

// Says that sysfs has another node for the entry than the counted one; iNumber is -1 for none.
static void vTraceNode(const LISTING_ENTRY* pEntry, int iNumber)
{
    if (iNumber < 0)
        TRACE_ABOVE(&strLog, 0, "[%s] is not sg%d and has no other node", pEntry->szID,
                    pEntry->iNum - 1);
    else if (iNumber != pEntry->iNum - 1)
        TRACE_ABOVE(&strLog, 0, "[%s] is not sg%d but sg%d", pEntry->szID, pEntry->iNum - 1,
                    iNumber);
}

// Finds the node of the current entry; its number is -1 when the counted one is another device's
// and sysfs knows no other.
static NODE_ADDRESS strNodeOf(LISTING* pListing)
{
    const LISTING_ENTRY* pEntry = &pListing->strEntry;
    const int iCounted = pEntry->iNum - 1;
    if (!pEntry->bAddress)
        return {iCounted, false, {}};
    const NODE_ADDRESS strCounted =
        iCounted == pListing->strGiven.iNumber ? pListing->strGiven : strAskNode(iCounted);
    if (strCounted.bKnown && bSameAddress(&strCounted.strAddress, &pEntry->strAddress))
        return strCounted;
    const int iFound = iFindGenericNode(&pListing->strNodes, &pEntry->strAddress);
    if (iFound < 0 && !strCounted.bKnown)
        return strCounted; // sysfs knows neither: counting is all there is
    vTraceNode(pEntry, iFound);
    return {iFound, iFound >= 0, pEntry->strAddress};
}

// Writes the path of a node, or cpNone without one.
static void vNodePath(const NODE_ADDRESS* pNode, const char* cpNone, char* cpPath, size_t uiSize)
{
    if (pNode->iNumber >= 0)
        snprintf(cpPath, uiSize, "%s%d", szGENERIC_PREFIX, pNode->iNumber);
    else
        v_COPY(cpPath, uiSize, cpNone);
}

// Makes /dev/nst<n> for the n-th tape drive of the listing when it is missing, then looks for the
// node that really is the drive's; szTapeDev is "/dev/nst?" without one.
static void vScanTape(LISTING* pListing)
{
    char szTemp[32];
    char szCmd[64];
    snprintf(szTemp, sizeof(szTemp), "/dev/nst%d", pListing->iTapeNr);
    if (iFileExist(szTemp, 0) != 0) {
        snprintf(szCmd, sizeof(szCmd), "mknod /dev/nst%d c 9 %d > /dev/null 2>&1",
                 pListing->iTapeNr, pListing->iTapeNr + 128);
        vRunCommand(szCmd);
    }
    pListing->iTapeNr++;
    if (!bFindTapeNode(pListing->strTapes, &pListing->strEntry, pListing->szTapeDev,
                       pListing->iReport))
        v_COPY(pListing->szTapeDev, sizeof(pListing->szTapeDev), "/dev/nst?");
}

static void vScanEntry(LISTING* pListing, DEVICE_KIND eKind)
{
    static const char szKinds[][10] = {"Loader: ", "Tape:   ", "other:  "};
    const LISTING_ENTRY* pEntry = &pListing->strEntry;
    char szLoader[32] = "";
    if (eKind == KIND_LOADER && pEntry->iNum > 0) {
        const NODE_ADDRESS strNode = strNodeOf(pListing);
        vNodePath(&strNode, "/dev/sg?", szLoader, sizeof(szLoader));
    } else if (eKind == KIND_TAPE) {
        vScanTape(pListing);
    }
    printf("ID=%s %s%s%s", pEntry->szID, szKinds[eKind], pEntry->szVendor, pEntry->szModel);
    if (eKind != KIND_OTHER)
        printf("%s (%s)", pEntry->szRevision,
               eKind == KIND_LOADER ? szLoader : pListing->szTapeDev);
    printf("\n");
}

// Whether gszDev named the node of the current entry.
static bool bIsGivenNode(LISTING* pListing)
{
    const LISTING_ENTRY* pEntry = &pListing->strEntry;
    const NODE_ADDRESS* pGiven = &pListing->strGiven;
    if (pListing->szTapeDev[0] != '\0' && strcmp(gszDev, pListing->szTapeDev) == 0)
        return true;
    if (pGiven->iNumber < 0)
        return false;
    if (pGiven->bKnown) // a node that an earlier pass found for an ID was not given
        return strcmp(gszID, gszDev) == 0 && pEntry->bAddress &&
               bSameAddress(&pGiven->strAddress, &pEntry->strAddress);
    return pEntry->iNum - 1 == pGiven->iNumber && strNodeOf(pListing).iNumber == pGiven->iNumber;
}

// Remembers the device of a node that sysfs knows: from now on the run selects nothing else.
static void vPin(const NODE_ADDRESS* pNode, const char* cpID)
{
    gstrPin.bSet = true;
    gstrPin.strAddress = pNode->strAddress;
    v_COPY(gstrPin.szID, sizeof(gstrPin.szID), cpID);
}

// Whether the run has another device than the current entry, so that even the same ID means
// nothing.
static bool bPinnedElsewhere(const LISTING_ENTRY* pEntry)
{
    return gstrPin.bSet &&
           !(pEntry->bAddress && bSameAddress(&pEntry->strAddress, &gstrPin.strAddress));
}

// Completes the selection when the current entry is the selected device. Without a node the ID
// stands in for the device file, which cannot be opened then.
static void vSelect(LISTING* pListing, const char* szTypeLine)
{
    const LISTING_ENTRY* pEntry = &pListing->strEntry;
    if (pEntry->szID[0] == '\0' || bPinnedElsewhere(pEntry))
        return;
    if (strcmp(gszID, pEntry->szID) == 0) {
        pListing->bSelected = true;
        if (eKindOf(szTypeLine) != KIND_OTHER) {
            pListing->strSelected = strNodeOf(pListing);
            vNodePath(&pListing->strSelected, gszID, gszDev, sizeof(gszDev));
        }
        TRACE_ABOVE(&strLog, 0, "device gszDev set to [%s]", gszDev);
    } else if (bIsGivenNode(pListing)) {
        pListing->bSelected = true;
        pListing->strSelected = pListing->strGiven;
        vTraceNode(pEntry, pListing->strGiven.iNumber);
        v_COPY(gszID, sizeof(gszID), pEntry->szID);
        v_COPY(gstrPin.szID, sizeof(gstrPin.szID), gszID);
        TRACE_ABOVE(&strLog, 0, "gszID set to [%s]", gszID);
    }
}

// A selection that somebody has changed since the last pass is a new one. A path is pinned before
// an entry is looked at: another one may have the same ID.
static void vBeginPass(LISTING* pListing)
{
    pListing->strGiven = strAskNode(iNodeNumber(gszDev));
    gstrPin.bSet = gstrPin.bSet && strcmp(gszDev, gstrPin.szDev) == 0;
    if (!gstrPin.bSet && pListing->strGiven.bKnown && strcmp(gszID, gszDev) == 0)
        vPin(&pListing->strGiven, "");
}

// Pins the selection of the first pass. When the pinned device is gone, its ID stands in for the
// device file, and nothing else takes its place.
static void vEndPass(const LISTING* pListing)
{
    if (gstrPin.bSet && !pListing->bSelected && gstrPin.szID[0] != '\0') {
        v_COPY(gszDev, sizeof(gszDev), gstrPin.szID);
        TRACE_ABOVE(&strLog, 0, "device [%s] is gone", gszDev);
    } else if (!gstrPin.bSet && pListing->bSelected && pListing->strSelected.bKnown) {
        vPin(&pListing->strSelected, gszID);
    }
    v_COPY(gstrPin.szDev, sizeof(gstrPin.szDev), gszDev);
}

// Whether gszDev leads to the pinned device, if there is one.
static bool bDevIsPinned()
{
    if (!gstrPin.bSet)
        return true;
    const NODE_ADDRESS strNode = strAskNode(iNodeNumber(gszDev));
    return strNode.bKnown && bSameAddress(&strNode.strAddress, &gstrPin.strAddress);
}

int iOpenDevice()
{
    const char* cpReason = cpWhyNotOpened(gszDev, gstrPin.bSet ? iNodeNumber(gszDev) : -1);
    if (cpReason != nullptr) {
        TRACE_ABOVE(&strLog, 0, "[%s] is not opened: %s", gszDev, cpReason);
        return -1;
    }
    const int iFD = open(gszDev, O_RDWR);
    if (iFD >= 0 && !bDevIsPinned()) {
        close(iFD);
        return -1;
    }
    return iFD;
}

static void vTakeLine(LISTING* pListing, const char* szLine)
{
    const bool bHost = strlen(gszID) != 3; // an ID of three digits leaves the host out
    if (!bReadListingLine(szLine, bHost, &pListing->strEntry))
        return;
    if (pListing->bScan)
        vScanEntry(pListing, eKindOf(szLine));
    vSelect(pListing, szLine);
}

// Goes through the listing as the kernel would give it. Identity and type of a device are five
// files: they are read for a scan and for the device that is selected. Returns false when sysfs
// knows none.
static bool bReadSysfs(LISTING* pListing)
{
    vReadGenericNodes(&pListing->strNodes);
    for (int i = 0; i < pListing->strNodes.iCount; i++) {
        const GENERIC_NODE* pNode = &pListing->strNodes.pNodes[i];
        char szLine[iLISTING_LINE_SIZE];
        vHostLine(pNode, szLine);
        vTakeLine(pListing, szLine);
        if (!pListing->bScan && strcmp(gszID, pListing->strEntry.szID) != 0) {
            vTakeLine(pListing, "  Type:\n");
            continue;
        }
        vVendorLine(pNode, szLine);
        vTakeLine(pListing, szLine);
        vTypeLine(pNode, szLine);
        vTakeLine(pListing, szLine);
    }
    return pListing->strNodes.iCount > 0;
}

// Reads the listing from its start; with bScan prints every entry. Returns 0 or -1.
static int iReadListing(bool bScan, int iReport)
{
    char szLine[iLISTING_LINE_SIZE];
    LISTING strListing = {};
    strListing.bScan = bScan;
    strListing.iReport = iReport;
    FILE* fpListing = fopen(szKERNEL_LISTING, "r");
    const bool bMissing = fpListing == nullptr && errno == ENOENT;
    vBeginPass(&strListing);
    while (fpListing != nullptr && fgets(szLine, sizeof(szLine), fpListing) != nullptr)
        vTakeLine(&strListing, szLine);
    const bool bRead = fpListing != nullptr || (bMissing && bReadSysfs(&strListing));
    if (fpListing != nullptr)
        fclose(fpListing);
    if (bRead)
        vEndPass(&strListing);
    else
        printf("iLinuxGetID() FAIL COULD NOT OPEN '%s'\n", szKERNEL_LISTING);
    vFreeGenericNodes(&strListing.strNodes);
    return bRead ? 0 : -1;
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
    (void)cpBus; // every bus is scanned
    iLinuxGetID("linux_proc_scsi_scan", iReport);
}
