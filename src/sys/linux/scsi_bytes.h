// Big-endian fields of commands and replies, and the dumps of bytes that several operations print.
#pragma once

#include <stdio.h>

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

// True for the bytes that the debug dumps show as characters.
static inline bool bShownAsCharacter(unsigned char cByte)
{
    return cByte >= 32 && cByte <= 169;
}
