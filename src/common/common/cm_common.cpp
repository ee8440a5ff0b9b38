// The look-up of one key in an INI-style text file. Stands on the reader of a section and, for
// references between keys, on what follows them.
#include "cm_common.h"

#include "cm_ini_reference.h"

#include <string.h>

int i_GetPrivateProfileString(const char* cpFilename, const char* cpSection, const char* cpKey,
                              char* cpValue, int iLengthValue, char* cpMsg, int iLengthMsg)
{
    INI_SECTION strSection;
    REQUEST strRequest;
    strRequest.iLengthValue = iLengthValue;
    strRequest.cpMsg = cpMsg;
    strRequest.uiLengthMsg = iLengthMsg > 0 ? (size_t)iLengthMsg : 0;
    v_COPY(cpMsg, strRequest.uiLengthMsg, "");
    vOpenSection(&strSection, cpFilename, cpSection);
    const char* cpLine = cpFindKey(&strSection, cpKey);
    vCloseSection(&strSection);
    if (cpLine == nullptr) {
        vExplainSearch(strSection.eSearch, cpFilename, cpSection, cpKey, cpMsg,
                       strRequest.uiLengthMsg);
        return 0;
    }
    v_COPY(strRequest.szValue, sizeof(strRequest.szValue), strchr(cpLine, '=') + 1);
    vCutTrailingBlanks(strRequest.szValue);
    const OUTCOME eOutcome = bHasReference(strRequest.szValue)
                                 ? eResolve(cpFilename, cpSection, cpKey, &strRequest)
                                 : eJudgeValue(&strRequest);
    if (eOutcome == OUTCOME_FOUND || eOutcome == OUTCOME_EMPTY)
        v_COPY(cpValue, iLengthValue > 0 ? (size_t)iLengthValue : 0, strRequest.szValue);
    if (eOutcome == OUTCOME_FOUND)
        v_COPY(cpMsg, strRequest.uiLengthMsg, "");
    return eOutcome == OUTCOME_FOUND;
}
