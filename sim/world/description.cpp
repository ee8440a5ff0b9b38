// The description of a library and its state: one text format. The writer repeats the lines and
// replaces the values that change, so that a state file stays as readable as the description it
// came from.
#include "keys.h"
#include "media.h"
#include "state.h"

#include <string.h>

// The text of the library, line by line: a key and its value, or a section header, a comment or an
// empty line without a value.
struct TEXT_LINE {
    char* cpKey;
    const char* cpValue;
};
static const int iLINE_MAX = 1 << 19;
static TEXT_LINE gstrLines[iLINE_MAX];
static int giLines;

const char* cpNextValue(int* ipLine, const char* cpKey)
{
    for (int i = *ipLine; i < giLines && gstrLines[i].cpKey[0] != '['; i++) {
        if (gstrLines[i].cpValue != nullptr && strcmp(gstrLines[i].cpKey, cpKey) == 0) {
            *ipLine = i + 1;
            return gstrLines[i].cpValue;
        }
    }
    return nullptr;
}

// Begins an object whose lines start at iLine; returns its index, -1 when it cannot.
static int iBegin(const KEY* pKeys, int iLine)
{
    int iIndex = -1;
    if (pKeys == gstrLibraryKeys) {
        return 0;
    } else if (pKeys == gstrDeviceKeys && gstrLib.iDevices == iDEVICE_MAX) {
        bRefuse("more than %d devices", iDEVICE_MAX);
    } else if (pKeys == gstrCartridgeKeys && gstrLib.iCartridges == iCARTRIDGE_MAX) {
        bRefuse("more than %d cartridges", iCARTRIDGE_MAX);
    } else if (pKeys == gstrDeviceKeys) {
        iIndex = gstrLib.iDevices++;
        gstrLib.strDevices[iIndex] = {};
        gstrLib.strDevices[iIndex].iLine = iLine;
        for (int i = 0; i < iELEMENT_TYPES; i++)
            gstrLib.strDevices[iIndex].eOrder[i] = (ELEMENT_TYPE)(ELEMENT_TRANSPORT + i);
        vNew(pKeys, iIndex);
    } else if (pKeys == gstrCartridgeKeys) {
        iIndex = gstrLib.iCartridges++;
        gstrLib.strCartridges[iIndex] = {};
        gstrLib.strCartridges[iIndex].iLine = iLine;
        vNew(pKeys, iIndex);
    }
    return iIndex;
}

// Cuts a line at its equal sign; without one the value is empty. Returns whether there is one.
static bool bCut(TEXT_LINE* pLine)
{
    char* cpEqual = strchr(pLine->cpKey, '=');
    pLine->cpValue = cpEqual != nullptr ? cpTrim(cpEqual + 1) : "";
    if (cpEqual != nullptr)
        *cpEqual = '\0';
    cpTrim(pLine->cpKey);
    return cpEqual != nullptr;
}

void vParse(char* cpText, const char* cpName)
{
    const KEY* pKeys = nullptr;
    int iObject = -1;
    vForgetAll();
    vNew(gstrLibraryKeys, 0);
    for (giLines = 0; giLines < iLINE_MAX; giLines++) {
        TEXT_LINE* pLine = &gstrLines[giLines];
        *pLine = {cpTakeLine(&cpText), nullptr};
        bool bGood = true;
        if (pLine->cpKey == nullptr)
            return;
        if (pLine->cpKey[0] == '[') {
            pKeys = pSectionKeys(pLine->cpKey);
            iObject = iBegin(pKeys, giLines + 1);
            bGood = iObject >= 0;
        } else if (pLine->cpKey[0] != '\0' && pLine->cpKey[0] != '#') {
            const bool bCutUp = bCut(pLine);
            const KEY* pKey = pFindKey(pKeys, pLine->cpKey);
            bGood =
                bCutUp && pKey != nullptr && iObject >= 0 && bStore(pKey, iObject, pLine->cpValue);
        }
        if (!bGood)
            vFatal("%s:%d: %s: %s %s", cpName, giLines + 1,
                   gszReason[0] != '\0' ? gszReason : "not understood", pLine->cpKey,
                   pLine->cpValue != nullptr ? pLine->cpValue : "");
    }
    vFatal("%s: more than %d lines", cpName, iLINE_MAX - 1);
}

// How many bytes from iAt on can stand between quotes.
static int iTextRun(const unsigned char* cp, int iLen, int iAt)
{
    int i = iAt;
    while (i < iLen && cp[i] >= ' ' && cp[i] < 127 && cp[i] != '"')
        i++;
    return i - iAt;
}

// Data as iData reads it: longer texts in quotes, anything else in hexadecimal.
static void vAddBytes(OUT* pOut, const unsigned char* cp, int iLen)
{
    for (int i = 0; i < iLen;) {
        const int iRun = iTextRun(cp, iLen, i);
        if (iRun >= 4)
            vAdd(pOut, " \"%.*s\" ", iRun, (const char*)cp + i);
        else
            vAdd(pOut, "%02x", cp[i]);
        i += iRun >= 4 ? iRun : 1;
    }
}

// What programs wrote on a medium.
static void vAddRecords(OUT* pOut, const KEY* pKey, int iOwner)
{
    const RECORD* p = nullptr;
    while ((p = pNextRecord((MEDIA_OWNER)pKey->iLimit, iOwner, p)) != nullptr) {
        vAdd(pOut, "%s = %d ", pKey->cpName, p->iAt);
        vAddBytes(pOut, p->cp, p->iLen);
        vAdd(pOut, "\n");
    }
}

// A value that changes, unless it is what a new object has.
static void vAddValue(OUT* pOut, const KEY* pKey, int iIndex)
{
    if (pKey->eKind == KEY_RECORD) {
        vAddRecords(pOut, pKey, iIndex);
    } else if (pKey->eKind == KEY_FLAG) {
        if (*pKey->strIn(iIndex).bp)
            vAdd(pOut, "%s = yes\n", pKey->cpName);
    } else if (pKey->eKind == KEY_BYTES) {
        const BYTES* pBytes = pKey->strIn(iIndex).pBytes;
        if (pBytes->iLen == 0)
            return;
        vAdd(pOut, "%s = ", pKey->cpName);
        vAddBytes(pOut, pBytes->c, pBytes->iLen);
        vAdd(pOut, "\n");
    } else {
        const int iValue = *pKey->strIn(iIndex).ip;
        if (iValue == -1 && iValue != pKey->iDefault)
            vAdd(pOut, "%s = none\n", pKey->cpName);
        else if (iValue != pKey->iDefault)
            vAdd(pOut, "%s = %d\n", pKey->cpName, iValue);
    }
}

// The values that change, of the iIndex-th object of a section.
static void vAddSaved(OUT* pOut, const KEY* pKeys, int iIndex)
{
    for (const KEY* p = pKeys; p->cpName != nullptr; p++) {
        if (p->bSaved)
            vAddValue(pOut, p, iIndex);
    }
}

void vWriteState(OUT* pOut)
{
    const KEY* pKeys = nullptr;
    int iDevice = 0;
    int iCartridge = 0;
    for (int i = 0; i < giLines; i++) {
        const TEXT_LINE* pLine = &gstrLines[i];
        if (pLine->cpValue == nullptr)
            vAdd(pOut, "%s\n", pLine->cpKey);
        else if (!pFindKey(pKeys, pLine->cpKey)->bSaved)
            vAdd(pOut, "%s = %s\n", pLine->cpKey, pLine->cpValue);
        if (pLine->cpKey[0] != '[')
            continue;
        pKeys = pSectionKeys(pLine->cpKey);
        if (pKeys == gstrDeviceKeys)
            vAddSaved(pOut, pKeys, iDevice++);
        else if (pKeys == gstrCartridgeKeys)
            vAddSaved(pOut, pKeys, iCartridge++);
    }
}
