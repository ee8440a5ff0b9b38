// The dispatch table: which words of the command line there are, and what they start.
#pragma once

// What an operation gets: the arguments, their count without a trailing "debug", the report level.
struct RUN {
    int argc;
    char** argv;
    int iReport;
};

// A word of the command line and what it starts. Most operations are one routine with a mode word;
// the others have a function of their own.
struct OPERATION {
    char szWord[12];
    char szMode[12];
    bool bDash;    // accepted with a leading "-" too
    bool bChanges; // changes something on the device, or may
    int iMinArguments;
    int (*iPerform)(const RUN* pRun);
    int (*iPerformMode)(const char* cpMode, int iReport);
};

// Returns the row of a word of the command line, null for none and for a null word.
const OPERATION* pFindOperation(const char* cpWord);

// Performs an operation; without one, or with too few arguments for it, prints the usage text.
// Returns its status, or USAGE_ERROR.
int iDispatch(const RUN* pRun, const OPERATION* pOperation);

// Prints the usage text. Returns USAGE_ERROR.
int iUsage(const RUN* pRun);
