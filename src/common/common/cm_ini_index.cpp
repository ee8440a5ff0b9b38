// The "key=value" lines of one section in memory: a hash table with open addressing. Stands on the
// string helpers alone.
#include "cm_ini_index.h"

#include "cm_text.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

// A line that is found by the characters before one of its "=".
struct INI_SLOT {
    INI_LINE* pLine; // null: the slot is free
    uint64_t uiHash;
};

// One step of the FNV-1a hash of a key, without regard to case.
static const uint64_t uiHASH_START = 0xCBF29CE484222325;

static uint64_t uiHashStep(uint64_t uiHash, char cLetter)
{
    return (uiHash ^ (unsigned char)c_LOWER(cLetter)) * 0x100000001B3;
}

// Returns the slot of the key, or the free one where it belongs. The table is never full.
static INI_SLOT* pProbe(const INI_INDEX* pIndex, uint64_t uiHash, const char* cpKey, size_t uiKey)
{
    const size_t uiMask = pIndex->uiSlots - 1;
    size_t uiAt = uiHash & uiMask;
    for (; pIndex->pSlots[uiAt].pLine != nullptr; uiAt = (uiAt + 1) & uiMask) {
        const INI_SLOT* pSlot = &pIndex->pSlots[uiAt];
        if (pSlot->uiHash == uiHash && b_IS_KEY_LINE(pSlot->pLine->cpText, cpKey, uiKey))
            break;
    }
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
    // The line "a=b=c" is the line of the key "a" and of the key "a=b".
    uint64_t uiHash = uiHASH_START;
    for (size_t i = 0; cpText[i] != '\0'; i++) {
        if (cpText[i] == '=') {
            if (!bGrow(pIndex))
                return false;
            INI_SLOT* pSlot = pProbe(pIndex, uiHash, cpText, i);
            if (pSlot->pLine == nullptr) {
                *pSlot = {pLine, uiHash};
                pIndex->uiUsed++;
            }
        }
        uiHash = uiHashStep(uiHash, cpText[i]);
    }
    return true;
}

INI_LINE* pIndexFind(const INI_INDEX* pIndex, const char* cpKey)
{
    uint64_t uiHash = uiHASH_START;
    size_t uiKey = 0;
    if (pIndex->uiSlots == 0)
        return nullptr;
    for (; cpKey[uiKey] != '\0'; uiKey++)
        uiHash = uiHashStep(uiHash, cpKey[uiKey]);
    return pProbe(pIndex, uiHash, cpKey, uiKey)->pLine;
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
