// Text and bytes, as text.h says.
#include "text.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

static const char szBLANKS[] = " \t\r";

void vFatal(const char* cpFormat, ...)
{
    char szText[512];
    va_list args;
    va_start(args, cpFormat);
    vsnprintf(szText, sizeof(szText), cpFormat, args);
    va_end(args);
    dprintf(STDERR_FILENO, "mvk-sim: %s\n", szText);
    _exit(2);
}

void vAdd(OUT* pOut, const char* cpFormat, ...)
{
    va_list args;
    va_start(args, cpFormat);
    const int iRoom = pOut->iMax - pOut->iLen;
    const int iGot = vsnprintf(pOut->cp + pOut->iLen, (size_t)iRoom, cpFormat, args);
    va_end(args);
    pOut->bFull = pOut->bFull || iGot >= iRoom;
    pOut->iLen += iGot >= iRoom ? iRoom - 1 : iGot;
}

int64_t i64Now()
{
    struct timespec strNow;
    clock_gettime(CLOCK_MONOTONIC, &strNow);
    return (int64_t)strNow.tv_sec * 1000000000 + strNow.tv_nsec;
}

char* cpTrim(char* cp)
{
    cp += strspn(cp, szBLANKS);
    char* cpEnd = cp + strlen(cp);
    while (cpEnd > cp && strchr(szBLANKS, cpEnd[-1]) != nullptr)
        cpEnd--;
    *cpEnd = '\0';
    return cp;
}

char* cpTakeLine(char** cpp)
{
    char* cpLine = *cpp;
    char* cpEnd = strchr(cpLine, '\n');
    if (*cpLine == '\0')
        return nullptr;
    *cpp = cpEnd != nullptr ? cpEnd + 1 : cpLine + strlen(cpLine);
    if (cpEnd != nullptr)
        *cpEnd = '\0';
    return cpTrim(cpLine);
}

bool bAtEnd(const char* cp)
{
    return cp[strspn(cp, szBLANKS)] == '\0';
}

bool bTakeWord(const char** cpp, char* szOut, size_t uiMax)
{
    *cpp += strspn(*cpp, szBLANKS);
    const size_t uiLen = strcspn(*cpp, szBLANKS);
    if (uiLen == 0 || uiLen >= uiMax)
        return false;
    memcpy(szOut, *cpp, uiLen);
    szOut[uiLen] = '\0';
    *cpp += uiLen;
    return true;
}

struct NUMBER_WORD {
    const char* cpWord;
    int iValue;
};

static const NUMBER_WORD strNumberWords[] = {
    {"auto", -1},
    {"none", -1},
    {"yes",  1 },
    {"no",   0 },
};

bool bTakeNumber(const char** cpp, int* ipValue)
{
    char szWord[16];
    if (!bTakeWord(cpp, szWord, sizeof(szWord)))
        return false;
    for (const NUMBER_WORD& strWord : strNumberWords) {
        if (strcmp(szWord, strWord.cpWord) == 0) {
            *ipValue = strWord.iValue;
            return true;
        }
    }
    char* cpEnd;
    const long iValue = strtol(szWord, &cpEnd, strncmp(szWord, "0x", 2) == 0 ? 16 : 10);
    *ipValue = (int)iValue;
    return *cpEnd == '\0' && szWord[0] >= '0' && szWord[0] <= '9' && iValue <= INT32_MAX;
}

void vInPlaceOf(const char* cpNamedIn, const char* cpName, char* szOut, size_t uiMax)
{
    const char* cpSlash = strrchr(cpNamedIn, '/');
    const int iFolder = cpSlash != nullptr && *cpName != '/' ? (int)(cpSlash - cpNamedIn) + 1 : 0;
    snprintf(szOut, uiMax, "%.*s%s", iFolder, cpNamedIn, cpName);
}

// Reads what a descriptor brings, up to iMax bytes. Returns their number, -1 on failure.
static int iReadAll(int iFd, char* cpOut, int iMax)
{
    int iLen = 0;
    ssize_t iGot = 1;
    while (iGot > 0 && iLen < iMax) {
        iGot = read(iFd, cpOut + iLen, (size_t)(iMax - iLen));
        iLen += iGot > 0 ? (int)iGot : 0;
    }
    return iGot < 0 ? -1 : iLen;
}

int iReadFile(const char* cpPath, char* cpOut, int iMax)
{
    struct stat strFile;
    const int iFd = open(cpPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (iFd < 0)
        return -1;
    if (fstat(iFd, &strFile) != 0 || !S_ISREG(strFile.st_mode)) {
        close(iFd);
        errno = ENOTSUP;
        return -1;
    }
    const int iLen = iReadAll(iFd, cpOut, iMax);
    close(iFd);
    if (iLen >= iMax)
        errno = EFBIG;
    if (iLen < 0 || iLen >= iMax)
        return -1;
    cpOut[iLen] = '\0';
    return iLen;
}

void vReadText(const char* cpPath, char* cpOut, int iMax)
{
    const int iLen = iReadFile(cpPath, cpOut, iMax);
    if (iLen < 0)
        vFatal("cannot read %s: %s", cpPath,
               errno == ENOTSUP ? "it is not a regular file" : strerror(errno));
    if (strlen(cpOut) != (size_t)iLen)
        vFatal("cannot read %s: it is not a text, byte %zu is zero", cpPath, strlen(cpOut));
}

// Takes hexadecimal pairs up to a blank or an asterisk; returns their count, -1 for anything else.
static int iHexPairs(const char** cpp, unsigned char* cpOut, int iMax)
{
    int iLen = 0;
    for (; **cpp != '\0' && strchr(" \t*", **cpp) == nullptr; *cpp += 2) {
        const char szPair[3] = {(*cpp)[0], (*cpp)[1], '\0'};
        char* cpEnd;
        if (strchr("+- xX", szPair[0]) != nullptr || iLen >= iMax)
            return -1;
        cpOut[iLen++] = (unsigned char)strtol(szPair, &cpEnd, 16);
        if (cpEnd != szPair + 2)
            return -1;
    }
    return iLen;
}

// Takes the word behind an "@", a file's name, and reads this file.
static int iDataFile(const char** cpp, const char* cpNamedIn, unsigned char* cpOut, int iMax)
{
    char szName[256];
    char szPath[1024];
    if (!bTakeWord(cpp, szName, sizeof(szName)))
        return -1;
    vInPlaceOf(cpNamedIn, szName, szPath, sizeof(szPath));
    return iReadFile(szPath, (char*)cpOut, iMax);
}

// Takes a text behind its first quote.
static int iQuoted(const char** cpp, unsigned char* cpOut, int iMax)
{
    const char* cpEnd = strchr(*cpp, '"');
    if (cpEnd == nullptr || cpEnd - *cpp > iMax)
        return -1;
    const int iLen = (int)(cpEnd - *cpp);
    memcpy(cpOut, *cpp, (size_t)iLen);
    *cpp = cpEnd + 1;
    return iLen;
}

// Takes one word of data. Returns the number of bytes, -1 when it is none or does not fit.
static int iDataWord(const char** cpp, const char* cpNamedIn, unsigned char* cpOut, int iMax)
{
    const char cFirst = **cpp;
    int iTimes = 1;
    int iLen;
    *cpp += cFirst == '@' || cFirst == '"';
    if (cFirst == '@')
        return iDataFile(cpp, cpNamedIn, cpOut, iMax);
    if (cFirst == '"')
        iLen = iQuoted(cpp, cpOut, iMax);
    else
        iLen = iHexPairs(cpp, cpOut, iMax);
    if (iLen >= 0 && **cpp == '*') {
        ++*cpp;
        if (!bTakeNumber(cpp, &iTimes) || iTimes < 0 || (int64_t)iTimes * iLen > iMax)
            return -1;
        for (int i = iLen; i < iTimes * iLen; i++)
            cpOut[i] = cpOut[i - iLen];
    }
    return **cpp != '\0' && strchr(szBLANKS, **cpp) == nullptr ? -1 : iLen * iTimes;
}

int iData(const char* cp, const char* cpNamedIn, unsigned char* cpOut, int iMax)
{
    int iLen = 0;
    for (cp += strspn(cp, szBLANKS); *cp != '\0'; cp += strspn(cp, szBLANKS)) {
        const int iGot = iDataWord(&cp, cpNamedIn, cpOut + iLen, iMax - iLen);
        if (iGot < 0)
            return -1;
        iLen += iGot;
    }
    return iLen;
}
