// The description of a library and its state: one text format, one reader, one writer. The writer
// repeats the lines and replaces the values that change, so that a state file stays as readable as
// the description it came from.
#include "keys.h"

#include <string.h>

// The text of the library, line by line: a key and its value, or a section header, a comment or an
// empty line without a value.
static struct {
    char *cpKey, *cpValue;
} gLines[LINE_MAX];
static int giLines;

// The next value of a key in a section, from line *ipLine on, which moves behind it; null at the
// end of the section.
const char* cpNextValue(int* ipLine, const char* cpKey)
{
    for (int i = *ipLine; i < giLines && gLines[i].cpKey[0] != '['; i++) {
        if (gLines[i].cpValue && strcmp(gLines[i].cpKey, cpKey) == 0) {
            *ipLine = i + 1;
            return gLines[i].cpValue;
        }
    }
    return nullptr;
}

// Begins a section whose lines start at iLine; returns where its values go, null when it cannot.
static char* cpBegin(const KEY* pKeys, int iLine)
{
    if (pKeys == gLibraryKeys)
        return (char*)&gLib;
    if (pKeys == gDeviceKeys && gLib.iDevices == DEVICE_MAX)
        iRefuse("more than %d devices", DEVICE_MAX);
    else if (pKeys == gDeviceKeys) {
        DEVICE* pDev = &gLib.device[gLib.iDevices++];
        *pDev = {};
        pDev->iLine = iLine;
        return cpNew(pKeys, pDev);
    }
    if (pKeys == gCartridgeKeys && gLib.iCartridges == CARTRIDGE_MAX)
        iRefuse("more than %d cartridges", CARTRIDGE_MAX);
    else if (pKeys == gCartridgeKeys) {
        CARTRIDGE* pCart = &gLib.cartridge[gLib.iCartridges++];
        *pCart = {};
        pCart->iLine = iLine;
        return cpNew(pKeys, pCart);
    }
    return nullptr;
}

// Reads a description or a state into gLib; the text is cut up and stays in use. A mistake ends
// the process with the name of the file and the line.
void vParse(char* cpText, const char* cpName)
{
    const KEY *pKeys = nullptr, *pKey;
    char *cpObject = nullptr, *cpLine, *cpEqual;
    int iGood = 1;
    gLib.iDevices = gLib.iElements = gLib.iCartridges = 0;
    cpNew(gLibraryKeys, &gLib);
    for (giLines = 0; giLines < LINE_MAX; giLines++) {
        cpLine = cpTakeLine(&cpText);
        if (!cpLine)
            return;
        gLines[giLines] = {cpLine, nullptr};
        if (*cpLine == '[') {
            pKeys = pSectionKeys(cpLine);
            cpObject = cpBegin(pKeys, giLines + 1);
            iGood = cpObject != nullptr;
        } else if (*cpLine && *cpLine != '#') {
            cpEqual = strchr(cpLine, '=');
            gLines[giLines].cpValue = cpEqual ? cpTrim(cpEqual + 1) : cpLine + strlen(cpLine);
            if (cpEqual)
                *cpEqual = 0;
            pKey = pFindKey(pKeys, cpTrim(cpLine));
            iGood = pKey && cpObject && cpEqual && iStore(pKey, cpObject, gLines[giLines].cpValue);
        }
        if (!iGood)
            vFatal("%s:%d: %s: %s %s", cpName, giLines + 1,
                   *gszReason ? gszReason : "not understood", cpLine,
                   gLines[giLines].cpValue ? gLines[giLines].cpValue : "");
    }
    vFatal("%s: more than %d lines", cpName, LINE_MAX);
}

// How many bytes from iAt on can stand between quotes.
static int iTextRun(const BYTES* pBytes, int iAt)
{
    int i = iAt;
    while (i < pBytes->iLen && pBytes->c[i] >= ' ' && pBytes->c[i] < 127 && pBytes->c[i] != '"')
        i++;
    return i - iAt;
}

// Data as iData reads it: longer texts in quotes, anything else in hexadecimal.
static void vAddBytes(OUT* pOut, const BYTES* pBytes)
{
    for (int i = 0; i < pBytes->iLen;) {
        int iRun = iTextRun(pBytes, i);
        if (iRun >= 4)
            vAdd(pOut, " \"%.*s\" ", iRun, (const char*)pBytes->c + i);
        else
            vAdd(pOut, "%02x", pBytes->c[i]);
        i += iRun >= 4 ? iRun : 1;
    }
}

// The values of an object that change, as far as they are not what a new object has.
static void vAddSaved(OUT* pOut, const KEY* pKeys, const void* vpObject)
{
    for (const KEY* p = pKeys; p->cpName; p++) {
        const void* vp = (const char*)vpObject + p->uiOffset;
        int iValue = *(const int*)vp; // of bytes, their count
        if (!p->iSaved || iValue == p->iDefault)
            continue;
        vAdd(pOut, "%s = ", p->cpName);
        if (p->iKind == K_BYTES)
            vAddBytes(pOut, (const BYTES*)vp);
        else if (iValue == -1 || p->iLimit == 1)
            vAdd(pOut, iValue == -1 ? "none" : iValue ? "yes" : "no");
        else
            vAdd(pOut, "%d", iValue);
        vAdd(pOut, "\n");
    }
}

// Writes the lines that gLib was read from, with the values that gLib has now.
void vWriteState(OUT* pOut)
{
    const KEY* pKeys = nullptr;
    int iDevice = 0, iCartridge = 0;
    for (int i = 0; i < giLines; i++) {
        const char *cpKey = gLines[i].cpKey, *cpValue = gLines[i].cpValue;
        if (!cpValue)
            vAdd(pOut, "%s\n", cpKey);
        else if (!pFindKey(pKeys, cpKey)->iSaved)
            vAdd(pOut, "%s = %s\n", cpKey, cpValue);
        if (*cpKey != '[')
            continue;
        pKeys = pSectionKeys(cpKey);
        if (pKeys == gDeviceKeys)
            vAddSaved(pOut, pKeys, &gLib.device[iDevice++]);
        else if (pKeys == gCartridgeKeys)
            vAddSaved(pOut, pKeys, &gLib.cartridge[iCartridge++]);
    }
}
