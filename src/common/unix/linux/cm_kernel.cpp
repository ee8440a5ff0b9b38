// Access to the product's main configuration by key, resolution of symbolic paths, the protocol
// log, and the text splitting that it is made of. Stands on the configuration roots
// and the store of global variables (cm_hal_unix) and on the reader of INI files.
#include "cm_kernel.h"

#include "cm_common.h"
#include "cm_file.h"
#include "cm_hal_unix.h"
#include "cm_time.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

int i_READ_INI(const char* cpIdentifier, const char* cpSection, const char* cpKey, char* cpValue,
               int iLengthValue, char* cpMsg, int iLengthMsg)
{
    char szReturnValue[1024]; // the path of the file, which makes room for the value
    char szTmp[256];
    const size_t uiLengthValue = iLengthValue > 0 ? (size_t)iLengthValue : 0;
    v_COPY(cpValue, uiLengthValue, "");
    if (cpIdentifier == nullptr || cpIdentifier[0] == '\0')
        cpIdentifier = "KQ_INI";
    const char* cpReason = cpIdentifier;
    if (i_GET_ROOT_FOR_INI(cpIdentifier, szReturnValue, sizeof(szReturnValue), cpMsg, iLengthMsg) ==
        1) {
        if (i_GetPrivateProfileString(szReturnValue, cpSection, cpKey, szReturnValue,
                                      sizeof(szReturnValue), szTmp, sizeof(szTmp)) == 1) {
            v_COPY(cpValue, uiLengthValue, szReturnValue);
            return 1;
        }
        cpReason = szTmp;
    }
    v_JOIN(cpMsg, iLengthMsg > 0 ? (size_t)iLengthMsg : 0, "i_READ_INI: ", cpReason, "");
    return 0;
}

int resolve_path(char* cpOrigPath, int iLength)
{
    char szOrigPath[1024];
    char szAux[1024];
    char szMsg[256];
    v_COPY(szOrigPath, sizeof(szOrigPath), cpOrigPath);
    char* cpColon = strchr(szOrigPath, ':');
    const char* cpFileName = "";
    if (cpColon != nullptr) {
        *cpColon = '\0';
        cpFileName = cpColon + 1;
    }
    if (i_READ_INI("KQ_INI", "[Pathes]", szOrigPath, szAux, sizeof(szAux), szMsg, sizeof(szMsg)) ==
        1) {
        const size_t uiLength = iLength > 0 ? (size_t)iLength : 0;
        v_COPY(cpOrigPath, uiLength, szAux);
        v_APPEND(cpOrigPath, uiLength, cpFileName);
    }
    return 1;
}

// Position of the text in a protocol format, behind the tag and one blank.
static const size_t uiTAG_SIZE = 12;
static const size_t uiTEXT_START = 13;

// Room for an expanded message with its NUL.
static const int iOUTPUT_SIZE = 5120;

// One message on its way into the protocol file, which is open without a buffer: each line goes out
// with one write, because other programs append to the same file.
struct PROT_MESSAGE {
    FILE* fpProt;
    char szTime[iTIME_SIZE];
    char szPrefix[20];
    int iPid;
};

// Says on standard error and in the protocol that a text of iNeeded characters was cut to fit a
// buffer of iSize bytes.
static void vReportShortened(const PROT_MESSAGE* pMessage, int iSize, int iNeeded)
{
    char szLine[256];
    snprintf(szLine, sizeof(szLine),
             "%s %s[%6d]: Error: The following output was shortened (%d <> %d)\n", pMessage->szTime,
             "E999-BASICS ", pMessage->iPid, iSize, iNeeded);
    fputs(szLine, stderr);
    fputs(szLine, pMessage->fpProt);
}

// Reports a format whose tag holds a conversion or which is too short to hold a text.
static void vCheckFormat(const PROT_MESSAGE* pMessage, const char* cpFormat)
{
    const char* cpPercent = strchr(cpFormat, '%');
    if (cpPercent != nullptr && cpPercent >= cpFormat + uiTAG_SIZE)
        cpPercent = nullptr;
    char szWhat[128]; // a tag holds 12 characters, a format that is too short as many
    char szLine[256];
    if (cpPercent != nullptr)
        snprintf(szWhat, sizeof(szWhat), "prefix with format argument '%.2s': >%s<\n", cpPercent,
                 pMessage->szPrefix);
    else if (strlen(cpFormat) < uiTEXT_START)
        snprintf(szWhat, sizeof(szWhat), "format tag is too short: >%s< (%d < %d)\n", cpFormat,
                 (int)strlen(cpFormat), (int)uiTEXT_START);
    else
        return;
    fprintf(stderr, "PROT: WARNING: %s%s", cpPercent != nullptr ? "invalid usage of PROT: " : "",
            szWhat);
    snprintf(szLine, sizeof(szLine), "%s W999-BASICS [%6d]: Invalid usage of PROT: %s",
             pMessage->szTime, pMessage->iPid, szWhat);
    fputs(szLine, pMessage->fpProt);
}

// Writes cpText line by line. The first line holds its heading already, the others get one.
static void vWriteLines(const PROT_MESSAGE* pMessage, const char* cpText)
{
    char szHeading[64] = "";
    char szLine[iOUTPUT_SIZE + sizeof(szHeading)];
    const char* cpLine = cm_strtok(cpText, '\n');
    while (cpLine != nullptr) {
        v_JOIN(szLine, sizeof(szLine), szHeading, cpLine, "\n");
        fputs(szLine, pMessage->fpProt);
        snprintf(szHeading, sizeof(szHeading), "%s %s[%6d]: ", pMessage->szTime, pMessage->szPrefix,
                 pMessage->iPid);
        cpLine = cm_strtok(nullptr, '\n');
    }
}

// Fills in the name of the protocol file. Returns 0, after a line on standard error, when the
// product has none, otherwise 1.
static int iProtocolFile(char (&fn)[iGLBV_VALUE_SIZE])
{
    char szName[sizeof(szPROT_VARIABLE)];
    v_COPY(szName, sizeof(szName), szPROT_VARIABLE);
    if (glbv('r', szName, fn)[0] != '?')
        return 1;
    fputs("\nNo gv_prot defined! kq_start_all necessary!\n", stderr);
    return 0;
}

// The format is put together from the caller's, so that conversions in the tag take their arguments
// in order; its parts were checked where PROT is called.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

static void vExpandMessage(const PROT_MESSAGE* pMessage, const char* cpFormat, va_list vaArguments)
{
    char szFormat[2560];
    char szOutput[iOUTPUT_SIZE] = "";
    const char* cpText = strlen(cpFormat) < uiTEXT_START ? "" : cpFormat + uiTEXT_START;
    int iNeeded = snprintf(szFormat, sizeof(szFormat), "%s %s[%6d]: %s", pMessage->szTime,
                           pMessage->szPrefix, pMessage->iPid, cpText);
    if (iNeeded < 0 || iNeeded >= (int)sizeof(szFormat))
        vReportShortened(pMessage, sizeof(szFormat), iNeeded);
    iNeeded = vsnprintf(szOutput, sizeof(szOutput), szFormat, vaArguments);
    if (iNeeded < 0 || iNeeded >= (int)sizeof(szOutput))
        vReportShortened(pMessage, sizeof(szOutput), iNeeded);
    vWriteLines(pMessage, szOutput);
}

#pragma GCC diagnostic pop

void PROT(const char* cpFormat, ...)
{
    char fn[iGLBV_VALUE_SIZE] = "";
    PROT_MESSAGE strMessage = {nullptr, ".", "", getpid()}; // ".": the time as it is
    if (iProtocolFile(fn) && (strMessage.fpProt = fpOpenLog(fn)) != nullptr) {
        va_list vaArguments;
        time_get(strMessage.szTime)[19] = '\0';
        v_COPY(strMessage.szPrefix, uiTAG_SIZE + 1, cpFormat);
        vCheckFormat(&strMessage, cpFormat);
        va_start(vaArguments, cpFormat);
        vExpandMessage(&strMessage, cpFormat, vaArguments);
        va_end(vaArguments);
        fclose(strMessage.fpProt);
    }
}

char* cm_strtok(const char* cpInstring, char cDelim)
{
    static char szCopy[8192];
    static size_t uiLength;
    static size_t uiPosition;
    if (cpInstring != nullptr) {
        const int iMax = (int)sizeof(szCopy) - 1;
        if (strlen(cpInstring) > sizeof(szCopy) - 1)
            fprintf(stderr,
                    "string shortend to %d chars bcs. of string overflow: strlen(%s) > %d\n", iMax,
                    cpInstring, iMax);
        v_COPY(szCopy, sizeof(szCopy), cpInstring);
        uiLength = strlen(szCopy);
        uiPosition = 0;
        for (size_t i = 0; i < uiLength; i++) {
            if (szCopy[i] == cDelim)
                szCopy[i] = '\0';
        }
        return szCopy;
    }
    uiPosition += strlen(szCopy + uiPosition) + 1;
    if (uiPosition > uiLength) {
        uiPosition = uiLength;
        return nullptr;
    }
    return szCopy + uiPosition;
}
