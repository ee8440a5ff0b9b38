// The dumps of bytes that several operations print.
#include "scsi/bytes.h"

#include <stdio.h>

static void vDumpByte(int i, unsigned char cByte, DUMP_STYLE eStyle)
{
    const bool bCharacter = cByte >= 32 && cByte <= 169;
    switch (eStyle) {
    case DUMP_HEX:
        printf("%x ", cByte);
        break;
    case DUMP_TEXT:
        printf(bCharacter ? "%c " : "%x ", cByte);
        break;
    case DUMP_INDEXED_HEX:
        printf("[%2d]=%2x ", i, cByte);
        break;
    case DUMP_INDEXED_TEXT:
        printf(bCharacter ? "[%2d]=%2c " : "[%2d]=%2x ", i, cByte);
        break;
    case DUMP_LINES:
        printf("[%d]%x\n", i, cByte);
        break;
    case DUMP_WIDE_LINES:
        printf("[%d] %x\n", i, cByte);
        break;
    }
}

void vDumpBytes(const unsigned char* cpBytes, int iCount, DUMP_STYLE eStyle)
{
    for (int i = 0; i < iCount; i++) {
        if (cpBytes[i] != 0)
            vDumpByte(i, cpBytes[i], eStyle);
    }
}
