// The trace log: one text file per module, switched on and given a level in debug.ini. Stands on
// the configuration and the protocol log (cm_kernel) and on the helpers.
#include "cm_trace.h"

#include "cm_common.h"
#include "cm_file.h"
#include "cm_kernel.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

str_log strLocalLog;

// Nesting depth of "+" and "-" lines, shared by all records of the process.
static int iIndex;

// Reports that the directory key cpKey, which cpWho needs, is not configured.
static void vReportMissingKey(const char* cpWho, const char* cpKey)
{
    static const char szEnglish[] = "E003-BASICS  %s > %s not yet existing - please restart TARVO.";
    char szText[64];
    PROT(c_IN_LANGUAGE(szEnglish, "E003-BASICS  %s > %s existiert noch nicht - Neustart",
                       "E003-BASICS  %s > %s gibds no nedd - Neistart", szEnglish),
         cpWho, cpKey);
    v_JOIN(szText, sizeof(szText), "FATAL: SET_LOG_MAIN: ", cpKey, " not set");
    fputs(szText, stderr);
}

// Cuts the last character of cpLine, whatever it is. Lines of debug.ini and of copied files end in
// a line feed; a piece of a longer line loses a character here.
static void vCutLastCharacter(char* cpLine)
{
    const size_t uiLength = strlen(cpLine);
    if (uiLength > 0)
        cpLine[uiLength - 1] = '\0';
}

int log_check(const char* cpInput)
{
    char szModule[50];
    char szDirectory[256];
    char szMsg[256];
    char szDebugFile[128];
    char szSearch[56];
    char szLine[256];
    char cBuffer[iTEXT_BUFFER_SIZE];
    int iLevel = 0;
    v_COPY(szModule, sizeof(szModule), cpInput);
    v_JOIN(szSearch, sizeof(szSearch), uppercase(szModule), "=", "");
    if (i_READ_INI("KQ_INI", "[Pathes]", "gv_rw_ini", szDirectory, sizeof(szDirectory), szMsg,
                   sizeof(szMsg)) != 1)
        vReportMissingKey("LOG_CHECK", "gv_rw_ini");
    v_JOIN(szDebugFile, sizeof(szDebugFile), szDirectory, "debug.ini", "");
    FILE* fpDebug = fpOpenText(szDebugFile, cBuffer);
    if (fpDebug == nullptr)
        return 0;
    while (fgets(szLine, sizeof(szLine) - 1, fpDebug) != nullptr) {
        if (!b_STARTS_WITH(szLine, szSearch))
            continue;
        vCutLastCharacter(szLine);
        const char* cpEqual = strchr(szLine, '=');
        iLevel = cpEqual != nullptr ? i_DECIMAL(cpEqual + 1) : 0;
        break;
    }
    fclose(fpDebug);
    return iLevel;
}

int get_parent_info(char* cpInfo, int iLength)
{
    char szCommand[128];
    char szLine[512] = "";
    const size_t uiLength = iLength > 0 ? (size_t)iLength : 0;
    const int iParent = getppid();
    v_COPY(cpInfo, uiLength, "");
    snprintf(szCommand, sizeof(szCommand), "%s | tr -s ' ' | grep -v grep | grep -w %d",
             "ps -e -A -o pid,command", iParent);
    FILE* fpPipe = popen(szCommand, "r");
    if (fpPipe == nullptr) {
        static const char szEnglish[] = "E008-BASICS  Error in command execution %s: %s";
        const int iErrno = errno;
        fprintf(stderr, "popen failed for %s\n", szCommand);
        PROT(c_IN_LANGUAGE(szEnglish, "E008-BASICS  Fehler bei Kommandoausführung %s: %s",
                           "E008-BASICS  Fehla bei da Kommandoausführung %s: %s", szEnglish),
             szCommand, strerror(iErrno));
        return 0;
    }
    const bool bLine = fgets(szLine, sizeof(szLine) - 1, fpPipe) != nullptr;
    pclose(fpPipe);
    if (!bLine)
        return 1;
    vCutLastCharacter(szLine);
    // The process id and its column's blank, squeezed by the pipeline.
    const size_t uiSkip = 6;
    snprintf(cpInfo, uiLength, "%s (PPID=%d)", strlen(szLine) > uiSkip ? szLine + uiSkip : "",
             iParent);
    return 1;
}

// The level of the module has just been read: announces the log once per process and reads whether
// lines are echoed.
static void vStartLogging(const char* cpKeyDebug, str_log* strLog)
{
    static bool iLogEnabledMsg;
    strLog->szIns[0] = '\0';
    if (!iLogEnabledMsg) {
        char szParent[512];
        get_parent_info(szParent, sizeof(szParent));
        WRITE_TRACE(strLog,
                    "Logging enabled for module %s: Loglevel %d, PID=%d, parent process: %s",
                    cpKeyDebug, strLog->iFlg, getpid(), szParent);
        iLogEnabledMsg = true;
    }
    strLog->iVerify = log_check("STDERR");
}

void v_set_log_main(const char* cpKeyFile, const char* cpKeyDebug, str_log* strLog)
{
    static bool iLogLocalInitialized;
    char szAux[512];
    char szMsg[1024];
    if (i_READ_INI("KQ_INI", "[Pathes]", "gv_rw_lgc", szAux, sizeof(szAux), szMsg, sizeof(szMsg)) ==
        1) {
        strLog->iFlg = 0;
        strLog->iVerify = 0;
        v_JOIN(strLog->szFile, sizeof(strLog->szFile),
               strstr(cpKeyFile, szAux) != nullptr ? "" : szAux, cpKeyFile, "");
        strLog->iFlg = log_check(cpKeyDebug);
        if (strLog->iFlg != 0)
            vStartLogging(cpKeyDebug, strLog);
        if (!iLogLocalInitialized) {
            strLocalLog = *strLog;
            iLogLocalInitialized = true;
        }
    } else {
        vReportMissingKey("SET_LOG_MAIN", "gv_rw_lgc");
    }
    if (i_READ_INI("KQ_INI", "[SETUP]", "lang", szAux, sizeof(szAux), szMsg, sizeof(szMsg)) == 1) {
        TRACE_ABOVE(strLog, 1, "set language to %s", szAux);
        eLang = eLanguageOf(szAux);
    } else {
        WRITE_TRACE(strLog, "didn't find key lang in kq.ini > set language to en");
        eLang = LANG_EN;
    }
}

// One line that is copied: puts its four parts one behind the other and writes them to fpTo at
// once.
static void vPutCopied(FILE* fpTo, const char* cpStamp, const char* cpIndent, const char* cpBlanks,
                       const char* cpPiece)
{
    char szLine[512];
    v_JOIN(szLine, sizeof(szLine), cpStamp, cpIndent, cpBlanks);
    v_APPEND(szLine, sizeof(szLine) - 1, cpPiece);
    v_APPEND(szLine, sizeof(szLine), "\n");
    fwrite(szLine, 1, strlen(szLine), fpTo);
}

// Copies the file cpSource into the trace file fpTrace, each line behind cpStamp ("HH:MM:SS#") and
// the indentation, and to standard error when the record asks for it.
static void vCopyFile(const str_log* strLog, FILE* fpTrace, const char* cpStamp,
                      const char* cpSource)
{
    char szPath[256];
    char szPiece[256];
    char szMissing[300];
    char cBuffer[iTEXT_BUFFER_SIZE];
    v_COPY(szPath, sizeof(szPath), cpSource);
    FILE* fpSource = fpOpenText(szPath, cBuffer);
    if (fpSource == nullptr) {
        v_JOIN(szMissing, sizeof(szMissing), "File ", szPath, " not found");
        vPutCopied(fpTrace, cpStamp, "", "   ", szMissing);
        if (strLog->iVerify != 0)
            vPutCopied(stderr, cpStamp, "", " ", szMissing);
        return;
    }
    while (fgets(szPiece, sizeof(szPiece) - 1, fpSource) != nullptr) {
        vCutLastCharacter(szPiece);
        vPutCopied(fpTrace, cpStamp, strLog->szIns, "    ", szPiece);
        if (strLog->iVerify != 0)
            vPutCopied(stderr, cpStamp, strLog->szIns, " ", szPiece);
    }
    fclose(fpSource);
}

// Writes the line to standard error when the record asks for it, and appends it, or the file
// cpCopied in its place, to the trace file.
static void vPutLine(const str_log* strLog, const char* cpStamp, const char* cpLine,
                     size_t uiLength, const char* cpCopied)
{
    if (strLog->iVerify != 0)
        fwrite(cpLine, 1, uiLength, stderr);
    FILE* fpTrace = fpOpenLog(strLog->szFile);
    if (fpTrace == nullptr)
        return;
    if (cpCopied != nullptr)
        vCopyFile(strLog, fpTrace, cpStamp, cpCopied);
    else
        fwrite(cpLine, 1, uiLength, fpTrace);
    fclose(fpTrace);
}

// Puts a number below 100, padded with cPad to two digits, and cBehind into cpTo. With snprintf the
// stamp is a third of the work on a line.
static void vTwoDigits(char* cpTo, int iNumber, char cPad, char cBehind)
{
    cpTo[0] = iNumber < 10 ? cPad : (char)('0' + iNumber / 10);
    cpTo[1] = (char)('0' + iNumber % 10);
    cpTo[2] = cBehind;
}

// Puts the time of day, "HH:MM:SS#", into szStamp; zeros when the clock shows a time that has no
// date.
static void vStamp(char (&szStamp)[10])
{
    const time_t tNow = time(nullptr);
    const struct tm tmNone = {};
    const struct tm* pNow = localtime(&tNow);
    if (pNow == nullptr)
        pNow = &tmNone;
    vTwoDigits(szStamp, pNow->tm_hour, ' ', ':');
    vTwoDigits(szStamp + 3, pNow->tm_min, '0', ':');
    vTwoDigits(szStamp + 6, pNow->tm_sec, '0', '#');
    szStamp[9] = '\0';
}

// The format is put together from the time stamp, the indentation and the caller's, which was
// checked where WRITE_TRACE is called.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

// Puts the line together and writes it. However long it is, it ends in a line feed: the next one
// would be taken for a part of it.
static void vWriteLine(const str_log* strLog, const char* cpFormat, va_list vaArguments)
{
    char szStamp[10];
    char szFormat[1024];
    char szOrdinary[2048] = "";
    char* cpLong = nullptr;
    va_list vaFirst;
    if (strLog->iVerify == 0 && strLog->szFile[0] == '\0')
        return; // no log is configured: the line has nowhere to go
    vStamp(szStamp);
    v_JOIN(szFormat, sizeof(szFormat), szStamp, strLog->szIns, " ");
    v_APPEND(szFormat, sizeof(szFormat) - 1, cpFormat);
    v_APPEND(szFormat, sizeof(szFormat), "\n");
    va_copy(vaFirst, vaArguments);
    int iLength = vsnprintf(szOrdinary, sizeof(szOrdinary), szFormat, vaFirst);
    va_end(vaFirst);
    if (iLength >= (int)sizeof(szOrdinary) && (cpLong = (char*)calloc(1, (size_t)iLength + 1))) {
        va_copy(vaFirst, vaArguments);
        vsnprintf(cpLong, (size_t)iLength + 1, szFormat, vaFirst);
        va_end(vaFirst);
    } else if (iLength < 0 || iLength >= (int)sizeof(szOrdinary)) {
        // What could be put together of it, when there is no memory or it cannot be expanded.
        szOrdinary[sizeof(szOrdinary) - 2] = '\0';
        v_APPEND(szOrdinary, sizeof(szOrdinary), "\n");
        iLength = (int)strlen(szOrdinary);
    }
    // The length is not that of the text where a "%c" has put a NUL inside.
    vPutLine(strLog, szStamp, cpLong != nullptr ? cpLong : szOrdinary, (size_t)iLength,
             strcmp(cpFormat, "COPY_FILE") == 0 ? va_arg(vaArguments, const char*) : nullptr);
    free(cpLong);
}

#pragma GCC diagnostic pop

// The two bounds differ on purpose: indentation stops growing at depth 15 and shrinks from there.
static const int iGROW_LIMIT = 14;
static const int iSHRINK_LIMIT = 15;

void WRITE_TRACE(str_log* strLog, const char* cpFormat, ...)
{
    const int iErrno = errno;
    va_list vaArguments;
    if (cpFormat[0] == '-') {
        const size_t uiLength = strlen(strLog->szIns);
        if (iIndex <= iSHRINK_LIMIT)
            strLog->szIns[uiLength >= 2 ? uiLength - 2 : 0] = '\0';
        if (iIndex > 0)
            iIndex--;
    }
    va_start(vaArguments, cpFormat);
    vWriteLine(strLog, cpFormat, vaArguments);
    va_end(vaArguments);
    if (cpFormat[0] == '+') {
        if (iIndex <= iGROW_LIMIT)
            v_APPEND(strLog->szIns, sizeof(strLog->szIns), "  ");
        iIndex++;
    }
    errno = iErrno;
}
