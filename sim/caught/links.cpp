// Which paths are caught: those of ours, and those that lead there.
#include "catch.h"

#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static const int iLINKS_MAX = 8; // on the way to a node

bool gbInside;

ssize_t iDone(ssize_t iResult, int iErrno)
{
    gbInside = false;
    errno = iResult < 0 ? (int)-iResult : iErrno;
    return iResult < 0 ? -1 : iResult;
}

bool bCatch(const char* cpPath, PLACE* pPlace)
{
    const char* volatile cpGiven = cpPath; // the headers promise that it is never null
    return !gbInside && cpGiven != nullptr && cpPath[0] == '/' &&
           strchr("dps", cpPath[1]) != nullptr && bPlace(cpPath, pPlace);
}

// Puts the target of the link at szPath in its place. Returns false when there is none.
static bool bFollow(char (&szPath)[PATH_MAX])
{
    char szTarget[PATH_MAX];
    const ssize_t iLen = readlink(szPath, szTarget, sizeof(szTarget));
    if (iLen <= 0 || iLen == (ssize_t)sizeof(szTarget))
        return false;
    szTarget[iLen] = '\0';
    char szNew[PATH_MAX];
    vInPlaceOf(szPath, szTarget, szNew, sizeof(szNew));
    memcpy(szPath, szNew, sizeof(szPath));
    return true;
}

// Whether a path whose last part has the form of a node's name leads into /dev, and which it is.
static bool bByFolder(char* szPath, PLACE* pPlace)
{
    char szFolder[PATH_MAX];
    char szNode[64];
    char* cpName = strrchr(szPath, '/');
    cpName = cpName != nullptr ? cpName + 1 : szPath;
    snprintf(szNode, sizeof(szNode), "/dev/%s", cpName);
    if (strlen(cpName) > 32 || !bPlace(szNode, pPlace))
        return false;
    *cpName = '\0';
    return realpath(szPath[0] != '\0' ? szPath : ".", szFolder) != nullptr &&
           strcmp(szFolder, "/dev") == 0;
}

bool bCatchLink(const char* cpPath, PLACE* pPlace)
{
    const char* volatile cpGiven = cpPath; // as above
    if (bCatch(cpPath, pPlace))
        return true;
    if (gbInside || cpGiven == nullptr || strlen(cpPath) >= PATH_MAX)
        return false;
    char szPath[PATH_MAX];
    const int iErrno = errno;
    bool bOurs = false;
    gbInside = true;
    memcpy(szPath, cpPath, strlen(cpPath) + 1);
    for (int i = 0; !bOurs && i < iLINKS_MAX && bFollow(szPath); i++)
        bOurs = bPlace(szPath, pPlace);
    bOurs = bOurs || bByFolder(szPath, pPlace);
    gbInside = false;
    errno = iErrno;
    return bOurs;
}
