// Finds generic nodes. Stands on listing, sysfs and the trace.
//
// After a device was removed or added the numbers have gaps, so that counting goes wrong; sysfs,
// where there is one, has the last word.
#include "device/nodes.h"

#include "device/run.h"

#include "cm_common.h"

#include <stdio.h>
#include <string.h>

static const char szGENERIC_PREFIX[] = "/dev/sg";

NODE_ADDRESS strAskNode(int iNumber)
{
    NODE_ADDRESS strNode = {iNumber, false, {}};
    strNode.bKnown = iNumber >= 0 && bGenericAddress(iNumber, &strNode.strAddress);
    return strNode;
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

NODE_ADDRESS strNodeOf(const LISTING_ENTRY* pEntry, GENERIC_NODES* pNodes)
{
    const NODE_ADDRESS strCounted = strAskNode(pEntry->iNum - 1);
    const bool bCounted = strCounted.bKnown && pEntry->bAddress &&
                          bSameAddress(&strCounted.strAddress, &pEntry->strAddress);
    if (bCounted)
        return strCounted;
    const int iFound = pEntry->bAddress ? iFindGenericNode(pNodes, &pEntry->strAddress) : -1;
    if (iFound < 0 && !strCounted.bKnown)
        return strCounted; // sysfs knows neither: counting is all there is
    vTraceNode(pEntry, iFound);
    return {iFound, iFound >= 0, pEntry->strAddress};
}

void vNodePath(int iNumber, const char* cpNone, char* cpPath, size_t uiSize)
{
    if (iNumber >= 0)
        snprintf(cpPath, uiSize, "%s%d", szGENERIC_PREFIX, iNumber);
    else
        v_COPY(cpPath, uiSize, cpNone);
}

int iNodeNumber(const char* cpPath)
{
    char szPath[32];
    if (!b_STARTS_WITH(cpPath, szGENERIC_PREFIX))
        return -1;
    const int iNumber = i_DECIMAL(cpPath + strlen(szGENERIC_PREFIX));
    snprintf(szPath, sizeof(szPath), "%s%d", szGENERIC_PREFIX, iNumber);
    return strcmp(szPath, cpPath) == 0 ? iNumber : -1;
}
