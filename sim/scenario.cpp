// The scenario: a file of directives, one a line, that make devices answer and fail as a test needs
// it. A directive that is not understood ends the process.
#include "sim.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { RULE_MAX = 256, POOL_MAX = 1 << 20, SENSE_LENGTH = 18 };

enum ARGUMENT {
    ARG_DATA,     // reply data
    ARG_STATUS,   // SCSI status, then sense data
    ARG_SENSE,    // sense key, additional code and qualifier
    ARG_TRANSFER, // name of an error, or a count of bytes
    ARG_NUMBER,
    ARG_ERROR // name of an error
};

static const struct {
    const char* cpName;
    int iAction, iArgument;
    int iByOpcode; // applies to a command, else to a device
} gDirectives[] = {
    {"reply",   ACT_REPLY,   ARG_DATA,     1},
    {"status",  ACT_STATUS,  ARG_STATUS,   1},
    {"check",   ACT_STATUS,  ARG_SENSE,    1},
    {"result",  ACT_RESULT,  ARG_NUMBER,   1},
    {"write",   ACT_WRITE,   ARG_TRANSFER, 1},
    {"read",    ACT_READ,    ARG_TRANSFER, 1},
    {"delay",   ACT_DELAY,   ARG_NUMBER,   1},
    {"open",    ACT_OPEN,    ARG_ERROR,    0},
    {"timeout", ACT_TIMEOUT, ARG_ERROR,    0},
    {"idlun",   ACT_IDLUN,   ARG_ERROR,    0}
};

static RULE gRules[RULE_MAX];
static int giRules, giPool;
static unsigned char gcPool[POOL_MAX]; // the data of all rules
static const char* gcpScenario;
static const char* gcpTurns; // where the lines that had their turn are noted, null nowhere

static int iErrnoNamed(const char* cpWord)
{
    for (int i = 1; i < 134; i++) {
        const char* cpName = strerrorname_np(i);
        if (cpName && strcmp(cpName, cpWord) == 0)
            return i;
    }
    return 0;
}

// Takes data into the pool; short sense data is filled up with zeros.
static int iRuleData(RULE* pNew, const char* cp)
{
    unsigned char* cpData = gcPool + giPool;
    pNew->cpData = cpData;
    pNew->iLen = iData(cp, gcpScenario, cpData, POOL_MAX - SENSE_LENGTH - giPool);
    if (pNew->iLen < 0)
        return 0;
    giPool += pNew->iLen < SENSE_LENGTH ? SENSE_LENGTH : pNew->iLen;
    return 1;
}

// Makes fixed-format sense data of its key, code and qualifier.
static int iRuleSense(RULE* pNew, const char* cp)
{
    if (!iRuleData(pNew, cp) || pNew->iLen != 3)
        return 0;
    unsigned char* cpSense = gcPool + giPool - SENSE_LENGTH;
    memcpy(cpSense + 12, cpSense + 1, 2);
    cpSense[2] = cpSense[0];
    cpSense[0] = 0x70;
    cpSense[1] = 0;
    cpSense[7] = 10;
    pNew->iLen = SENSE_LENGTH;
    pNew->iValue = 2; // CHECK CONDITION
    return 1;
}

// The words behind the occurrence. Returns 0 when they are not of the directive's kind.
static int iArguments(RULE* pNew, int iArgument, const char* cp)
{
    char szWord[24];
    unsigned char cStatus;
    const char* cpNumber = cp;
    if (iArgument == ARG_DATA)
        return iRuleData(pNew, cp);
    if (iArgument == ARG_SENSE)
        return iRuleSense(pNew, cp);
    if (!iTakeWord(&cp, szWord, sizeof(szWord)))
        return 0;
    if (iArgument == ARG_STATUS) {
        if (iData(szWord, gcpScenario, &cStatus, 1) != 1 || !iRuleData(pNew, cp))
            return 0;
        pNew->iValue = cStatus;
        return pNew->iLen <= SENSE_LENGTH;
    }
    if (iArgument != ARG_NUMBER)
        pNew->iErrno = iErrnoNamed(szWord);
    return iAtEnd(cp) &&
           (pNew->iErrno ||
            (iArgument != ARG_ERROR && iTakeNumber(&cpNumber, &pNew->iValue) && pNew->iValue >= 0));
}

// "OPCODE", "OPCODE@DEVICE", "*" or "*@DEVICE"; for a directive on devices "DEVICE" or "*".
static int iTarget(RULE* pNew, int iByOpcode, const char** cpp)
{
    char szTarget[48];
    if (!iTakeWord(cpp, szTarget, sizeof(szTarget)))
        return 0;
    char *cpDevice = szTarget, *cpSlash;
    pNew->iOpcode = -1;
    if (iByOpcode) {
        const char* cpOpcode = szTarget;
        cpDevice = strchr(szTarget, '@');
        if (cpDevice)
            *cpDevice++ = 0;
        if (strcmp(szTarget, "*") != 0 &&
            (!iTakeNumber(&cpOpcode, &pNew->iOpcode) || pNew->iOpcode > 255))
            return 0;
    }
    if (!cpDevice || strcmp(cpDevice, "*") == 0)
        return 1;
    cpSlash = strrchr(cpDevice, '/');
    cpDevice = cpSlash ? cpSlash + 1 : cpDevice;
    memcpy(pNew->szDevice, cpDevice, strnlen(cpDevice, sizeof(pNew->szDevice) - 1));
    return pNew->szDevice[0] != 0 && strlen(cpDevice) < sizeof(pNew->szDevice);
}

static int iDirective(const char* cp, int iLine)
{
    const char* cpText = cp;
    char szName[16], szCount[8];
    const char* cpCount = szCount;
    if (!iTakeWord(&cp, szName, sizeof(szName)) || giRules >= RULE_MAX)
        return 0;
    for (const auto& directive : gDirectives) {
        if (strcmp(szName, directive.cpName) != 0)
            continue;
        RULE* pNew = &gRules[giRules++];
        pNew->iAction = directive.iAction;
        pNew->iLine = iLine;
        pNew->cpText = cpText;
        if (!iTarget(pNew, directive.iByOpcode, &cp) || !iTakeWord(&cp, szCount, sizeof(szCount)))
            return 0;
        if (strcmp(szCount, "*") != 0 &&
            (!iTakeNumber(&cpCount, &pNew->iCount) || pNew->iCount < 1))
            return 0;
        return iArguments(pNew, directive.iArgument, cp);
    }
    return 0;
}

// Reads the file that MVK_SIM_SCENARIO names, at the start of every process, so that a mistake in
// it is seen even when no device is used.
void vScenarioRead(void)
{
    static char cText[TEXT_MAX];
    char *cp = cText, *cpLine;
    gcpScenario = getenv("MVK_SIM_SCENARIO");
    gcpTurns = getenv("MVK_SIM_STRICT");
    if (!gcpScenario || !*gcpScenario)
        return;
    vReadText(gcpScenario, cText, TEXT_MAX);
    for (int iLine = 1; (cpLine = cpTakeLine(&cp)); iLine++) {
        if (*cpLine && *cpLine != '#' && !iDirective(cpLine, iLine))
            vFatal("%s:%d: not understood: %s", gcpScenario, iLine, cpLine);
    }
}

// Notes for all processes that a directive had its turn: its line goes to the file of turns.
static void vTurn(RULE* p)
{
    if (!gcpTurns || p->bHadTurn)
        return;
    const int iFd = open(gcpTurns, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (iFd < 0 || dprintf(iFd, "%d\n", p->iLine) < 0)
        vFatal("cannot write %s: %s", gcpTurns, strerror(errno));
    close(iFd);
    p->bHadTurn = true;
}

// The end of a process. In the one that mvk-sim became, whose number ends the name of the file of
// turns: names the directives that had no turn in any process. Returns whether there are such.
bool bScenarioLeft(void)
{
    static char cText[TEXT_MAX];
    char* cp = cText;
    bool bLeft = false;
    const char* cpNumber = gcpTurns ? strrchr(gcpTurns, '.') : nullptr;
    if (!cpNumber || atoi(cpNumber + 1) != getpid())
        return false;
    iReadFile(gcpTurns, cText, TEXT_MAX); // no file: no turns
    while (const char* cpLine = cpTakeLine(&cp)) {
        for (RULE* p = gRules; p < gRules + giRules; p++)
            p->bHadTurn = p->bHadTurn || p->iLine == atoi(cpLine);
    }
    unlink(gcpTurns);
    for (const RULE* p = gRules; p < gRules + giRules; p++) {
        if (!p->bHadTurn)
            dprintf(2, "mvk-sim: %s:%d: had no turn: %s\n", gcpScenario, p->iLine, p->cpText);
        bLeft = bLeft || !p->bHadTurn;
    }
    gcpTurns = nullptr;
    return bLeft;
}

// Counts an event with every directive that looks at it; returns the first one whose turn it is.
static const RULE* pTurn(int iAction, int iOpcode, const char* cpPath, bool bByName)
{
    RULE* pFound = nullptr;
    const char* cpName = strrchr(cpPath, '/') + 1;
    for (RULE* p = gRules; p < gRules + giRules; p++) {
        if (p->iAction != iAction || (p->iOpcode >= 0 && p->iOpcode != iOpcode) ||
            (p->szDevice[0] ? strcmp(p->szDevice, cpName) != 0 : bByName))
            continue;
        p->iSeen++;
        if (!pFound && (p->iCount == 0 || p->iCount == p->iSeen))
            pFound = p;
    }
    if (pFound)
        vTurn(pFound);
    return pFound;
}

// An event at a device or the listing.
const RULE* pRule(int iAction, int iOpcode, const char* cpPath)
{
    return pTurn(iAction, iOpcode, cpPath, false);
}

// An event at a file that only a directive with its name is meant for.
const RULE* pRuleByName(int iAction, const char* cpPath)
{
    return pTurn(iAction, -1, cpPath, true);
}
