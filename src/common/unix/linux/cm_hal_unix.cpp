// Configuration roots, which stand on the reader of INI files, and the store of global variables,
// which stands on the configuration and the protocol log (cm_kernel).
#include "cm_hal_unix.h"

#include "cm_common.h"
#include "cm_file.h"
#include "cm_kernel.h"
#include "cm_language.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

int i_GET_ROOT_FOR_INI(const char* cpIdentifier, char* cpValue, int iLengthValue, char* cpMsg,
                       int iLengthMsg)
{
    char szEnvironment[128];
    const char* const szArray[] = {"/etc/tarvo2000.ini", "/etc/opt/tarvo/tarvo.ini", szEnvironment};
    int iFALLBACK_ARRAY_ELEMENTS = 1;
    const char* cpEnvironment = getenv("TARVO_INI");
    if (cpEnvironment != nullptr) {
        v_COPY(szEnvironment, sizeof(szEnvironment), cpEnvironment);
        iFALLBACK_ARRAY_ELEMENTS = 2;
    }
    for (int i = iFALLBACK_ARRAY_ELEMENTS; i >= 0; i--) {
        // Why a candidate does not have the key is of no interest.
        if (i_GetPrivateProfileString(szArray[i], "", cpIdentifier, cpValue, iLengthValue, nullptr,
                                      0))
            return 1;
    }
    v_COPY(cpValue, iLengthValue > 0 ? (size_t)iLengthValue : 0, "");
    v_JOIN(cpMsg, iLengthMsg > 0 ? (size_t)iLengthMsg : 0,
           "i_GET_ROOT_FOR_INI: NO TARVO CONFIGURATION FILE FOUND: ",
           szArray[iFALLBACK_ARRAY_ELEMENTS - 1], "");
    return 0;
}

// Reads the directory of the store, which is used as a prefix. Returns 1 when it is configured.
static int iReadDirectory(char* cpDirName, int iLength)
{
    char szMsg[256];
    return i_READ_INI("KQ_INI", "[Pathes]", "gv_rw_glbv", cpDirName, iLength, szMsg, sizeof(szMsg));
}

// Deletes every file of the store that matches cpPattern.
static void vDeleteMatching(const char* cpPattern)
{
    char szDirName[512];
    iReadDirectory(szDirName, sizeof(szDirName));
    DIR* dir_pointer = opendir(szDirName);
    if (dir_pointer == nullptr) {
        fprintf(stderr, "glbv: Error in opendir( %s ): %s\n", szDirName, strerror(errno));
        return;
    }
    while (const struct dirent* strDp = readdir(dir_pointer)) {
        char szPath[1024];
        if (strcmp(strDp->d_name, ".") == 0 || strcmp(strDp->d_name, "..") == 0 ||
            fnmatch(cpPattern, strDp->d_name, 0) != 0)
            continue;
        v_JOIN(szPath, sizeof(szPath), szDirName, strDp->d_name, "");
        unlink(szPath);
    }
    closedir(dir_pointer);
}

// Writes cpValue as the whole content of cpFile. On failure cpValue becomes the error text, which
// goes to the protocol too, and a line is printed on standard error.
static void vWriteVariable(const char* cpFile, const char* cpName, char* cpValue)
{
    // O_NONBLOCK: nobody waits for the reader of a pipe.
    const int iFhd = open(cpFile, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK, 0644);
    int iErrno = errno;
    if (iFhd >= 0) {
        const size_t uiLength = strlen(cpValue);
        errno = 0; // a short write leaves it alone
        const bool bWritten = write(iFhd, cpValue, uiLength) == (ssize_t)uiLength;
        iErrno = errno;
        if (close(iFhd) == 0 && bWritten)
            return;
        if (bWritten)
            iErrno = errno;
    }
    fprintf(stderr, "glbv() write %s failed: %s (%d)\n", cpFile, strerror(iErrno), iErrno);
    snprintf(cpValue, iGLBV_VALUE_SIZE, "?? GLBV %s cannot be created: %s", cpName,
             strerror(iErrno));
    PROT("Error: GLBV: %s", cpValue);
}

// Joins the lines of fdIn into szBuf; a text that does not fit ends with the mark ">".
// Returns the number of lines read, those beyond the mark not counted.
static int iJoinLines(FILE* fdIn, char* cpLine, char (&szBuf)[iGLBV_VALUE_SIZE])
{
    int iLines = 0;
    size_t uiCollected = 0;
    while (fgets(cpLine, iGLBV_VALUE_SIZE - 1, fdIn) != nullptr) {
        iLines++;
        const size_t uiLength = i_CUT_LINE_FEED(cpLine);
        if (uiLength >= sizeof(szBuf) - uiCollected) {
            cpLine[sizeof(szBuf) - 1 - uiLength] = '\0';
            v_APPEND(szBuf, sizeof(szBuf), cpLine);
            szBuf[sizeof(szBuf) - 2] = '>';
            break;
        }
        v_COPY(szBuf + uiCollected, sizeof(szBuf) - uiCollected, cpLine);
        uiCollected += uiLength;
    }
    return iLines;
}

// Reports on standard error and in the protocol that cpFile, the variable cpName, exists but cannot
// be opened; cpValue is the text of the error so far. The store and the protocol log need each
// other: the log reads the name of its file from here. That one variable is not reported to the
// log, which would ask for it again and again; every other report ends there.
static void vReportUnreadable(const char* cpFile, const char* cpName, char* cpValue, int iErrno)
{
    v_APPEND(cpValue, iGLBV_VALUE_SIZE, ": ");
    v_APPEND(cpValue, iGLBV_VALUE_SIZE, strerror(iErrno));
    fprintf(stderr, "glbv() read %s failed: %s (%d)\n", cpFile, strerror(iErrno), iErrno);
    if (strcmp(cpName, szPROT_VARIABLE) != 0)
        PROT("Error: GLBV: %s", cpValue);
}

// Reads cpFile into cpValue, which becomes the error text when there is nothing to read. Returns
// whether the file could be opened.
static bool bReadVariable(const char* cpFile, const char* cpName, char* cpValue)
{
    char szBuf[iGLBV_VALUE_SIZE] = "";
    FILE* fdIn = fpOpenFile(cpFile, "r+");
    if (fdIn == nullptr && (errno == EACCES || errno == EROFS))
        fdIn = fpOpenFile(cpFile, "r"); // a variable that is the administrator's
    if (fdIn == nullptr) {
        const int iErrno = errno;
        v_JOIN(cpValue, iGLBV_VALUE_SIZE, "?? GLBV ", cpName, " not existing");
        if (iErrno != ENOENT)
            vReportUnreadable(cpFile, cpName, cpValue, iErrno);
        return false;
    }
    const int iLines = iJoinLines(fdIn, cpValue, szBuf);
    fclose(fdIn);
    if (iLines > 0) {
        v_COPY(cpValue, iGLBV_VALUE_SIZE, szBuf);
        return true;
    }
    fprintf(stderr, "glbv() read failed: empty file\n");
    v_JOIN(cpValue, iGLBV_VALUE_SIZE, "?? GLBV ", cpName, " not existing");
    return true;
}

char* glbv(char cFunction, char* cpGlbvName, char* cpGlbvValue)
{
    char szAux[256] = "";
    char file[256];
    for (char* cpPos = cpGlbvName; *cpPos != '\0'; cpPos++) {
        if (*cpPos == '\\' || *cpPos == '/')
            *cpPos = '_';
    }
    if (iReadDirectory(szAux, sizeof(szAux)) != 1) {
        v_APPEND(szAux, sizeof(szAux), " error reading kq_ini");
        snprintf(cpGlbvValue, iGLBV_VALUE_SIZE,
                 c_IN_LANGUAGE("Fatal software error FILE=%s LINE=%d (%s)",
                               "Fataler Software Fehler FILE=%s ZEILE=%d (%s)",
                               "do is a ganz a groba Fälla in FILE=%s ZEILE=%d (%s)",
                               "Fatal software error FILE=%s LINE=%d (%s)"),
                 "../cm_hal_unix", 249, szAux);
        return cpGlbvValue;
    }
    v_JOIN(file, sizeof(file), szAux, cpGlbvName, ".sgv");
    switch (cFunction) {
    case 'd':
        if (strchr(cpGlbvName, '*') != nullptr)
            vDeleteMatching(cpGlbvName);
        else
            unlink(file);
        return cpGlbvName;
    case 'w':
        vWriteVariable(file, cpGlbvName, cpGlbvValue);
        break;
    case 'r':
    case 'R':
        if (bReadVariable(file, cpGlbvName, cpGlbvValue) && cFunction == 'R')
            unlink(file);
        break;
    default:
        snprintf(cpGlbvValue, iGLBV_VALUE_SIZE,
                 c_IN_LANGUAGE("?? invalid service %c", "?? ungültiger Parameter %c",
                               "?? ungültiga Parameter %c", "?? Le Parametre %c est erroné"),
                 cFunction);
    }
    return cpGlbvValue;
}
