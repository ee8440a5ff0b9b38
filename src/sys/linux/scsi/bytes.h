// Big-endian fields of commands and replies, and the dumps of bytes that several operations print.
#pragma once

#include <stddef.h>

static inline unsigned int uiGet16(const unsigned char* cpBytes)
{
    return (unsigned int)cpBytes[0] << 8 | cpBytes[1];
}

static inline unsigned int uiGet24(const unsigned char* cpBytes)
{
    return (unsigned int)cpBytes[0] << 16 | uiGet16(cpBytes + 1);
}

static inline unsigned int uiGet32(const unsigned char* cpBytes)
{
    return uiGet16(cpBytes) << 16 | uiGet16(cpBytes + 2);
}

// Store the low 16 or 24 bits of uiValue.
static inline void vPut16(unsigned char* cpBytes, unsigned int uiValue)
{
    cpBytes[0] = (unsigned char)(uiValue >> 8);
    cpBytes[1] = (unsigned char)uiValue;
}

static inline void vPut24(unsigned char* cpBytes, unsigned int uiValue)
{
    cpBytes[0] = (unsigned char)(uiValue >> 16);
    vPut16(cpBytes + 1, uiValue);
}

// Byte i of cpBytes, of which uiValid are valid; 0 behind them.
static inline unsigned char cByteAt(const unsigned char* cpBytes, size_t uiValid, size_t i)
{
    return i < uiValid ? cpBytes[i] : 0;
}

// How a dump shows the bytes that are not zero; the others are left out.
enum DUMP_STYLE {
    DUMP_HEX,          // "%x "
    DUMP_TEXT,         // "%c " or "%x "
    DUMP_INDEXED_HEX,  // "[%2d]=%2x "
    DUMP_INDEXED_TEXT, // "[%2d]=%2c " or "[%2d]=%2x "
    DUMP_LINES,        // "[%d]%x" on a line
    DUMP_WIDE_LINES,   // "[%d] %x" on a line
};

// Prints iCount bytes, numbered from 0, in a style. The styles with text show the bytes from 32 to
// 169 as characters.
void vDumpBytes(const unsigned char* cpBytes, int iCount, DUMP_STYLE eStyle);
