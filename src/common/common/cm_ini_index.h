// The "key=value" lines of one section in memory, found by key in a time that does not grow with
// the section. Stands on the string helpers alone.
#pragma once

#include <stddef.h>

struct INI_LINE {
    INI_LINE* pPrevious;   // the line that was added before it
    const char* cpText;    // the whole line
    const INI_LINE* pLost; // where the references from here on lead to nothing, null: not known
    INI_LINE* pOuter;      // the line whose reference led here
    bool bEntered;         // its reference is being followed
};

struct INI_SLOT;

// Zero-filled it is an empty index.
struct INI_INDEX {
    INI_LINE* pLast;
    INI_SLOT* pSlots;
    size_t uiSlots; // a power of two, or 0
    size_t uiUsed;
};

// Adds a copy of cpLine. Where two lines have the same key the first one stays the one to be found.
// Returns false when there is no memory.
bool bIndexAdd(INI_INDEX* pIndex, const char* cpLine);

// Returns the first line added that reads "key=...", without regard to case, or a null pointer.
INI_LINE* pIndexFind(const INI_INDEX* pIndex, const char* cpKey);

// Releases all lines; the index is empty then.
void vIndexFree(INI_INDEX* pIndex);
