// Values that refer to other keys. Stands on the reader of a section and on the index of one.
#include "cm_ini_reference.h"

#include "cm_ini_index.h"
#include "cm_text.h"

#include <stdlib.h>
#include <string.h>

OUTCOME eJudgeValue(const REQUEST* pRequest)
{
    if (pRequest->szValue[0] != '\0')
        return OUTCOME_FOUND;
    v_COPY(pRequest->cpMsg, pRequest->uiLengthMsg,
           "i_GetPrivateProfileString: KEY VALUE NOT FOUND.");
    return OUTCOME_EMPTY;
}

// A section in which references are followed. For a short chain, as every usual file has, the file
// is read again for each key. For a longer one it is read once, into an index: that is what keeps a
// long chain in a long file from taking minutes.
struct INI_SCOPE {
    const char* cpFilename;
    const char* cpSection;
    bool bRead;
    SEARCH eSearch;
    INI_INDEX strIndex;
};

// Reads the section into the index unless that was done. Returns false when there is no memory.
static bool bReadScope(INI_SCOPE* pScope)
{
    INI_SECTION strSection;
    bool bRoom = true;
    if (pScope->bRead)
        return true;
    vOpenSection(&strSection, pScope->cpFilename, pScope->cpSection);
    while (char* cpLine = bRoom ? cpNextLine(&strSection) : nullptr) {
        char* cpEqual = strchr(cpLine, '=');
        if (cpEqual == nullptr || !i_REMOVE_COMMENT(cpLine))
            continue;
        vCutTrailingBlanks(cpEqual + 1);
        bRoom = bIndexAdd(&pScope->strIndex, cpLine);
    }
    vCloseSection(&strSection);
    pScope->eSearch = strSection.eSearch;
    pScope->bRead = true;
    return bRoom;
}

static const char* cpValueOf(const INI_LINE* pLine)
{
    return strchr(pLine->cpText, '=') + 1;
}

// The reference in a value: its name, in memory that the caller frees (null: no memory), and the
// characters that it takes.
struct INI_REFERENCE {
    char* cpName;
    size_t uiFrom;
    size_t uiTo;
};

static INI_REFERENCE strReferenceOf(const char* cpValue)
{
    unsigned int uiPreEnd = 0;
    unsigned int uiPostBegin = 0;
    char* cpName = c_PARSE_FOR_PARENTHESES(cpValue, &uiPreEnd, &uiPostBegin);
    return {cpName, uiPreEnd + 1, uiPostBegin};
}

bool bHasReference(const char* cpValue)
{
    const char* cpPercent = strchr(cpValue, '%'); // most values have none
    return cpPercent != nullptr && strstr(cpPercent, "%(") != nullptr;
}

static void vExplainMissing(const INI_SCOPE* pScope, const char* cpName, REQUEST* pRequest)
{
    vExplainSearch(pScope->eSearch, pScope->cpFilename, pScope->cpSection, cpName, pRequest->cpMsg,
                   pRequest->uiLengthMsg);
}

// Says why references that lead to pLine lead to nothing: the key that pLine refers to is missing,
// or, when it refers to none, its own value is empty.
static OUTCOME eExplainLost(const INI_SCOPE* pScope, const INI_LINE* pLine, REQUEST* pRequest)
{
    if (!bHasReference(cpValueOf(pLine))) {
        pRequest->szValue[0] = '\0';
        eJudgeValue(pRequest);
        return OUTCOME_MISSING;
    }
    const INI_REFERENCE strReference = strReferenceOf(cpValueOf(pLine));
    if (strReference.cpName == nullptr)
        return OUTCOME_NEVER;
    vExplainMissing(pScope, strReference.cpName, pRequest);
    free(strReference.cpName);
    return OUTCOME_MISSING;
}

// Puts cpValue, with szValue in place of its reference, into szValue.
static void vReplace(const char* cpValue, const INI_REFERENCE* pReference, REQUEST* pRequest)
{
    char szReferenced[iLINE_SIZE];
    const size_t uiRoom = pRequest->iLengthValue > 0 ? (size_t)pRequest->iLengthValue : 1;
    v_COPY(szReferenced, uiRoom < sizeof(szReferenced) ? uiRoom : sizeof(szReferenced),
           pRequest->szValue);
    v_COPY(pRequest->szValue, pReference->uiFrom + 1, cpValue);
    v_APPEND(pRequest->szValue, sizeof(pRequest->szValue), szReferenced);
    v_APPEND(pRequest->szValue, sizeof(pRequest->szValue), cpValue + pReference->uiTo);
}

// How many references are followed by reading the file again. Each takes one line on the stack.
static const int iSHORT_CHAIN = 4;

// Looks cpKey up in the file. Returns its line in szLine, or false with the reason in cpMsg.
static bool bFindLine(const INI_SCOPE* pScope, const char* cpKey, char (&szLine)[iLINE_SIZE],
                      REQUEST* pRequest)
{
    INI_SECTION strSection;
    vOpenSection(&strSection, pScope->cpFilename, pScope->cpSection);
    const char* cpLine = cpFindKey(&strSection, cpKey);
    vCloseSection(&strSection);
    if (cpLine != nullptr)
        v_COPY(szLine, sizeof(szLine), cpLine);
    else
        vExplainSearch(strSection.eSearch, pScope->cpFilename, pScope->cpSection, cpKey,
                       pRequest->cpMsg, pRequest->uiLengthMsg);
    return cpLine != nullptr;
}

static OUTCOME eFollowShort(const INI_SCOPE* pScope, const INI_SCOPE* pFallback, const char* cpKey,
                            int iLeft, REQUEST* pRequest);

// Puts cpValue, its reference replaced, into szValue. iLeft: how many more references are followed.
static OUTCOME eReplaceShort(const INI_SCOPE* pScope, const INI_SCOPE* pFallback,
                             const char* cpValue, int iLeft, REQUEST* pRequest)
{
    if (iLeft == 0)
        return OUTCOME_DEEP;
    const INI_REFERENCE strReference = strReferenceOf(cpValue);
    if (strReference.cpName == nullptr)
        return OUTCOME_NEVER;
    OUTCOME eOutcome = eFollowShort(pScope, pFallback, strReference.cpName, iLeft - 1, pRequest);
    const bool bLost = eOutcome == OUTCOME_EMPTY || eOutcome == OUTCOME_MISSING;
    if (bLost && pFallback != nullptr)
        eOutcome = eFollowShort(pFallback, nullptr, strReference.cpName, iLeft - 1, pRequest);
    free(strReference.cpName);
    if (eOutcome != OUTCOME_FOUND)
        return eOutcome == OUTCOME_EMPTY ? OUTCOME_MISSING : eOutcome;
    vReplace(cpValue, &strReference, pRequest);
    return eJudgeValue(pRequest);
}

static OUTCOME eFollowShort(const INI_SCOPE* pScope, const INI_SCOPE* pFallback, const char* cpKey,
                            int iLeft, REQUEST* pRequest)
{
    char szLine[iLINE_SIZE];
    if (!bFindLine(pScope, cpKey, szLine, pRequest))
        return OUTCOME_MISSING;
    char* cpValue = strchr(szLine, '=') + 1;
    vCutTrailingBlanks(cpValue);
    if (bHasReference(cpValue))
        return eReplaceShort(pScope, pFallback, cpValue, iLeft, pRequest);
    v_COPY(pRequest->szValue, iLINE_SIZE, cpValue);
    return eJudgeValue(pRequest);
}

// One walk along the references of a section, from key to key.
struct WALK {
    INI_SCOPE* pScope;
    INI_SCOPE* pFallback; // where a key is looked up that leads to nothing in pScope; null: nowhere
    INI_LINE* pDeepest;   // the last line entered; pOuter leads back to the first
    const INI_LINE* pLost;
    REQUEST* pRequest;
};

// Goes from cpKey down to a value without a reference, which it puts into szValue.
static OUTCOME eDescend(WALK* pWalk, const char* cpKey)
{
    const INI_SCOPE* pScope = pWalk->pScope;
    INI_REFERENCE strReference = {nullptr, 0, 0};
    OUTCOME eOutcome = OUTCOME_MISSING;
    for (;;) {
        INI_LINE* pLine = pIndexFind(&pScope->strIndex, cpKey);
        pWalk->pLost = pLine != nullptr ? pLine->pLost : pWalk->pDeepest;
        if (pLine == nullptr) {
            vExplainMissing(pScope, cpKey, pWalk->pRequest);
            break;
        }
        if (pLine->pLost != nullptr) {
            eOutcome = eExplainLost(pScope, pLine->pLost, pWalk->pRequest);
            break;
        }
        if (pLine->bEntered) {
            vExplainSearch(SEARCH_END_OF_FILE, "", "", cpKey, pWalk->pRequest->cpMsg,
                           pWalk->pRequest->uiLengthMsg);
            eOutcome = OUTCOME_NEVER;
            break;
        }
        pLine->bEntered = true;
        pLine->pOuter = pWalk->pDeepest;
        pWalk->pDeepest = pLine;
        free(strReference.cpName);
        strReference.cpName = nullptr;
        if (!bHasReference(cpValueOf(pLine))) {
            v_COPY(pWalk->pRequest->szValue, iLINE_SIZE, cpValueOf(pLine));
            pWalk->pLost = pLine;
            return eJudgeValue(pWalk->pRequest);
        }
        strReference = strReferenceOf(cpValueOf(pLine));
        cpKey = strReference.cpName;
        if (cpKey == nullptr)
            return OUTCOME_NEVER;
    }
    free(strReference.cpName);
    return eOutcome;
}

static OUTCOME eFollow(INI_SCOPE* pScope, INI_SCOPE* pFallback, const char* cpKey,
                       REQUEST* pRequest);

// Goes back up from pLine, whose reference ended in eOutcome, and replaces the references.
static OUTCOME eClimb(const WALK* pWalk, const INI_LINE* pLine, OUTCOME eOutcome)
{
    for (; pLine != nullptr && eOutcome != OUTCOME_NEVER; pLine = pLine->pOuter) {
        const INI_REFERENCE strReference = strReferenceOf(cpValueOf(pLine));
        if (strReference.cpName == nullptr)
            return OUTCOME_NEVER;
        if (eOutcome != OUTCOME_FOUND && pWalk->pFallback != nullptr)
            eOutcome = eFollow(pWalk->pFallback, nullptr, strReference.cpName, pWalk->pRequest);
        free(strReference.cpName);
        if (eOutcome == OUTCOME_FOUND) {
            vReplace(cpValueOf(pLine), &strReference, pWalk->pRequest);
            eOutcome = eJudgeValue(pWalk->pRequest);
        } else if (eOutcome == OUTCOME_EMPTY) {
            eOutcome = OUTCOME_MISSING;
        }
    }
    return eOutcome;
}

// Puts the value of cpKey in pScope, its reference replaced, into szValue, or the reason why there
// is none into cpMsg. Needs no more stack for a long chain than for a short one.
static OUTCOME eFollow(INI_SCOPE* pScope, INI_SCOPE* pFallback, const char* cpKey,
                       REQUEST* pRequest)
{
    WALK strWalk = {pScope, pFallback, nullptr, nullptr, pRequest};
    if (!bReadScope(pScope))
        return OUTCOME_NEVER;
    const OUTCOME eInner = eDescend(&strWalk, cpKey);
    const INI_LINE* pStart = strWalk.pDeepest;
    if (pStart != nullptr && !bHasReference(cpValueOf(pStart)))
        pStart = pStart->pOuter;
    const OUTCOME eOutcome = eClimb(&strWalk, pStart, eInner);
    // Another walk may come here: it need not find out again that these lines lead to nothing.
    const bool bLost = eInner != OUTCOME_FOUND && pFallback == nullptr;
    for (INI_LINE* pLine = strWalk.pDeepest; pLine != nullptr; pLine = pLine->pOuter) {
        pLine->bEntered = false;
        if (bLost)
            pLine->pLost = strWalk.pLost;
    }
    return eOutcome;
}

OUTCOME eResolve(const char* cpFilename, const char* cpSection, const char* cpKey,
                 const char* cpValue, REQUEST* pRequest)
{
    INI_SCOPE strOwn = {cpFilename, cpSection, false, SEARCH_NO_FILE, {}};
    INI_SCOPE strDefault = {cpFilename, "[DEFAULT]", false, SEARCH_NO_FILE, {}};
    OUTCOME eOutcome = eReplaceShort(&strOwn, &strDefault, cpValue, iSHORT_CHAIN, pRequest);
    if (eOutcome != OUTCOME_DEEP)
        return eOutcome;
    eOutcome = eFollow(&strOwn, &strDefault, cpKey, pRequest);
    vIndexFree(&strOwn.strIndex);
    vIndexFree(&strDefault.strIndex);
    return eOutcome;
}
