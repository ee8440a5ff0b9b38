// MOVE MEDIUM (SMC): between elements named by kind and number, or by raw address.
#include "changer/changer.h"

#include "scsi/bytes.h"
#include "scsi/executor.h"

#include "cm_common.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

// Element numbers that can be used whether or not the run has found such an element.
static const int iPLAIN_COLUMNS = 1024;

// The columns of a row that can be referred to: those that every run has, and beyond them as far as
// addresses were found.
static int iColumnsOf(int iType)
{
    int iColumns = iELEMENT_COLUMNS;
    while (iColumns > iPLAIN_COLUMNS && giElementAddress[iType][iColumns - 1] == 0)
        iColumns--;
    return iColumns;
}

// Looks the element number of a reference, which starts at its third character, up in the row of
// iType. Returns 0, or USAGE_ERROR with a line on standard output for a number beyond the table.
static int iFindAddress(const char* cpReference, int iType, int* ipAddress)
{
    const char* cpNumber = strlen(cpReference) > 2 ? cpReference + 2 : "0";
    const long iNumber = strtol(cpNumber, nullptr, 10);
    if (iNumber < 0 || (iNumber >= iPLAIN_COLUMNS && iNumber >= iColumnsOf(iType))) {
        printf("element number out of range 0-%d: %s\n", iColumnsOf(iType) - 1, cpReference);
        return USAGE_ERROR;
    }
    *ipAddress = giElementAddress[iType][iNumber];
    return 0;
}

// The same for a source or target, whose kind is its first letter.
static int iFindElement(const char* cpReference, int* ipAddress)
{
    const int iType = iElementTypeOf(cpReference[0]);
    if (iType == 0) {
        printf("usage: s=slot, d=drive, p=port\nexample: s:4 d:0");
        return USAGE_ERROR;
    }
    return iFindAddress(cpReference, iType, ipAddress);
}

// Sends the command. cLun is the LUN field of the CDB.
static int iSendMove(unsigned char cLun, int iTransport, int iSource, int iTarget, int iReport)
{
    unsigned char cCDB[12] = {
        0xA5,    // MOVE MEDIUM
        cLun,    // logical unit
        0,    0, // transport element address
        0,    0, // source element address
        0,    0, // destination element address
        0,    0, // reserved
        0,       // not inverted
        0,       // control
    };
    unsigned char cBuf[128] = {};
    vPut16(cCDB + 2, (unsigned int)iTransport);
    vPut16(cCDB + 4, (unsigned int)iSource);
    vPut16(cCDB + 6, (unsigned int)iTarget);
    return iSendCommand(cCDB, sizeof(cCDB), cBuf, 0, iReport);
}

// Only LUN 1 is carried into the command.
static unsigned char cLunField(int iReport)
{
    const char cLun = cLunOf(gszID);
    if (cLun != '1')
        return 0;
    const unsigned char cField = 0x20;
    if (iReport == REPORT_DEBUG)
        printf("lun=%d(dec)/%c(char) cdb[1]=%x(hex)\n", cLun, cLun, cField);
    return cField;
}

int iScsiMoveMedium(const char* cpSource, const char* cpTarget, const char* cpTransport,
                    int iReport)
{
    int iTransport = 0;
    int iSource = 0;
    int iTarget = 0;
    if (iFindAddress(cpTransport, ELEMENT_TRANSPORT, &iTransport) != 0 ||
        iFindElement(cpSource, &iSource) != 0 || iFindElement(cpTarget, &iTarget) != 0)
        return USAGE_ERROR;
    const unsigned char cLun = cLunField(iReport);
    printf("Try (transport=%d):(source=%d)>(target=%d)\n", iTransport, iSource, iTarget);
    const int iStatus = iSendMove(cLun, iTransport, iSource, iTarget, iReport);
    if (iStatus == 0)
        printf("Moved (transport=%d):(source=%d)>(target=%d)\n", iTransport, iSource, iTarget);
    return iStatus;
}

int iScsiHardMoveMedium(const char* cpSource, const char* cpTarget, const char* cpTransport,
                        int iReport)
{
    printf("Try (transport=%s):(source=%s)>(target=%s)\n", cpTransport, cpSource, cpTarget);
    const int iStatus =
        iSendMove(0, i_DECIMAL(cpTransport), i_DECIMAL(cpSource), i_DECIMAL(cpTarget), iReport);
    if (iStatus == 0)
        printf("Moved (transport=%s):(source=%s)>(target=%s)\n", cpTransport, cpSource, cpTarget);
    return iStatus;
}
