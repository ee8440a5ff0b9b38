// The look-up of a key in an INI-style text file. Stands on the helpers for strings and files.
#include "cm_common.h"

#include "cm_file.h"

#include <stdlib.h>
#include <string.h>

// A line is read in pieces of at most one byte less than this.
enum { iLINE_SIZE = 1024 };

// How many references are followed one behind the other, and how many lines one look-up reads,
// those of its references included: a tenth of a second.
static const int iMAX_LEVEL = 64;
static const int iMAX_LINES = 5 << 20;

// Where a key is looked up that a value refers to and its own section does not have.
static const char szDEFAULT[] = "[DEFAULT]";

// A look-up, and what those that its references lead to share with it.
struct LOOKUP {
    const char* cpFilename;
    size_t uiRoom; // of the caller: every value that is referred to is cut to it
    char* cpMsg;
    size_t uiLengthMsg;
    int iLinesLeft; // 0: whatever else is looked up is missing
};

// How far the search for a line has come.
enum SEARCH { SEARCH_SECTION, SEARCH_KEY, SEARCH_FOUND, SEARCH_NEXT_SECTION };

// Puts the three texts into cpMsg as the reason of a failure. Returns false.
static bool bFail(const LOOKUP* pLookup, const char* cpReason, const char* cpFirst,
                  const char* cpSecond)
{
    v_JOIN(pLookup->cpMsg, pLookup->uiLengthMsg, cpReason, cpFirst, cpSecond);
    return false;
}

// Says how a search ended that found nothing. Returns false.
static bool bExplain(const LOOKUP* pLookup, SEARCH eSearch, const char* cpSection,
                     const char* cpKey)
{
    char szSection[64];
    if (eSearch == SEARCH_KEY)
        return bFail(pLookup, "i_GetPrivateProfileString: KEY NOT FOUND: ", cpKey, "");
    if (eSearch == SEARCH_NEXT_SECTION)
        return bFail(pLookup, "i_GetPrivateProfileString: KEY NOT FOUND ", cpSection, cpKey);
    v_COPY(szSection, sizeof(szSection), cpSection);
    return bFail(pLookup, "i_GetPrivateProfileString: SECTION NOT FOUND: ", lowercase(szSection),
                 ".");
}

// Reads the file up to the line of the key, which it leaves in cpLine of iLINE_SIZE bytes. Returns
// false, with the reason in cpMsg, when there is none. Not inlined: its buffer would lie on the
// stack once for each reference that is followed.
[[gnu::noinline]] static bool bFindLine(LOOKUP* pLookup, const char* cpSection, const char* cpKey,
                                        char* cpLine)
{
    static const char szNoFile[] = "i_GetPrivateProfileString: FILE NOT FOUND OR ACCESS PROBLEM";
    char cBuffer[iTEXT_BUFFER_SIZE];
    const size_t uiSection = cpSection != nullptr ? strlen(cpSection) : 0;
    const size_t uiKey = strlen(cpKey);
    SEARCH eSearch = cpSection != nullptr ? SEARCH_SECTION : SEARCH_KEY;
    if (pLookup->iLinesLeft <= 0)
        return bExplain(pLookup, SEARCH_KEY, cpSection, cpKey);
    if (pLookup->cpFilename == nullptr)
        return bFail(pLookup, szNoFile, ".", "");
    FILE* fpIni = fpOpenText(pLookup->cpFilename, cBuffer);
    if (fpIni == nullptr) {
        bFail(pLookup, szNoFile, ": ", pLookup->cpFilename);
        v_APPEND(pLookup->cpMsg, pLookup->uiLengthMsg, ".");
        return false;
    }
    // Most lines are not the wanted one: nothing is done to them here.
    while (eSearch < SEARCH_FOUND && pLookup->iLinesLeft-- > 0 &&
           fgets(cpLine, iLINE_SIZE, fpIni) != nullptr) {
        if (eSearch == SEARCH_SECTION) {
            if (b_STARTS_FOLDED(cpLine, cpSection, uiSection) && i_REMOVE_COMMENT(cpLine))
                eSearch = SEARCH_KEY;
        } else if (cpLine[0] == '[' && cpSection != nullptr) {
            eSearch = SEARCH_NEXT_SECTION;
        } else if (b_IS_KEY_LINE(cpLine, cpKey, uiKey) && i_REMOVE_COMMENT(cpLine)) {
            eSearch = SEARCH_FOUND;
        }
    }
    fclose(fpIni);
    return eSearch == SEARCH_FOUND || bExplain(pLookup, eSearch, cpSection, cpKey);
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

static bool bHasReference(const char* cpValue)
{
    const char* cpPercent = strchr(cpValue, '%'); // most values have none
    return cpPercent != nullptr && strstr(cpPercent, "%(") != nullptr;
}

static char* cpReplace(LOOKUP* pLookup, const char* cpSection, int iLevel, char* cpLine,
                       char* cpValue);

// Finds the value of the key, its reference replaced. iLevel: how many references have led here.
// Returns the value, which lies in cpLine of iLINE_SIZE bytes, or a null pointer; unless there is a
// value that is not empty, the reason stands in cpMsg.
static char* cpLookUp(LOOKUP* pLookup, const char* cpSection, const char* cpKey, int iLevel,
                      char* cpLine)
{
    if (!bFindLine(pLookup, cpSection, cpKey, cpLine))
        return nullptr;
    char* cpValue = strchr(cpLine, '=') + 1;
    vCutTrailingBlanks(cpValue);
    if (bHasReference(cpValue))
        cpValue = cpReplace(pLookup, cpSection, iLevel, cpLine, cpValue);
    if (cpValue != nullptr && cpValue[0] == '\0')
        bFail(pLookup, "i_GetPrivateProfileString: KEY VALUE NOT FOUND.", "", "");
    return cpValue;
}

// Looks the key of a reference up in the section, and where it has no value there in "[DEFAULT]".
// Returns the value, which lies in cpLine, or a null pointer.
static char* cpFollow(LOOKUP* pLookup, const char* cpSection, const char* cpKey, int iLevel,
                      char* cpLine)
{
    // References in a circle end here. Where they lead is missing, on all of the ways back too.
    if (iLevel > iMAX_LEVEL)
        pLookup->iLinesLeft = 0;
    char* cpValue = cpLookUp(pLookup, cpSection, cpKey, iLevel, cpLine);
    if ((cpValue == nullptr || cpValue[0] == '\0') && cpSection != szDEFAULT)
        cpValue = cpLookUp(pLookup, szDEFAULT, cpKey, iLevel, cpLine);
    return cpValue != nullptr && cpValue[0] != '\0' ? cpValue : nullptr;
}

// Replaces the first reference in cpValue, which lies in cpLine of iLINE_SIZE bytes, by the value
// of its key. Returns the new value, which lies in cpLine, or a null pointer: with the reason in
// cpMsg, but for a lack of memory.
static char* cpReplace(LOOKUP* pLookup, const char* cpSection, int iLevel, char* cpLine,
                       char* cpValue)
{
    unsigned int uiPreEnd = 0;
    unsigned int uiPostBegin = 0;
    char* cpKey = c_PARSE_FOR_PARENTHESES(cpValue, &uiPreEnd, &uiPostBegin);
    char* cpInnerLine = (char*)calloc(1, iLINE_SIZE); // a small stack holds the longest chain
    char* cpInner = nullptr;
    if (cpKey != nullptr && cpInnerLine != nullptr)
        cpInner = cpFollow(pLookup, cpSection, cpKey, iLevel + 1, cpInnerLine);
    if (cpInner != nullptr) {
        if (strlen(cpInner) >= pLookup->uiRoom)
            cpInner[pLookup->uiRoom - 1] = '\0';
        v_CUT_HEAD(cpInnerLine, (size_t)(cpInner - cpInnerLine));
        v_APPEND(cpInnerLine, iLINE_SIZE, cpValue + uiPostBegin);
        cpValue[uiPreEnd + 1] = '\0';
        v_CUT_HEAD(cpLine, (size_t)(cpValue - cpLine));
        v_APPEND(cpLine, iLINE_SIZE, cpInnerLine);
    }
    free(cpKey);
    free(cpInnerLine);
    return cpInner != nullptr ? cpLine : nullptr;
}

int i_GetPrivateProfileString(const char* cpFilename, const char* cpSection, const char* cpKey,
                              char* cpValue, int iLengthValue, char* cpMsg, int iLengthMsg)
{
    char szLine[iLINE_SIZE];
    const size_t uiRoom = iLengthValue > 0 ? (size_t)iLengthValue : 0;
    LOOKUP strLookup = {cpFilename, uiRoom > 0 ? uiRoom : 1, cpMsg,
                        iLengthMsg > 0 ? (size_t)iLengthMsg : 0, iMAX_LINES};
    const char* cpFound = cpLookUp(&strLookup, cpSection, cpKey, 0, szLine);
    if (cpFound == nullptr)
        return 0;
    v_COPY(cpValue, uiRoom, cpFound);
    if (cpFound[0] == '\0')
        return 0;
    v_COPY(cpMsg, strLookup.uiLengthMsg, "");
    return 1;
}
