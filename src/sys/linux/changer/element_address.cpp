// The element address table of a media changer: filled from the Element Address Assignment page, or
// overridden by the operator.
#include "changer/changer.h"

#include "device/selection.h"
#include "scsi/bytes.h"
#include "scsi/executor.h"

#include "cm_common.h"
#include "cm_hal_unix.h"
#include "cm_kernel.h"

#include <stdio.h>
#include <string.h>

const char* cpElementName(int iType)
{
    static const char szNames[][12] = {"", "Transport", "Slot", "Port", "Drive"};
    return szNames[iType >= ELEMENT_TRANSPORT && iType <= ELEMENT_DRIVE ? iType : 0];
}

int iElementTypeOf(char cKind)
{
    switch (cKind) {
    case 's':
        return ELEMENT_SLOT;
    case 'd':
        return ELEMENT_DRIVE;
    case 'p':
        return ELEMENT_PORT;
    default:
        return 0;
    }
}

void vPrintElementCount(int iType, int iCount, int iFirst)
{
    printf("%3d x %s First=%d\n", iCount, cpElementName(iType), iFirst);
}

void vSetElementCount(int iType, int iCount)
{
    if (iType >= ELEMENT_TRANSPORT && iType <= ELEMENT_DRIVE)
        giElementAddress[0][iType] = iCount < iELEMENT_COLUMNS ? iCount : iELEMENT_COLUMNS;
}

void vSetElementAddress(int iType, int u, int iAddress)
{
    if (iType >= ELEMENT_TRANSPORT && iType <= ELEMENT_DRIVE && u >= 0 && u < iELEMENT_COLUMNS)
        giElementAddress[iType][u] = iAddress;
}

// Numbers the elements of a type from iFirst on, as many as row 0 says.
static void vExpandAddresses(int iType, int iFirst)
{
    for (int j = 0; j < giElementAddress[0][iType]; j++)
        vSetElementAddress(iType, j, (int)((unsigned int)iFirst + (unsigned int)j));
}

void vPrintElementCounts()
{
    for (int k = ELEMENT_TRANSPORT; k <= ELEMENT_DRIVE; k++)
        vPrintElementCount(k, giElementAddress[0][k], giElementAddress[k][0]);
}

int iLoaderModeSense(int iReport)
{
    static const unsigned char cCDB[6] = {
        0x1A, // MODE SENSE(6)
        0,    // block descriptors wanted
        0x1D, // current values, Element Address Assignment page
        0,    // subpage
        0x30, // allocation length
        0,    // control
    };
    const int iBufSize = 100;
    // The header can point up to 259 bytes ahead; zeros stand behind the reply.
    unsigned char cBuf[iBufSize + 256] = {};
    TRACE_ABOVE(&strLog, 1, "for loader");
    const int iStatus = iSendCommand(cCDB, sizeof(cCDB), cBuf, iBufSize, iReport);
    if (iStatus != 0 && iStatus != iVMSTolerantStatus)
        return iStatus;
    const unsigned char* cpPage = cBuf + cBuf[3] + 4;
    if (cpPage[0] != 0x1D && cpPage[0] != 0x9D) // with the parameters-savable bit
        return iStatus;
    const unsigned char* cpField = cpPage + 2;
    bool bAnyAddress = false;
    for (int k = ELEMENT_TRANSPORT; k <= ELEMENT_DRIVE; k++, cpField += 4) {
        vSetElementCount(k, (int)uiGet16(cpField + 2));
        vExpandAddresses(k, (int)uiGet16(cpField));
        bAnyAddress = bAnyAddress || giElementAddress[k][0] != 0;
    }
    if (iReport >= REPORT_NORMAL)
        vPrintElementCounts();
    if (!bAnyAddress)
        printf("all address are zero\n");
    return iStatus;
}

// Reads the override that is stored under a name of the device into szAdr, empty when there is
// none.
static void vReadOverride(const char* cpName, int iReport, char (&szAdr)[iGLBV_VALUE_SIZE])
{
    char szTemp[128];
    snprintf(szTemp, sizeof(szTemp), "gv_mvk_adr_%s", cpName);
    szAdr[0] = '\0';
    glbv('r', szTemp, szAdr);
    if (szAdr[0] == '?') {
        szAdr[0] = '\0';
        if (iReport >= REPORT_DEBUG)
            printf("didn't got hard address setting from GLBV %s\n", szTemp);
    }
    if (szAdr[0] != '\0')
        printf("got hard address setting from %s: %s\n", szTemp, szAdr);
}

int iScsiHardAddress(int iReport)
{
    char szAdr[iGLBV_VALUE_SIZE];
    char szID[iID_SIZE];
    vReadOverride(gszID, iReport, szAdr);
    vOtherID(szID);
    if (szAdr[0] == '\0' && szID[0] != '\0')
        vReadOverride(szID, iReport, szAdr);
    if (szAdr[0] == '\0')
        return 0;
    int k = ELEMENT_TRANSPORT;
    for (const char* cpPos = cm_strtok(szAdr, ','); cpPos != nullptr;
         cpPos = cm_strtok(nullptr, ','), k++) {
        if (iReport == REPORT_DEBUG)
            printf("cpPos: '%s'\n", cpPos);
        const char* cpTimes = strchr(cpPos, 'x');
        if (cpTimes == nullptr)
            continue;
        vSetElementCount(k, i_DECIMAL(cpPos));
        vSetElementAddress(k, 0, i_DECIMAL(cpTimes + 1));
    }
    for (k = ELEMENT_TRANSPORT; k <= ELEMENT_DRIVE; k++)
        vExpandAddresses(k, giElementAddress[k][0]);
    if (iReport >= REPORT_NORMAL)
        vPrintElementCounts();
    return 0;
}
