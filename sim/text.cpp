// Text and bytes: lines, words, numbers, the notation for data, whole files.
#include "sim.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

static const char gszBlanks[] = " \t\r";

// Says on standard error what is wrong and ends the process with status 2: a mistake in a
// description or a scenario must never pass for a result.
void vFatal(const char* cpFormat, ...)
{
    char szText[512];
    va_list args;
    va_start(args, cpFormat);
    vsnprintf(szText, sizeof(szText), cpFormat, args);
    va_end(args);
    dprintf(2, "mvk-sim: %s\n", szText);
    _exit(2);
}

void vAdd(OUT* pOut, const char* cpFormat, ...)
{
    va_list args;
    va_start(args, cpFormat);
    int iRoom = pOut->iMax - pOut->iLen;
    int iGot = vsnprintf(pOut->cp + pOut->iLen, (size_t)iRoom, cpFormat, args);
    va_end(args);
    pOut->iFull |= iGot >= iRoom;
    pOut->iLen += iGot >= iRoom ? iRoom - 1 : iGot;
}

int64_t i64Now(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000000000 + now.tv_nsec;
}

// Cuts the blanks at both ends off a text.
char* cpTrim(char* cp)
{
    cp += strspn(cp, gszBlanks);
    char* cpEnd = cp + strlen(cp);
    while (cpEnd > cp && strchr(gszBlanks, cpEnd[-1]))
        cpEnd--;
    *cpEnd = 0;
    return cp;
}

// Cuts the next line off a text and trims it; null at the end.
char* cpTakeLine(char** cpp)
{
    char *cpLine = *cpp, *cpEnd = strchr(cpLine, '\n');
    if (!*cpLine)
        return nullptr;
    *cpp = cpEnd ? cpEnd + 1 : cpLine + strlen(cpLine);
    if (cpEnd)
        *cpEnd = 0;
    return cpTrim(cpLine);
}

int iAtEnd(const char* cp)
{
    return cp[strspn(cp, gszBlanks)] == 0;
}

// Copies the next word and moves *cpp behind it. Returns 0 when there is none or it is too long.
int iTakeWord(const char** cpp, char* szOut, size_t uiMax)
{
    *cpp += strspn(*cpp, gszBlanks);
    size_t uiLen = strcspn(*cpp, gszBlanks);
    if (uiLen == 0 || uiLen >= uiMax)
        return 0;
    memcpy(szOut, *cpp, uiLen);
    szOut[uiLen] = 0;
    *cpp += uiLen;
    return 1;
}

// Takes a decimal or 0x number, "auto" and "none" as -1, "yes" and "no" as 1 and 0. Returns 0 when
// the next word is none of these.
int iTakeNumber(const char** cpp, int* ipValue)
{
    static const struct {
        const char* cpWord;
        int iValue;
    } words[] = {
        {"auto", -1},
        {"none", -1},
        {"yes",  1 },
        {"no",   0 }
    };
    char szWord[16], *cpEnd;
    if (!iTakeWord(cpp, szWord, sizeof(szWord)))
        return 0;
    for (const auto& word : words) {
        if (strcmp(szWord, word.cpWord) == 0) {
            *ipValue = word.iValue;
            return 1;
        }
    }
    long iValue = strtol(szWord, &cpEnd, strncmp(szWord, "0x", 2) == 0 ? 16 : 10);
    *ipValue = (int)iValue;
    return *cpEnd == 0 && szWord[0] >= '0' && szWord[0] <= '9' && iValue <= INT32_MAX;
}

// The path of a file named in another file: relative to the folder of that file.
void vInPlaceOf(const char* cpNamedIn, const char* cpName, char* szOut, size_t uiMax)
{
    const char* cpSlash = strrchr(cpNamedIn, '/');
    int iFolder = cpSlash && *cpName != '/' ? (int)(cpSlash - cpNamedIn) + 1 : 0;
    snprintf(szOut, uiMax, "%.*s%s", iFolder, cpNamedIn, cpName);
}

// Reads a file of less than iMax bytes and puts a zero byte behind it. Returns its length, -1 with
// errno when it cannot be read, is too long, or is not a regular file, which might never end.
int iReadFile(const char* cpPath, char* cpOut, int iMax)
{
    struct stat file;
    int iFd = open(cpPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK), iLen = 0;
    if (iFd < 0)
        return -1;
    ssize_t iGot = 1;
    if (fstat(iFd, &file) != 0 || !S_ISREG(file.st_mode)) {
        close(iFd);
        errno = ENOTSUP;
        return -1;
    }
    while (iGot > 0 && iLen < iMax) {
        iGot = read(iFd, cpOut + iLen, (size_t)(iMax - iLen));
        iLen += iGot > 0 ? (int)iGot : 0;
    }
    close(iFd);
    if (iLen >= iMax)
        errno = EFBIG;
    if (iGot < 0 || iLen >= iMax)
        return -1;
    cpOut[iLen] = 0;
    return iLen;
}

// Reads a text; one that cannot be read whole ends the process.
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
    for (; **cpp && !strchr(" \t*", **cpp); *cpp += 2) {
        char szPair[3] = {(*cpp)[0], (*cpp)[1], 0}, *cpEnd;
        if (strchr("+- xX", szPair[0]) || iLen >= iMax)
            return -1;
        cpOut[iLen++] = (unsigned char)strtol(szPair, &cpEnd, 16);
        if (cpEnd != szPair + 2)
            return -1;
    }
    return iLen;
}

// Takes one word of data: "text", @file or hexadecimal pairs, the first and the last also with
// *count behind. Returns the number of bytes, -1 when it is none of these or does not fit.
static int iDataWord(const char** cpp, const char* cpNamedIn, unsigned char* cpOut, int iMax)
{
    char szName[256], szPath[1024];
    int iLen, iTimes = 1;
    if (**cpp == '@') {
        ++*cpp;
        if (!iTakeWord(cpp, szName, sizeof(szName)))
            return -1;
        vInPlaceOf(cpNamedIn, szName, szPath, sizeof(szPath));
        return iReadFile(szPath, (char*)cpOut, iMax);
    }
    if (**cpp == '"') {
        const char* cpEnd = strchr(++*cpp, '"');
        if (!cpEnd || cpEnd - *cpp > iMax)
            return -1;
        iLen = (int)(cpEnd - *cpp);
        memcpy(cpOut, *cpp, (size_t)iLen);
        *cpp = cpEnd + 1;
    } else {
        iLen = iHexPairs(cpp, cpOut, iMax);
    }
    if (iLen >= 0 && **cpp == '*') {
        ++*cpp;
        if (!iTakeNumber(cpp, &iTimes) || iTimes < 0 || (int64_t)iTimes * iLen > iMax)
            return -1;
        for (int i = iLen; i < iTimes * iLen; i++)
            cpOut[i] = cpOut[i - iLen];
    }
    return **cpp && !strchr(gszBlanks, **cpp) ? -1 : iLen * iTimes;
}

// Data as it is written in descriptions and scenarios: words of iDataWord divided by blanks;
// cpNamedIn is the file that holds them. Returns the number of bytes, -1 when a word is not
// understood or the room is too small.
int iData(const char* cp, const char* cpNamedIn, unsigned char* cpOut, int iMax)
{
    int iLen = 0;
    for (cp += strspn(cp, gszBlanks); *cp; cp += strspn(cp, gszBlanks)) {
        int iGot = iDataWord(&cp, cpNamedIn, cpOut + iLen, iMax - iLen);
        if (iGot < 0)
            return -1;
        iLen += iGot;
    }
    return iLen;
}
