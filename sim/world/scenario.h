// What a test has ordered: directives that make devices answer and fail.
#ifndef MVK_SIM_SCENARIO_H
#define MVK_SIM_SCENARIO_H

#include "model.h"

// What a directive changes.
enum ACTION {
    ACTION_REPLY,
    ACTION_STATUS,
    ACTION_RESULT,
    ACTION_WRITE,
    ACTION_READ,
    ACTION_DELAY,
    ACTION_OPEN,
    ACTION_STAT,
    ACTION_NODE,
    ACTION_TIMEOUT,
    ACTION_IDLUN
};

struct RULE {
    ACTION eAction;
    int iOpcode;       // -1 any
    char szDevice[24]; // name without its folder, empty any
    int iCount;        // the occurrence that is meant, 0 each
    int iSeen;         // those that were seen
    int iErrno;        // that an event fails with, 0: it has a value
    int iValue;
    DEVICE_NUMBER strNumber; // that a node has
    int iLen;
    const unsigned char* cpData; // reply data or sense data
    const char* cpText;          // the line
    int iLine;                   // its number in the file
    bool bHadTurn;
};

// Reads the file that MVK_SIM_SCENARIO names, at the start of every process, so that a mistake in
// it is seen even when no device is used; a mistake ends the process.
void vScenarioRead();

// Counts an event at a device or the listing with every directive that looks at it: iOpcode is the
// command's, -1 for an event without one. Returns the first directive whose turn it is, null for
// none.
const RULE* pRule(ACTION eAction, int iOpcode, const char* cpPath);

// The same for an event at a file that only a directive with its name is meant for.
const RULE* pRuleByName(ACTION eAction, const char* cpPath);

// The end of a process. In the one that mvk-sim became, whose number ends the name of the file of
// turns: names the directives that had no turn in any process. Returns whether there are such.
bool bScenarioLeft();

#endif
