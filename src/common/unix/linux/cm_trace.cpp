// The trace log: one text file per module, switched on and given a level in debug.ini.
#include "cm_trace.h"

#include "cm_common.h"
#include "cm_kernel.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

LANGUAGES eLang = LANG_EN;

// Nesting depth of "+" and "-" lines, shared by all records of the process.
static int iIndex;

const char* c_IN_LANGUAGE(const char* cpEnglish, const char* cpGerman, const char* cpBavarian,
                          const char* cpFrench)
{
    switch (eLang) {
    case LANG_DE:
        return cpGerman;
    case LANG_BA:
        return cpBavarian;
    case LANG_FR:
        return cpFrench;
    default:
        return cpEnglish;
    }
}

// Reports that the directory key cpKey, which cpWho needs, is not configured.
static void vReportMissingKey(const char* cpWho, const char* cpKey)
{
    static const char szEnglish[] = "E003-BASICS  %s > %s not yet existing - please restart TARVO.";
    PROT(c_IN_LANGUAGE(szEnglish, "E003-BASICS  %s > %s existiert noch nicht - Neustart",
                       "E003-BASICS  %s > %s gibds no nedd - Neistart", szEnglish),
         cpWho, cpKey);
    fprintf(stderr, "FATAL: SET_LOG_MAIN: %s not set", cpKey);
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
    int iLevel = 0;
    v_COPY(szModule, sizeof(szModule), cpInput);
    snprintf(szSearch, sizeof(szSearch), "%s=", uppercase(szModule));
    if (i_READ_INI("KQ_INI", "[Pathes]", "gv_rw_ini", szDirectory, sizeof(szDirectory), szMsg,
                   sizeof(szMsg)) != 1)
        vReportMissingKey("LOG_CHECK", "gv_rw_ini");
    v_JOIN(szDebugFile, sizeof(szDebugFile), szDirectory, "debug.ini", "");
    FILE* fpDebug = fopen(szDebugFile, "r");
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

static LANGUAGES eLanguageOf(const char* cpName)
{
    static const struct {
        char szName[8];
        LANGUAGES eLanguage;
    } strNames[] = {
        {"de",    LANG_DE},
        {"de_BA", LANG_BA},
        {"fr",    LANG_FR},
        {"hr",    LANG_HR},
    };
    for (const auto& strName : strNames) {
        if (strcmp(cpName, strName.szName) == 0)
            return strName.eLanguage;
    }
    return LANG_EN;
}

void v_set_log_main(const char* cpKeyFile, const char* cpKeyDebug, str_log* strLog)
{
    static bool iLogLocalInitialized;
    static str_log strLocalLog; // the first record of the process, its default
    char szAux[512];
    char szLogFile[1024];
    if (i_READ_INI("KQ_INI", "[Pathes]", "gv_rw_lgc", szAux, sizeof(szAux), szLogFile,
                   sizeof(szLogFile)) == 1) {
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
    if (i_READ_INI("KQ_INI", "[SETUP]", "lang", szAux, sizeof(szAux), szLogFile,
                   sizeof(szLogFile)) == 1) {
        TRACE_ABOVE(strLog, 1, "set language to %s", szAux);
        eLang = eLanguageOf(szAux);
    } else {
        WRITE_TRACE(strLog, "didn't find key lang in kq.ini > set language to en");
        eLang = LANG_EN;
    }
}

// Copies the file cpSource into the trace file fpTrace, each line behind szStamp ("H:MM:SS#") and
// the indentation, and to standard error when the record asks for it.
static void vCopyFile(const str_log* strLog, FILE* fpTrace, const char* cpStamp,
                      const char* cpSource)
{
    char szPath[256];
    char szPiece[256];
    v_COPY(szPath, sizeof(szPath), cpSource);
    FILE* fpSource = fopen(szPath, "r");
    if (fpSource == nullptr) {
        fprintf(fpTrace, "%s   File %s not found\n", cpStamp, szPath);
        if (strLog->iVerify != 0)
            fprintf(stderr, "%s File %s not found\n", cpStamp, szPath);
        return;
    }
    while (fgets(szPiece, sizeof(szPiece) - 1, fpSource) != nullptr) {
        vCutLastCharacter(szPiece);
        fprintf(fpTrace, "%s%s    %s\n", cpStamp, strLog->szIns, szPiece);
        if (strLog->iVerify != 0)
            fprintf(stderr, "%s%s %s\n", cpStamp, strLog->szIns, szPiece);
    }
    fclose(fpSource);
}

// The format is put together from the time stamp, the indentation and the caller's, which was
// checked where WRITE_TRACE is called.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

// Writes the line to standard error when the record asks for it, and appends it to the trace file.
static void vWriteLine(const str_log* strLog, const char* cpFormat, va_list vaArguments)
{
    char szStamp[32];
    char szFormat[1024];
    char szLine[8192];
    if (strLog->iVerify == 0 && strLog->szFile[0] == '\0')
        return; // no log is configured: the line has nowhere to go
    const time_t tNow = time(nullptr);
    const struct tm* pNow = localtime(&tNow);
    snprintf(szStamp, sizeof(szStamp), "%2d:%02d:%02d#", pNow->tm_hour, pNow->tm_min, pNow->tm_sec);
    snprintf(szFormat, sizeof(szFormat), "%s%s %s\n", szStamp, strLog->szIns, cpFormat);
    va_list vaCopy;
    va_copy(vaCopy, vaArguments);
    int iLength = vsnprintf(szLine, sizeof(szLine), szFormat, vaCopy);
    va_end(vaCopy);
    if (iLength >= (int)sizeof(szLine))
        iLength = (int)sizeof(szLine) - 1;
    const size_t uiLength = iLength > 0 ? (size_t)iLength : 0; // a "%c" may have put a NUL inside
    if (strLog->iVerify != 0)
        fwrite(szLine, 1, uiLength, stderr);
    FILE* fpTrace = fopen(strLog->szFile, "a");
    if (fpTrace == nullptr)
        return;
    if (strcmp(cpFormat, "COPY_FILE") == 0)
        vCopyFile(strLog, fpTrace, szStamp, va_arg(vaArguments, const char*));
    else
        fwrite(szLine, 1, uiLength, fpTrace);
    fclose(fpTrace);
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
