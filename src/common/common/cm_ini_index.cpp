// The "key=value" lines of one section in memory: a hash table with open addressing. Stands on the
// string helpers alone.
#include "cm_ini_index.h"

#include "cm_text.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

// A key that a line has. The line "a=b=c" has the keys "a" and "a=b": a key is the key up to the
// "=" before, its parent, and the characters from there to the next one, so that a line of many "="
// takes no more time than its length.
struct INI_SLOT {
    INI_LINE* pLine; // the first line with the key; null: the slot is free
    uint64_t uiHash;
    size_t uiParent; // number of the parent, 0: none
    size_t uiNumber; // its own number, from 1
    const char* cpSegment;
    size_t uiLength;
};

// The FNV-1a hash of a segment below its parent, without regard to case.
static uint64_t uiHashOf(size_t uiParent, const char* cpSegment, size_t uiLength)
{
    uint64_t uiHash = 0xCBF29CE484222325 ^ uiParent;
    for (size_t i = 0; i < uiLength; i++)
        uiHash = (uiHash ^ (unsigned char)c_LOWER(cpSegment[i])) * 0x100000001B3;
    return uiHash ^ uiHash >> 32;
}

// Returns the slot of the key, or the free one where it belongs. The table is never full.
static INI_SLOT* pProbe(const INI_INDEX* pIndex, size_t uiParent, const char* cpSegment,
                        size_t uiLength)
{
    const uint64_t uiHash = uiHashOf(uiParent, cpSegment, uiLength);
    const size_t uiMask = pIndex->uiSlots - 1;
    size_t uiAt = uiHash & uiMask;
    for (; pIndex->pSlots[uiAt].pLine != nullptr; uiAt = (uiAt + 1) & uiMask) {
        const INI_SLOT* pSlot = &pIndex->pSlots[uiAt];
        if (pSlot->uiHash == uiHash && pSlot->uiParent == uiParent && pSlot->uiLength == uiLength &&
            b_STARTS_FOLDED(cpSegment, pSlot->cpSegment, uiLength))
            return &pIndex->pSlots[uiAt];
    }
    pIndex->pSlots[uiAt].uiHash = uiHash;
    return &pIndex->pSlots[uiAt];
}

// Makes room for one more key. Returns false when there is no memory.
static bool bGrow(INI_INDEX* pIndex)
{
    const size_t uiFirstSize = 64;
    if (pIndex->uiUsed * 2 < pIndex->uiSlots)
        return true;
    INI_SLOT* pOld = pIndex->pSlots;
    const size_t uiOld = pIndex->uiSlots;
    const size_t uiNew = uiOld > 0 ? uiOld * 2 : uiFirstSize;
    INI_SLOT* pNew = (INI_SLOT*)calloc(uiNew, sizeof(INI_SLOT));
    if (pNew == nullptr)
        return false;
    for (size_t i = 0; i < uiOld; i++) {
        size_t uiAt = pOld[i].uiHash & (uiNew - 1);
        while (pNew[uiAt].pLine != nullptr)
            uiAt = (uiAt + 1) & (uiNew - 1);
        pNew[uiAt] = pOld[i]; // a free slot stays free
    }
    free(pOld);
    pIndex->pSlots = pNew;
    pIndex->uiSlots = uiNew;
    return true;
}

bool bIndexAdd(INI_INDEX* pIndex, const char* cpLine)
{
    const size_t uiSize = strlen(cpLine) + 1;
    INI_LINE* pLine = (INI_LINE*)calloc(1, sizeof(INI_LINE) + uiSize);
    if (pLine == nullptr)
        return false;
    const char* cpText = (char*)memcpy(pLine + 1, cpLine, uiSize);
    *pLine = {pIndex->pLast, cpText, nullptr, nullptr, false};
    pIndex->pLast = pLine;
    size_t uiParent = 0;
    const char* cpSegment = cpText;
    for (const char* cpEqual = strchr(cpText, '='); cpEqual != nullptr;
         cpEqual = strchr(cpSegment, '=')) {
        if (!bGrow(pIndex))
            return false;
        const size_t uiLength = (size_t)(cpEqual - cpSegment);
        INI_SLOT* pSlot = pProbe(pIndex, uiParent, cpSegment, uiLength);
        if (pSlot->pLine == nullptr)
            *pSlot = {pLine, pSlot->uiHash, uiParent, ++pIndex->uiUsed, cpSegment, uiLength};
        uiParent = pSlot->uiNumber;
        cpSegment = cpEqual + 1;
    }
    return true;
}

INI_LINE* pIndexFind(const INI_INDEX* pIndex, const char* cpKey)
{
    size_t uiParent = 0;
    if (pIndex->uiSlots == 0)
        return nullptr;
    for (;;) {
        const char* cpEqual = strchr(cpKey, '=');
        const size_t uiLength = cpEqual != nullptr ? (size_t)(cpEqual - cpKey) : strlen(cpKey);
        const INI_SLOT* pSlot = pProbe(pIndex, uiParent, cpKey, uiLength);
        if (pSlot->pLine == nullptr || cpEqual == nullptr)
            return pSlot->pLine;
        uiParent = pSlot->uiNumber;
        cpKey = cpEqual + 1;
    }
}

void vIndexFree(INI_INDEX* pIndex)
{
    while (pIndex->pLast != nullptr) {
        INI_LINE* pLine = pIndex->pLast;
        pIndex->pLast = pLine->pPrevious;
        free(pLine);
    }
    free(pIndex->pSlots);
    *pIndex = {};
}
