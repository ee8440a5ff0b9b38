// The lines of one section of an INI-style text file. Stands on the helpers for strings and files.
#include "cm_ini_section.h"

#include "cm_text.h"

#include <string.h>

void vOpenSection(INI_SECTION* pSection, const char* cpFilename, const char* cpSection)
{
    pSection->cpFilename = cpFilename;
    pSection->cpSection = cpSection;
    pSection->fpIni = cpFilename != nullptr ? fpOpenText(cpFilename, pSection->cBuffer) : nullptr;
    if (pSection->fpIni == nullptr)
        pSection->eSearch = SEARCH_NO_FILE;
    else
        pSection->eSearch = cpSection != nullptr ? SEARCH_NO_SECTION : SEARCH_END_OF_FILE;
}

void vCloseSection(INI_SECTION* pSection)
{
    if (pSection->fpIni != nullptr)
        fclose(pSection->fpIni);
}

// Most lines are not the wanted one: nothing is done to them here.
char* cpNextLine(INI_SECTION* pSection)
{
    char* cpLine = pSection->szLine;
    const char* cpHeader = pSection->cpSection;
    if (pSection->eSearch == SEARCH_NO_FILE)
        return nullptr;
    const size_t uiHeader = cpHeader != nullptr ? strlen(cpHeader) : 0;
    while (fgets(cpLine, sizeof(pSection->szLine), pSection->fpIni) != nullptr) {
        if (pSection->eSearch == SEARCH_NO_SECTION) {
            if (b_STARTS_FOLDED(cpLine, cpHeader, uiHeader) && i_REMOVE_COMMENT(cpLine))
                pSection->eSearch = SEARCH_END_OF_FILE;
        } else if (cpHeader != nullptr && cpLine[0] == '[') {
            pSection->eSearch = SEARCH_NEXT_SECTION;
            return nullptr;
        } else {
            return cpLine;
        }
    }
    return nullptr;
}

char* cpFindKey(INI_SECTION* pSection, const char* cpKey)
{
    const size_t uiKey = strlen(cpKey);
    char* cpLine;
    while ((cpLine = cpNextLine(pSection)) != nullptr) {
        if (b_IS_KEY_LINE(cpLine, cpKey, uiKey) && i_REMOVE_COMMENT(cpLine))
            break;
    }
    return cpLine;
}

void vCutTrailingBlanks(char* cpText)
{
    for (size_t uiLength = strlen(cpText); uiLength > 0; uiLength--) {
        if (cpText[uiLength - 1] != ' ') {
            cpText[uiLength] = '\0';
            return;
        }
    }
}

void vExplainSearch(SEARCH eSearch, const char* cpFilename, const char* cpSection,
                    const char* cpKey, char* cpMsg, size_t uiLengthMsg)
{
    char szSection[64];
    switch (eSearch) {
    case SEARCH_NO_FILE:
        v_JOIN(cpMsg, uiLengthMsg, "i_GetPrivateProfileString: FILE NOT FOUND OR ACCESS PROBLEM",
               cpFilename != nullptr ? ": " : "", cpFilename != nullptr ? cpFilename : "");
        v_APPEND(cpMsg, uiLengthMsg, ".");
        break;
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
    }
}
