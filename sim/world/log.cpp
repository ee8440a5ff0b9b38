// The log. A line goes out in one write, so that lines of several processes do not mix.
#include "log.h"

#include "text.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static const int iLINE_SIZE = 1 << 19; // a request in hexadecimal, and more

void vLog(int64_t i64At, const char* cpEvent, const char* cpPath, const char* cpFormat, ...)
{
    static char cLine[iLINE_SIZE];
    const char* cpLog = getenv("MVK_SIM_LOG");
    if (cpLog == nullptr || cpLog[0] == '\0')
        return;
    OUT strOut = {cLine, iLINE_SIZE, 0, false};
    vAdd(&strOut, "%lld %d %s %s ", (long long)i64At, (int)getpid(), cpEvent, cpPath);
    va_list args;
    va_start(args, cpFormat);
    const size_t uiRoom = (size_t)(strOut.iMax - strOut.iLen);
    strOut.iLen += vsnprintf(strOut.cp + strOut.iLen, uiRoom, cpFormat, args);
    va_end(args);
    vAdd(&strOut, "\n");
    const int iFd = open(cpLog, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_LARGEFILE, 0666);
    if (iFd < 0 || write(iFd, strOut.cp, (size_t)strOut.iLen) != strOut.iLen)
        vFatal("cannot write the log %s: %s", cpLog, strerror(errno));
    close(iFd);
}

const char* cpResult(ssize_t iResult)
{
    static char szCount[24];
    if (iResult < 0)
        return strerrorname_np((int)-iResult);
    snprintf(szCount, sizeof(szCount), "%zd", iResult);
    return szCount;
}
