// Goes through the listing, the kernel's or the one that sysfs makes up for, and completes the
// device of the run. Stands on nodes, scan and the trace.
#include "device/pass.h"

#include "device/run.h"

#include "cm_common.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

void vPin(const NODE_ADDRESS* pNode)
{
    gstrDevice.bPinned = gstrDevice.bAddress = true;
    gstrDevice.iNumber = pNode->iNumber;
    gstrDevice.strAddress = pNode->strAddress;
}

bool bPinHolds()
{
    const NODE_ADDRESS strNode = strAskNode(gstrDevice.iNumber);
    return strNode.bKnown && bSameAddress(&strNode.strAddress, &gstrDevice.strAddress);
}

// Whether gszDev named the node of the current entry. Only where sysfs does not know the node.
static bool bIsGivenNode(LISTING* pListing)
{
    const LISTING_ENTRY* pEntry = &pListing->strEntry;
    const char* cpTapeDev = pListing->strScan.szTapeDev;
    if (cpTapeDev[0] != '\0' && strcmp(gstrDevice.szDev, cpTapeDev) == 0)
        return true;
    return pListing->iGiven >= 0 && pEntry->iNum - 1 == pListing->iGiven &&
           strNodeOf(pEntry, &pListing->strNodes).iNumber == pListing->iGiven;
}

// Takes a node for the file to open; without one the name stands in for it, and is not opened then.
static void vTakeNode(LISTING* pListing, const NODE_ADDRESS* pNode)
{
    pListing->strSelected = *pNode;
    pListing->iGiven = pNode->iNumber;
    gstrDevice.iNumber = pNode->iNumber;
    vNodePath(pNode->iNumber, gstrDevice.szName, gstrDevice.szDev, sizeof(gstrDevice.szDev));
}

// The current entry is the device: its ID becomes the device's.
static void vTakeEntry(LISTING* pListing)
{
    const LISTING_ENTRY* pEntry = &pListing->strEntry;
    pListing->bSelected = true;
    gstrDevice.iBus = pEntry->iBus;
    if (strcmp(gstrDevice.szID, pEntry->szID) == 0) {
        TRACE_ABOVE(&strLog, 0, "device gszDev set to [%s]", gstrDevice.szDev);
        return;
    }
    v_COPY(gstrDevice.szID, sizeof(gstrDevice.szID), pEntry->szID);
    TRACE_ABOVE(&strLog, 0, "gszID set to [%s]", gstrDevice.szID);
}

// The address of the device is known: nothing else counts, not even the same ID. A path stays the
// file that was named.
static void vSelectByAddress(LISTING* pListing)
{
    const LISTING_ENTRY* pEntry = &pListing->strEntry;
    if (!pEntry->bAddress || !bSameAddress(&pEntry->strAddress, &gstrDevice.strAddress))
        return;
    if (gstrDevice.eForm != NAME_PATH) {
        const NODE_ADDRESS strNode = strNodeOf(pEntry, &pListing->strNodes);
        vTakeNode(pListing, &strNode);
    }
    vTakeEntry(pListing);
}

// Notes a loader or drive that has the ID, where sysfs knows it.
static void vCountSharing(LISTING* pListing, const NODE_ADDRESS* pNode)
{
    char szAddress[iADDRESS_SIZE];
    if (!pNode->bKnown)
        return;
    pListing->iSharing++;
    v_APPEND(pListing->szSharing, sizeof(pListing->szSharing), " ");
    v_APPEND(pListing->szSharing, sizeof(pListing->szSharing),
             cpWriteAddress(&pNode->strAddress, szAddress));
}

// The current entry has the ID of the device: it is selected when it is a loader or a drive.
static void vSelectByID(LISTING* pListing)
{
    const LISTING_ENTRY* pEntry = &pListing->strEntry;
    if (pEntry->eKind != KIND_OTHER) {
        const NODE_ADDRESS strNode = strNodeOf(pEntry, &pListing->strNodes);
        vCountSharing(pListing, &strNode);
        // A path whose device sysfs does not know never becomes one that it knows.
        if (!strNode.bKnown || gstrDevice.eForm != NAME_PATH)
            vTakeNode(pListing, &strNode);
    } else if (gstrDevice.bChanges) {
        pListing->bOther = pListing->bOther || strNodeOf(pEntry, &pListing->strNodes).bKnown;
    }
    vTakeEntry(pListing);
}

// The current entry is complete: completes the selection when it is the device.
static void vTakeComplete(LISTING* pListing)
{
    const LISTING_ENTRY* pEntry = &pListing->strEntry;
    if (pListing->bScan)
        vScanEntry(&pListing->strScan, pEntry, &pListing->strNodes);
    if (pEntry->szID[0] == '\0')
        return;
    if (gstrDevice.bAddress)
        vSelectByAddress(pListing);
    else if (strcmp(gstrDevice.szID, pEntry->szID) == 0)
        vSelectByID(pListing);
    else if (bIsGivenNode(pListing))
        vTakeEntry(pListing);
}

// Reads the kernel's listing. What cannot be read to its end may not have named all devices.
static void vReadKernel(LISTING* pListing, FILE* fpListing)
{
    char szLine[iLISTING_LINE_SIZE];
    while (fgets(szLine, sizeof(szLine), fpListing) != nullptr) {
        if (bReadListingLine(szLine, !bWithoutHost(gstrDevice.szID), &pListing->strEntry))
            vTakeComplete(pListing);
    }
    gstrDevice.bCut = gstrDevice.bCut || ferror(fpListing) != 0;
}

// Goes through the devices of sysfs in the place of a listing. Identity and type of a device are
// four files: they are read for a scan and for the devices that have the ID. Returns false when
// sysfs knows none.
static bool bReadSysfs(LISTING* pListing)
{
    vReadGenericNodes(&pListing->strNodes);
    for (int i = 0; i < pListing->strNodes.iCount; i++) {
        const GENERIC_NODE* pNode = &pListing->strNodes.pNodes[i];
        vTakeGeneric(pNode, !bWithoutHost(gstrDevice.szID), &pListing->strEntry);
        if (pListing->bScan || strcmp(gstrDevice.szID, pListing->strEntry.szID) == 0)
            vDescribeGeneric(pNode, &pListing->strEntry);
        vTakeComplete(pListing);
    }
    return pListing->strNodes.iCount > 0;
}

// Pins the selection of the first pass. When a pinned device is gone, its ID or address stands in
// for the device file, and nothing else takes its place.
static void vEndPass(const LISTING* pListing)
{
    char szID[iID_SIZE];
    if (!gstrDevice.bPinned) {
        gstrDevice.bListed = pListing->strSelected.bKnown;
        if (gstrDevice.bListed)
            vPin(&pListing->strSelected);
        return;
    }
    const bool bByPath = gstrDevice.eForm == NAME_PATH;
    const bool bUnlisted = gstrDevice.bListed && !pListing->bSelected;
    const bool bGone = bUnlisted || (bByPath && !bPinHolds());
    gstrDevice.bListed = gstrDevice.bListed || pListing->bSelected;
    if (!bGone)
        return;
    vWriteID(&gstrDevice.strAddress, true, szID);
    v_COPY(gstrDevice.szDev, sizeof(gstrDevice.szDev), bByPath ? szID : gstrDevice.szName);
    TRACE_ABOVE(&strLog, 0, "device [%s] is gone", gstrDevice.szDev);
}

int iReadListing(LISTING* pListing)
{
    FILE* fpListing = fopen(szKERNEL_LISTING, "r");
    const bool bMissing = fpListing == nullptr && errno == ENOENT;
    pListing->iGiven = iNodeNumber(gstrDevice.szDev);
    if (fpListing != nullptr)
        vReadKernel(pListing, fpListing);
    const bool bRead = fpListing != nullptr || (bMissing && bReadSysfs(pListing));
    if (fpListing != nullptr)
        fclose(fpListing);
    if (bRead)
        vEndPass(pListing);
    vFreeGenericNodes(&pListing->strNodes);
    return bRead ? 0 : -1;
}
