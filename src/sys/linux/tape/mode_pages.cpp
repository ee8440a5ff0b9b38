// Dumps the mode pages of a tape drive for a person: header, block descriptors and pages as MODE
// SENSE (SPC) returns them, or the vendor page that holds the EEPROM text.
#include "tape/tape.h"

#include "scsi/bytes.h"
#include "scsi/executor.h"
#include "tape/mode_commands.h"

#include <stdio.h>
#include <string.h>

// MODE SENSE(6): opcode, block descriptors wanted, page, subpage, allocation length, control.
// MODE SENSE(10): opcode, block descriptors wanted, page, subpage, three bytes reserved, allocation
// length in two bytes, control.
// clang-format off
static const PAGE_COMMAND strCommands[] = {
    {"all_pages_6",  "MODE SENSE (6)",        false,  6,  255, {0x1A, 0, 0x3F, 0, 0xFF, 0}},
    {"all_pages_10", "MODE SENSE (10)",       false, 10, 8191, {0x5A, 0, 0x3F, 0, 0, 0, 0, 0x1F, 0xFF, 0}},
    {"eeprom_6",     "MODE SENSE FOR EEPROM", true,   6,  255, {0x1A, 0, cEEPROM_PAGE, 0, 0xFF, 0}},
    {"eeprom_10",    "MODE SENSE FOR EEPROM", true,  10, 8191, {0x5A, 0, cEEPROM_PAGE, 0, 0, 0, 0, 0x1F, 0xFF, 0}},
};
// clang-format on

// Titles of mode pages, sorted by the page code byte as drives return it: the parameters-savable
// bit (0x80) is part of it.
struct PAGE_TITLE {
    unsigned char cCode;
    char szTitle[56];
};

static const PAGE_TITLE strTitles[] = {
    {0x01, "ERROR RECOVERY PAGE"                           },
    {0x02, "DISCONNECT RECONNECT PAGE"                     },
    {0x0A, "CONTROL MODE PAGE"                             },
    {0x0F, "DATA COMPRESSION PAGE"                         },
    {0x10, "DEVICE CONFIGURATION PAGE"                     },
    {0x11, "MEDIUM PARTITION PAGE"                         },
    {0x1C, "TANDBERG INFORMATIONAL EXCEPTIONS CONTROL PAGE"},
    {0x1E, "DELL ??? PAGE"                                 },
    {0x1F, "DELL ??? PAGE"                                 },
    {0x20, "TANDBERG MISCELLANEOUS PARAMETER PAGE"         },
    {0x21, "TANDBERG USER PAGE 0"                          },
    {0x22, "TANDBERG USER PAGE 1"                          },
    {0x23, "TANDBERG CARTRIDGE MANUFACTURER PAGE"          },
    {0x2C, "DELL ??? PAGE"                                 },
    {0x81, "CHANGEABLE TANDBERG ERROR RECOVERY PAGE"       },
    {0x82, "CHANGEABLE TANDBERG DISCONNECT RECONNECT PAGE" },
    {0x8F, "CHANGEABLE TANDBERG DATA COMPRESSION PAGE"     },
    {0x90, "CHANGEABLE TANDBERG DEVICE CONFIGURATION PAGE" },
};

// Prints the header and the block descriptors; bBlockLength also says the block length that the
// first descriptor holds.
static void vPrintParameters(const PAGE_REPLY* pReply, bool bBlockLength)
{
    const MODE_HEADER* pHeader = &pReply->strHeader;
    printf("%u BYTES PARAMETER LIST\n", pHeader->uiHeader);
    vDumpBytes(pReply->cBuf, (int)pHeader->uiHeader, DUMP_WIDE_LINES);
    if (pHeader->uiDescriptors == 0)
        return;
    printf("BLOCK DESCRIPTOR\n");
    for (unsigned int i = pHeader->uiHeader; i < pHeader->uiPages && i < (unsigned int)iMAX_PAGES;
         i++) {
        const unsigned int j = i - pHeader->uiHeader;
        if (pReply->cBuf[i] != 0)
            printf("[%u/%u] %x\n", i, j, pReply->cBuf[i]);
        if (bBlockLength && j == 7)
            printf("BLOCK LEN=%u (0 MEANS VAR BLOCK LEN)\n", uiGet24(pReply->cBuf + i - 2));
    }
}

// Prints the first iCount bytes of the first page.
static void vPrintPageDescriptor(const PAGE_REPLY* pReply, unsigned int iCount)
{
    printf("PAGE DESCRIPTOR\n");
    for (unsigned int j = 0; j < iCount; j++) {
        const unsigned int i = pReply->strHeader.uiPages + j;
        if (cByteAt(pReply->cBuf, sizeof(pReply->cBuf), i) != 0)
            printf("[%u/%u] %x\n", i, j, cByteAt(pReply->cBuf, sizeof(pReply->cBuf), i));
    }
}

static void vPrintPageTitle(unsigned int iCode, unsigned int iCodeLen)
{
    printf("-----------------------------------\n");
    for (const PAGE_TITLE& strTitle : strTitles) {
        if (strTitle.cCode == iCode) {
            printf("%s LEN=%u\n", strTitle.szTitle, iCodeLen);
            return;
        }
    }
    printf("UNKNOWN CODE PAGE %x LEN=%u\n", iCode, iCodeLen);
}

// Prints the fields of byte j of a data compression page. The two-bit exception field is shown as
// the sum of its bits.
static void vPrintCompression(unsigned int j, unsigned char cByte)
{
    if (j == 2)
        printf("DATA COMPRESSION ENABLE:%d\nDATA COMPRESSION CAPABLE:%d\n", cByte >> 7,
               cByte >> 6 & 1);
    else if (j == 3)
        printf("DATA DECOMPRESSION ENABLE:%d\nREPORT EXCEPTION ON DECOMPRESSION:%d\n", cByte >> 7,
               (cByte >> 5 & 1) + (cByte >> 6 & 1));
}

static bool bTextPage(unsigned int iCode)
{
    return iCode == 0x2C || (iCode >= 0x20 && iCode <= 0x23);
}

// Prints the pages from the fourth byte of the first one on.
static void vPrintPages(const PAGE_REPLY* pReply)
{
    const MODE_HEADER* pHeader = &pReply->strHeader;
    PAGE_WALK strWalk =
        strBeginPages(pReply->cBuf, sizeof(pReply->cBuf), pHeader->uiPages + 3, pHeader->uiLength);
    printf("DATA BLOCK(S)\n");
    while (bNextPageByte(&strWalk)) {
        const unsigned char cByte = cByteAt(pReply->cBuf, sizeof(pReply->cBuf), strWalk.i);
        const bool bPage = strWalk.uiLength != 0;
        if (strWalk.bBegins)
            vPrintPageTitle(strWalk.uiCode, strWalk.uiLength);
        if (cByte != 0 && bPage && bTextPage(strWalk.uiCode))
            printf("[%u/%u] %c\n", strWalk.i, strWalk.j, cByte);
        else if (cByte != 0)
            printf("[%u/%u] %x\n", strWalk.i, strWalk.j, cByte);
        if (bPage && strWalk.uiCode == 0x0F)
            vPrintCompression(strWalk.j, cByte);
    }
}

// Prints the text of the vendor page, up to and including the byte at the index of the data length.
static void vPrintText(const PAGE_REPLY* pReply)
{
    printf("DATA BLOCK(S)\n");
    for (unsigned int i = pReply->strHeader.uiPages + 2; i <= pReply->strHeader.uiLength; i++)
        putchar(cByteAt(pReply->cBuf, sizeof(pReply->cBuf), i));
    putchar('\n');
}

const PAGE_COMMAND* pFindPages(const char* cpMode)
{
    for (const PAGE_COMMAND& strCommand : strCommands) {
        if (strcmp(cpMode, strCommand.szMode) == 0)
            return &strCommand;
    }
    return nullptr;
}

int iReadPages(const PAGE_COMMAND* pCommand, PAGE_REPLY* pReply, int iReport)
{
    printf("TRY %s\n", pCommand->szTitle);
    const int iStatus = iSendCommand(pCommand->cCDB, (size_t)pCommand->iCDBSize, pReply->cBuf,
                                     pCommand->iBufSize, iReport);
    if (iStatus != 0)
        return iStatus;
    pReply->strHeader = strReadModeHeader(pReply->cBuf, pCommand->iCDBSize == 10);
    printf("DATA LEN=%u\nDESCRIPTOR(S)=%u\n", pReply->strHeader.uiLength,
           pReply->strHeader.uiDescriptors);
    return 0;
}

int iScsiCmdModeSense(const char* cpMode, int iReport)
{
    PAGE_REPLY strReply = {};
    const PAGE_COMMAND* pCommand = pFindPages(cpMode);
    if (pCommand == nullptr) {
        printf("UNKNOWN MODE '%s'\n", cpMode);
        return USAGE_ERROR;
    }
    const int iStatus = iReadPages(pCommand, &strReply, iReport);
    if (iStatus != 0)
        return iStatus;
    if (strReply.strHeader.uiLength > (unsigned int)iMAX_PAGES) {
        printf("BUFFER OVERFLOW MAX=%d\n", iMAX_PAGES);
        return USAGE_ERROR;
    }
    vPrintParameters(&strReply, !pCommand->bText);
    vPrintPageDescriptor(&strReply, pCommand->bText ? 2 : 3);
    if (pCommand->bText) {
        vPrintText(&strReply);
    } else {
        vPrintPages(&strReply);
        printf("DONE %s\n", pCommand->szTitle);
    }
    return iStatus;
}
