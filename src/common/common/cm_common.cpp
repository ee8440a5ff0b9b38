// Bounded string helpers and the reader of INI-style text files, shared by the whole program.
#include "cm_common.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

// A line is read in pieces of at most one byte less than this.
static const int iLINE_SIZE = 1024;

// How many keys one call may look up while it follows references. Far above any real chain, and
// small enough to end a reference to itself before the stack or the patience of a caller does.
static const int iMAX_LOOKUPS = 256;

void v_COPY(char* cpDest, size_t uiSize, const char* cpSource)
{
    if (uiSize == 0)
        return;
    size_t uiLength = strlen(cpSource);
    if (uiLength >= uiSize)
        uiLength = uiSize - 1;
    memcpy(cpDest, cpSource, uiLength);
    cpDest[uiLength] = '\0';
}

void v_APPEND(char* cpDest, size_t uiSize, const char* cpSource)
{
    const size_t uiUsed = uiSize > 0 ? strlen(cpDest) : 0;
    if (uiUsed < uiSize)
        v_COPY(cpDest + uiUsed, uiSize - uiUsed, cpSource);
}

void v_JOIN(char* cpDest, size_t uiSize, const char* cpFirst, const char* cpSecond,
            const char* cpThird)
{
    v_COPY(cpDest, uiSize, cpFirst);
    v_APPEND(cpDest, uiSize, cpSecond);
    v_APPEND(cpDest, uiSize, cpThird);
}

void v_CUT_HEAD(char* cpText, size_t uiCount)
{
    for (const char* cpFrom = cpText + uiCount; (*cpText++ = *cpFrom++) != '\0';) {
    }
}

bool b_STARTS_WITH(const char* cpText, const char* cpPrefix)
{
    while (*cpPrefix != '\0') {
        if (*cpText++ != *cpPrefix++)
            return false;
    }
    return true;
}

int i_DECIMAL(const char* cpText)
{
    return (int)strtol(cpText, nullptr, 10);
}

size_t i_CUT_LINE_FEED(char* cpLine)
{
    size_t uiLength = strlen(cpLine);
    if (uiLength > 0 && cpLine[uiLength - 1] == '\n')
        cpLine[--uiLength] = '\0';
    return uiLength;
}

// The program never leaves the "C" locale, in which these are all the letters there are.
static const char cCASE_DISTANCE = 'a' - 'A';

char* lowercase(char* arg)
{
    for (char* cpPos = arg; *cpPos != '\0'; cpPos++) {
        if (*cpPos >= 'A' && *cpPos <= 'Z')
            *cpPos = (char)(*cpPos + cCASE_DISTANCE);
    }
    return arg;
}

char* uppercase(char* arg)
{
    for (char* cpPos = arg; *cpPos != '\0'; cpPos++) {
        if (*cpPos >= 'a' && *cpPos <= 'z')
            *cpPos = (char)(*cpPos - cCASE_DISTANCE);
    }
    return arg;
}

int i_REMOVE_COMMENT(char* cpLine)
{
    i_CUT_LINE_FEED(cpLine);
    return cpLine[0] != '#' && cpLine[0] != '\0';
}

char* c_PARSE_FOR_PARENTHESES(const char* cpString, unsigned int* uipPreEnd,
                              unsigned int* uipPostBegin)
{
    const unsigned int uiLength = (unsigned int)strlen(cpString);
    char* cpName = (char*)calloc(uiLength + 1, 1);
    if (cpName == nullptr)
        return nullptr;
    unsigned int uiName = 0;
    bool bCollect = false;
    *uipPreEnd = uiLength - 1;
    *uipPostBegin = uiLength;
    for (unsigned int i = 0; i < uiLength; i++) {
        if (cpString[i] == '%' && cpString[i + 1] == '(') {
            *uipPreEnd = i - 1;
            bCollect = true;
            i++;
        } else if (bCollect && cpString[i] == ')') {
            *uipPostBegin = i + 1;
            break;
        } else if (bCollect) {
            cpName[uiName++] = cpString[i];
        }
    }
    return cpName;
}

// How the search of a file ended.
enum SEARCH {
    SEARCH_NO_SECTION,
    SEARCH_NEXT_SECTION, // another header came before the key
    SEARCH_END_OF_FILE,
    SEARCH_FOUND,
};

// Reads fpIni up to the line of the key. szLine holds that line when it was found.
static SEARCH eFindKey(FILE* fpIni, const char* cpSection, const char* cpKey,
                       char (&szLine)[iLINE_SIZE])
{
    const size_t uiSection = cpSection != nullptr ? strlen(cpSection) : 0;
    const size_t uiKey = strlen(cpKey);
    bool bInside = cpSection == nullptr;
    while (fgets(szLine, sizeof(szLine), fpIni) != nullptr) {
        if (!i_REMOVE_COMMENT(szLine))
            continue;
        if (!bInside) {
            bInside = strncasecmp(szLine, cpSection, uiSection) == 0;
            continue;
        }
        if (cpSection != nullptr && szLine[0] == '[')
            return SEARCH_NEXT_SECTION;
        if (strncasecmp(szLine, cpKey, uiKey) == 0 && szLine[uiKey] == '=')
            return SEARCH_FOUND;
    }
    return bInside ? SEARCH_END_OF_FILE : SEARCH_NO_SECTION;
}

// Cuts trailing blanks, and only blanks; a text of nothing but blanks stays as it is.
static void vCutTrailingBlanks(char* cpText)
{
    for (size_t uiLength = strlen(cpText); uiLength > 0; uiLength--) {
        if (cpText[uiLength - 1] != ' ') {
            cpText[uiLength] = '\0';
            return;
        }
    }
}

static int iLookUp(const char* cpFilename, const char* cpSection, const char* cpKey, char* cpValue,
                   int iLengthValue, char* cpMsg, int iLengthMsg, int* ipLookupsLeft);

// Puts cpNew in place of the characters of szValue from uiFrom up to uiTo. Kept apart from the
// recursion that needs it, whose levels share the stack.
static __attribute__((noinline)) void vReplace(char (&szValue)[iLINE_SIZE], size_t uiFrom,
                                               size_t uiTo, const char* cpNew)
{
    char szTail[iLINE_SIZE];
    v_COPY(szTail, sizeof(szTail), szValue + uiTo);
    szValue[uiFrom] = '\0';
    v_APPEND(szValue, sizeof(szValue), cpNew);
    v_APPEND(szValue, sizeof(szValue), szTail);
}

// Replaces the first reference in szValue by the value of the key it names. Returns 1, or 0 with
// the reason in cpMsg. A referenced value is cut to iLengthValue bytes like any other.
static int iResolveReference(const char* cpFilename, const char* cpSection,
                             char (&szValue)[iLINE_SIZE], int iLengthValue, char* cpMsg,
                             int iLengthMsg, int* ipLookupsLeft)
{
    char szReferenced[iLINE_SIZE];
    unsigned int uiPreEnd = 0;
    unsigned int uiPostBegin = 0;
    const int iLength = iLengthValue < iLINE_SIZE ? iLengthValue : iLINE_SIZE;
    char* cpName = c_PARSE_FOR_PARENTHESES(szValue, &uiPreEnd, &uiPostBegin);
    if (cpName == nullptr)
        return 0;
    szReferenced[0] = '\0';
    int iFound = iLookUp(cpFilename, cpSection, cpName, szReferenced, iLength, cpMsg, iLengthMsg,
                         ipLookupsLeft);
    if (!iFound && *ipLookupsLeft > 0)
        iFound = iLookUp(cpFilename, "[DEFAULT]", cpName, szReferenced, iLength, cpMsg, iLengthMsg,
                         ipLookupsLeft);
    free(cpName);
    if (iFound)
        vReplace(szValue, uiPreEnd + 1, uiPostBegin, szReferenced);
    return iFound;
}

// Puts the reason of an unsuccessful search into cpMsg.
static void vExplainSearch(SEARCH eSearch, const char* cpSection, const char* cpKey, char* cpMsg,
                           size_t uiLengthMsg)
{
    char szSection[64];
    switch (eSearch) {
    case SEARCH_NO_SECTION:
        v_COPY(szSection, sizeof(szSection), cpSection);
        v_JOIN(cpMsg, uiLengthMsg,
               "i_GetPrivateProfileString: SECTION NOT FOUND: ", lowercase(szSection), ".");
        break;
    case SEARCH_NEXT_SECTION:
        v_JOIN(cpMsg, uiLengthMsg, "i_GetPrivateProfileString: KEY NOT FOUND ", cpSection, cpKey);
        break;
    case SEARCH_END_OF_FILE:
        v_JOIN(cpMsg, uiLengthMsg, "i_GetPrivateProfileString: KEY NOT FOUND: ", cpKey, "");
        break;
    case SEARCH_FOUND:
        break;
    }
}

// i_GetPrivateProfileString with the number of lookups that are left in *ipLookupsLeft.
static int iLookUp(const char* cpFilename, const char* cpSection, const char* cpKey, char* cpValue,
                   int iLengthValue, char* cpMsg, int iLengthMsg, int* ipLookupsLeft)
{
    char szLine[iLINE_SIZE];
    const size_t uiLengthMsg = iLengthMsg > 0 ? (size_t)iLengthMsg : 0;
    v_COPY(cpMsg, uiLengthMsg, "");
    if (*ipLookupsLeft <= 0) {
        vExplainSearch(SEARCH_END_OF_FILE, cpSection, cpKey, cpMsg, uiLengthMsg);
        return 0;
    }
    --*ipLookupsLeft;
    FILE* fpIni = cpFilename != nullptr ? fopen(cpFilename, "r") : nullptr;
    if (fpIni == nullptr) {
        v_JOIN(cpMsg, uiLengthMsg, "i_GetPrivateProfileString: FILE NOT FOUND OR ACCESS PROBLEM",
               cpFilename != nullptr ? ": " : "", cpFilename != nullptr ? cpFilename : "");
        v_APPEND(cpMsg, uiLengthMsg, ".");
        return 0;
    }
    const SEARCH eSearch = eFindKey(fpIni, cpSection, cpKey, szLine);
    fclose(fpIni);
    if (eSearch != SEARCH_FOUND) {
        vExplainSearch(eSearch, cpSection, cpKey, cpMsg, uiLengthMsg);
        return 0;
    }
    v_CUT_HEAD(szLine, (size_t)(strchr(szLine, '=') + 1 - szLine)); // the value is left
    vCutTrailingBlanks(szLine);
    if (strstr(szLine, "%(") != nullptr &&
        !iResolveReference(cpFilename, cpSection, szLine, iLengthValue, cpMsg, iLengthMsg,
                           ipLookupsLeft))
        return 0;
    v_COPY(cpValue, iLengthValue > 0 ? (size_t)iLengthValue : 0, szLine);
    v_COPY(cpMsg, uiLengthMsg,
           szLine[0] != '\0' ? "" : "i_GetPrivateProfileString: KEY VALUE NOT FOUND.");
    return szLine[0] != '\0';
}

int i_GetPrivateProfileString(const char* cpFilename, const char* cpSection, const char* cpKey,
                              char* cpValue, int iLengthValue, char* cpMsg, int iLengthMsg)
{
    int iLookupsLeft = iMAX_LOOKUPS;
    return iLookUp(cpFilename, cpSection, cpKey, cpValue, iLengthValue, cpMsg, iLengthMsg,
                   &iLookupsLeft);
}
