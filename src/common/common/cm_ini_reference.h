// Values that refer to other keys of an INI-style text file. Stands on the reader of a section and
// on the index of one.
#pragma once

#include "cm_ini_section.h"

// How the search for a value ended.
enum OUTCOME {
    OUTCOME_FOUND,
    OUTCOME_EMPTY, // the key is there, its value is empty
    OUTCOME_MISSING,
    OUTCOME_NEVER, // references in a circle, or no memory: nothing else is tried
    OUTCOME_DEEP,  // more references than are followed in the simple way
};

// What a search brings along and what it delivers.
struct REQUEST {
    char szValue[iLINE_SIZE];
    int iLengthValue; // room of the caller, to which every value that is referred to is cut
    char* cpMsg;
    size_t uiLengthMsg;
};

// Returns OUTCOME_FOUND when there is something in szValue, otherwise OUTCOME_EMPTY and the reason.
OUTCOME eJudgeValue(const REQUEST* pRequest);

// Returns whether cpValue holds a reference.
bool bHasReference(const char* cpValue);

// Puts cpValue, the value of cpKey, which holds a reference, into szValue with the reference
// replaced, or the reason why there is no such value into cpMsg.
OUTCOME eResolve(const char* cpFilename, const char* cpSection, const char* cpKey,
                 const char* cpValue, REQUEST* pRequest);
