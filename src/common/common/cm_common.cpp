// The look-up of one key in an INI-style text file. Stands on the reader of a section and, for
// references between keys, on what follows them.
#include "cm_common.h"

#include "cm_ini_reference.h"

#include <string.h>

// Hands cpFound out as the value. Returns 1, or 0 with the reason in cpMsg when it is empty.
static int iDeliver(const char* cpFound, char* cpValue, int iLengthValue, char* cpMsg,
                    size_t uiLengthMsg)
{
    v_COPY(cpValue, iLengthValue > 0 ? (size_t)iLengthValue : 0, cpFound);
    if (cpFound[0] == '\0') {
        v_COPY(cpMsg, uiLengthMsg, "i_GetPrivateProfileString: KEY VALUE NOT FOUND.");
        return 0;
    }
    v_COPY(cpMsg, uiLengthMsg, "");
    return 1;
}

int i_GetPrivateProfileString(const char* cpFilename, const char* cpSection, const char* cpKey,
                              char* cpValue, int iLengthValue, char* cpMsg, int iLengthMsg)
{
    INI_SECTION strSection;
    REQUEST strRequest;
    const size_t uiLengthMsg = iLengthMsg > 0 ? (size_t)iLengthMsg : 0;
    vOpenSection(&strSection, cpFilename, cpSection);
    const bool bFound = cpFindKey(&strSection, cpKey) != nullptr;
    vCloseSection(&strSection);
    if (!bFound) {
        vExplainSearch(strSection.eSearch, cpFilename, cpSection, cpKey, cpMsg, uiLengthMsg);
        return 0;
    }
    char* cpFound = strchr(strSection.szLine, '=') + 1;
    vCutTrailingBlanks(cpFound);
    if (!bHasReference(cpFound))
        return iDeliver(cpFound, cpValue, iLengthValue, cpMsg, uiLengthMsg);
    strRequest.iLengthValue = iLengthValue;
    strRequest.cpMsg = cpMsg;
    strRequest.uiLengthMsg = uiLengthMsg;
    v_COPY(cpMsg, uiLengthMsg, "");
    const OUTCOME eOutcome = eResolve(cpFilename, cpSection, cpKey, cpFound, &strRequest);
    if (eOutcome != OUTCOME_FOUND && eOutcome != OUTCOME_EMPTY)
        return 0;
    return iDeliver(strRequest.szValue, cpValue, iLengthValue, cpMsg, uiLengthMsg);
}
