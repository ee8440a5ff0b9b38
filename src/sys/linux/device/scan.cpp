// Prints the bus scan. Stands on nodes, tape_node, name and shell.
#include "device/scan.h"

#include "device/name.h"
#include "device/nodes.h"
#include "device/shell.h"

#include "cm_common.h"

#include <stdio.h>
#include <sys/stat.h>

static const char szNO_TAPE_NODE[] = "/dev/nst?";

// Makes /dev/nst<n> for the n-th tape drive of the listing when it is missing. The tape driver,
// should it come later, serves the node to whoever may open it: that is nobody but its owner and
// group.
static void vMakeTapeNode(int iTapeNr)
{
    char szPath[32];
    char szCmd[64];
    snprintf(szPath, sizeof(szPath), "/dev/nst%d", iTapeNr);
    if (iFileExist(szPath, 0) == 0)
        return;
    snprintf(szCmd, sizeof(szCmd), "mknod /dev/nst%d c 9 %d > /dev/null 2>&1", iTapeNr,
             iTapeNr + 128);
    const mode_t modeBefore = umask(S_IRWXO);
    vRunCommand(szCmd);
    umask(modeBefore);
}

// Finds the node of a drive without opening it, so that a drive which a backup holds is found and
// one that hangs does not hold the scan up. szTapeDev is its path when the node in /dev is the
// drive's.
static void vTellTapeNode(int iGeneric, char (&szTapeDev)[32])
{
    v_COPY(szTapeDev, sizeof(szTapeDev), szNO_TAPE_NODE);
    const TAPE_NODE_FACTS strNode = strTapeNodeOf(iGeneric);
    if (strNode.iNumber < 0)
        return;
    char szPath[32];
    snprintf(szPath, sizeof(szPath), "/dev/nst%d", strNode.iNumber);
    const FILE_FACTS strFacts = strLookAt(szPath);
    if (strFacts.eKind == FILE_DEVICE && !strFacts.bBlock && strFacts.uiMajor == strNode.ullMajor &&
        strFacts.uiMinor == strNode.ullMinor)
        v_COPY(szTapeDev, sizeof(szTapeDev), szPath);
}

// Finds the node of a drive where sysfs knows none: by what the nodes tell when they are opened.
static void vAskTapeNodes(SCAN* pScan, const LISTING_ENTRY* pEntry)
{
    vMakeTapeNode(pScan->iTapeNr++);
    if (!bFindTapeNode(pScan->strTapes, pEntry, pScan->szTapeDev, pScan->iReport))
        v_COPY(pScan->szTapeDev, sizeof(pScan->szTapeDev), szNO_TAPE_NODE);
}

// Finds the node of a drive.
static void vFindTapeNode(SCAN* pScan, const LISTING_ENTRY* pEntry, GENERIC_NODES* pNodes)
{
    const NODE_ADDRESS strNode = strNodeOf(pEntry, pNodes);
    if (!strNode.bKnown)
        vReadGenericNodes(pNodes);
    if (strNode.bKnown)
        vTellTapeNode(strNode.iNumber, pScan->szTapeDev);
    else if (pNodes->iCount > 0) // sysfs knows devices, but not this one
        v_COPY(pScan->szTapeDev, sizeof(pScan->szTapeDev), szNO_TAPE_NODE);
    else
        vAskTapeNodes(pScan, pEntry);
}

void vScanEntry(SCAN* pScan, const LISTING_ENTRY* pEntry, GENERIC_NODES* pNodes)
{
    static const char szKinds[][10] = {"Loader: ", "Tape:   ", "other:  "};
    const DEVICE_KIND eKind = pEntry->eKind;
    char szLoader[32] = "";
    if (eKind == KIND_LOADER && pEntry->iNum > 0)
        vNodePath(strNodeOf(pEntry, pNodes).iNumber, "/dev/sg?", szLoader, sizeof(szLoader));
    else if (eKind == KIND_TAPE)
        vFindTapeNode(pScan, pEntry, pNodes);
    printf("ID=%s %s%s%s", pEntry->szID, szKinds[eKind], pEntry->szVendor, pEntry->szModel);
    if (eKind != KIND_OTHER)
        printf("%s (%s)", pEntry->szRevision, eKind == KIND_LOADER ? szLoader : pScan->szTapeDev);
    printf("\n");
}
