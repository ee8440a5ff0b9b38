// The scenario: a file of directives, one a line.
#include "scenario.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static const int iRULE_MAX = 256;
static const int iPOOL_MAX = 1 << 20;
static const int iSENSE_LENGTH = 18;

enum ARGUMENT {
    ARGUMENT_DATA,      // reply data
    ARGUMENT_STATUS,    // SCSI status, then sense data
    ARGUMENT_SENSE,     // sense key, additional code and qualifier
    ARGUMENT_ATTENTION, // additional code and qualifier of a unit attention
    ARGUMENT_TRANSFER,  // name of an error, or a count of bytes
    ARGUMENT_NUMBER,
    ARGUMENT_NODE, // number of a node
    ARGUMENT_ERROR // name of an error
};

struct DIRECTIVE {
    const char* cpName;
    ACTION eAction;
    ARGUMENT eArgument;
    bool bByOpcode; // applies to a command, else to a device
};

static const DIRECTIVE strDirectives[] = {
    {"reply",     ACTION_REPLY,   ARGUMENT_DATA,      true },
    {"status",    ACTION_STATUS,  ARGUMENT_STATUS,    true },
    {"check",     ACTION_STATUS,  ARGUMENT_SENSE,     true },
    {"result",    ACTION_RESULT,  ARGUMENT_NUMBER,    true },
    {"attention", ACTION_STATUS,  ARGUMENT_ATTENTION, true },
    {"write",     ACTION_WRITE,   ARGUMENT_TRANSFER,  true },
    {"read",      ACTION_READ,    ARGUMENT_TRANSFER,  true },
    {"delay",     ACTION_DELAY,   ARGUMENT_NUMBER,    true },
    {"open",      ACTION_OPEN,    ARGUMENT_ERROR,     false},
    {"stat",      ACTION_STAT,    ARGUMENT_ERROR,     false},
    {"node",      ACTION_NODE,    ARGUMENT_NODE,      false},
    {"timeout",   ACTION_TIMEOUT, ARGUMENT_ERROR,     false},
    {"idlun",     ACTION_IDLUN,   ARGUMENT_ERROR,     false},
};

static RULE gstrRules[iRULE_MAX];
static int giRules;
static unsigned char gcPool[iPOOL_MAX]; // the data of all rules
static int giPool;
static const char* gcpScenario;
static const char* gcpTurns; // where the lines that had their turn are noted, null nowhere

static int iErrnoNamed(const char* cpWord)
{
    for (int i = 1; i < 134; i++) {
        const char* cpName = strerrorname_np(i);
        if (cpName != nullptr && strcmp(cpName, cpWord) == 0)
            return i;
    }
    return 0;
}

// Takes data into the pool; short sense data is filled up with zeros.
static bool bRuleData(RULE* pNew, const char* cp)
{
    unsigned char* cpData = gcPool + giPool;
    pNew->cpData = cpData;
    pNew->iLen = iData(cp, gcpScenario, cpData, iPOOL_MAX - iSENSE_LENGTH - giPool);
    if (pNew->iLen < 0)
        return false;
    giPool += pNew->iLen < iSENSE_LENGTH ? iSENSE_LENGTH : pNew->iLen;
    return true;
}

// Makes fixed-format sense data of its key, unless that is given, code and qualifier.
static bool bRuleSense(RULE* pNew, const char* cp, int iKey)
{
    const int iCodeAt = iKey < 0 ? 1 : 0;
    if (!bRuleData(pNew, cp) || pNew->iLen != iCodeAt + 2)
        return false;
    unsigned char* cpSense = gcPool + giPool - iSENSE_LENGTH;
    memcpy(cpSense + 12, cpSense + iCodeAt, 2);
    cpSense[2] = iKey < 0 ? cpSense[0] : (unsigned char)iKey;
    cpSense[0] = 0x70;
    cpSense[1] = 0;
    cpSense[7] = 10;
    pNew->iLen = iSENSE_LENGTH;
    pNew->iValue = 2; // CHECK CONDITION
    return true;
}

// A SCSI status, and the sense data behind it.
static bool bRuleStatus(RULE* pNew, const char* cp)
{
    char szWord[24];
    unsigned char cStatus;
    if (!bTakeWord(&cp, szWord, sizeof(szWord)) || iData(szWord, gcpScenario, &cStatus, 1) != 1 ||
        !bRuleData(pNew, cp))
        return false;
    pNew->iValue = cStatus;
    return pNew->iLen <= iSENSE_LENGTH;
}

// One word: the name of an error, or a number, as far as the directive takes them.
static bool bRuleWord(RULE* pNew, ARGUMENT eArgument, const char* cp)
{
    char szWord[24];
    const char* cpNumber = szWord;
    if (!bTakeWord(&cp, szWord, sizeof(szWord)) || !bAtEnd(cp))
        return false;
    if (eArgument != ARGUMENT_NUMBER)
        pNew->iErrno = iErrnoNamed(szWord);
    if (pNew->iErrno != 0 || eArgument == ARGUMENT_ERROR)
        return pNew->iErrno != 0;
    return bTakeNumber(&cpNumber, &pNew->iValue) && pNew->iValue >= 0;
}

// The words behind the occurrence. Returns false when they are not of the directive's kind.
static bool bArguments(RULE* pNew, ARGUMENT eArgument, const char* cp)
{
    switch (eArgument) {
    case ARGUMENT_DATA:
        return bRuleData(pNew, cp);
    case ARGUMENT_SENSE:
        return bRuleSense(pNew, cp, -1);
    case ARGUMENT_ATTENTION:
        return bRuleSense(pNew, cp, 6);
    case ARGUMENT_STATUS:
        return bRuleStatus(pNew, cp);
    case ARGUMENT_NODE:
        return bTakeDeviceNumber(&cp, &pNew->strNumber) && bAtEnd(cp);
    default:
        return bRuleWord(pNew, eArgument, cp);
    }
}

// "OPCODE", "OPCODE@DEVICE", "*" or "*@DEVICE"; for a directive on devices "DEVICE" or "*".
static bool bTarget(RULE* pNew, bool bByOpcode, const char** cpp)
{
    char szTarget[48];
    if (!bTakeWord(cpp, szTarget, sizeof(szTarget)))
        return false;
    char* cpDevice = szTarget;
    pNew->iOpcode = -1;
    if (bByOpcode) {
        const char* cpOpcode = szTarget;
        cpDevice = strchr(szTarget, '@');
        if (cpDevice != nullptr)
            *cpDevice++ = '\0';
        if (strcmp(szTarget, "*") != 0 &&
            (!bTakeNumber(&cpOpcode, &pNew->iOpcode) || pNew->iOpcode < 0 || pNew->iOpcode > 255))
            return false;
    }
    if (cpDevice == nullptr || strcmp(cpDevice, "*") == 0)
        return true;
    const char* cpSlash = strrchr(cpDevice, '/');
    const char* cpName = cpSlash != nullptr ? cpSlash + 1 : cpDevice;
    memcpy(pNew->szDevice, cpName, strnlen(cpName, sizeof(pNew->szDevice) - 1));
    return pNew->szDevice[0] != '\0' && strlen(cpName) < sizeof(pNew->szDevice);
}

// The occurrence: "*", or a number from 1 on.
static bool bOccurrence(RULE* pNew, const char** cpp)
{
    char szCount[8];
    const char* cpCount = szCount;
    if (!bTakeWord(cpp, szCount, sizeof(szCount)))
        return false;
    return strcmp(szCount, "*") == 0 || (bTakeNumber(&cpCount, &pNew->iCount) && pNew->iCount >= 1);
}

static bool bDirective(const char* cp, int iLine)
{
    char szName[16];
    const char* cpText = cp;
    if (!bTakeWord(&cp, szName, sizeof(szName)))
        return false;
    for (const DIRECTIVE& strDirective : strDirectives) {
        if (strcmp(szName, strDirective.cpName) != 0)
            continue;
        RULE* pNew = &gstrRules[giRules++];
        pNew->eAction = strDirective.eAction;
        pNew->iLine = iLine;
        pNew->cpText = cpText;
        return bTarget(pNew, strDirective.bByOpcode, &cp) && bOccurrence(pNew, &cp) &&
               bArguments(pNew, strDirective.eArgument, cp);
    }
    return false;
}

void vScenarioRead()
{
    static char cText[iTEXT_MAX];
    char* cpRest = cText;
    gcpScenario = getenv("MVK_SIM_SCENARIO");
    gcpTurns = getenv("MVK_SIM_STRICT");
    if (gcpScenario == nullptr || gcpScenario[0] == '\0')
        return;
    vReadText(gcpScenario, cText, iTEXT_MAX);
    for (int iLine = 1; const char* cpLine = cpTakeLine(&cpRest); iLine++) {
        if (cpLine[0] == '\0' || cpLine[0] == '#')
            continue;
        if (giRules == iRULE_MAX)
            vFatal("%s:%d: more than %d directives", gcpScenario, iLine, iRULE_MAX);
        if (!bDirective(cpLine, iLine))
            vFatal("%s:%d: not understood: %s", gcpScenario, iLine, cpLine);
    }
}

// Notes for all processes that a directive had its turn: its line goes to the file of turns.
static void vNoteTurn(RULE* p)
{
    if (gcpTurns == nullptr || p->bHadTurn)
        return;
    const int iFd = open(gcpTurns, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (iFd < 0 || dprintf(iFd, "%d\n", p->iLine) < 0)
        vFatal("cannot write %s: %s", gcpTurns, strerror(errno));
    close(iFd);
    p->bHadTurn = true;
}

bool bScenarioLeft()
{
    static char cText[iTEXT_MAX];
    char* cpRest = cText;
    bool bLeft = false;
    const char* cpNumber = gcpTurns != nullptr ? strrchr(gcpTurns, '.') : nullptr;
    if (cpNumber == nullptr || atoi(cpNumber + 1) != getpid())
        return false;
    iReadFile(gcpTurns, cText, iTEXT_MAX); // no file: no turns
    while (const char* cpLine = cpTakeLine(&cpRest)) {
        for (RULE* p = gstrRules; p < gstrRules + giRules; p++)
            p->bHadTurn = p->bHadTurn || p->iLine == atoi(cpLine);
    }
    unlink(gcpTurns);
    for (const RULE* p = gstrRules; p < gstrRules + giRules; p++) {
        if (!p->bHadTurn)
            dprintf(STDERR_FILENO, "mvk-sim: %s:%d: had no turn: %s\n", gcpScenario, p->iLine,
                    p->cpText);
        bLeft = bLeft || !p->bHadTurn;
    }
    gcpTurns = nullptr;
    return bLeft;
}

static const RULE* pTurn(ACTION eAction, int iOpcode, const char* cpPath, bool bByName)
{
    RULE* pFound = nullptr;
    const char* cpName = strrchr(cpPath, '/') + 1;
    for (RULE* p = gstrRules; p < gstrRules + giRules; p++) {
        const bool bHere = p->szDevice[0] != '\0' ? strcmp(p->szDevice, cpName) == 0 : !bByName;
        if (p->eAction != eAction || (p->iOpcode >= 0 && p->iOpcode != iOpcode) || !bHere)
            continue;
        p->iSeen++;
        if (pFound == nullptr && (p->iCount == 0 || p->iCount == p->iSeen))
            pFound = p;
    }
    if (pFound != nullptr)
        vNoteTurn(pFound);
    return pFound;
}

const RULE* pRule(ACTION eAction, int iOpcode, const char* cpPath)
{
    return pTurn(eAction, iOpcode, cpPath, false);
}

const RULE* pRuleByName(ACTION eAction, const char* cpPath)
{
    return pTurn(eAction, -1, cpPath, true);
}
