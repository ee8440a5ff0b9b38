// kq_glbv: reads, writes and deletes the product's global variables from the command line, with the
// routine that the product's programs use themselves.
#include "cm_common.h"
#include "cm_hal_unix.h"
#include "cm_kernel.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

enum { iDONE = 0, iFAILED = 1, iUSAGE = 2 };

// Size in bytes of the path that the store works with; it would cut a longer one.
enum { iPATH_SIZE = 256 };

static const char szUsage[] =
    "usage: kq_glbv r NAME         print the variable\n"
    "       kq_glbv R NAME         print and delete it\n"
    "       kq_glbv w NAME VALUE   write it\n"
    "       kq_glbv d NAME         delete it, or every file that a pattern with * matches\n"
    "       kq_glbv -h | --help | --version\n";

// Prints why nothing was done, after cpWhat where there is such. Returns iStatus.
static int iRefuse(int iStatus, const char* cpWhat, const char* cpReason)
{
    fprintf(stderr, "kq_glbv: %s%s%s\n", cpWhat, *cpWhat == '\0' ? "" : ": ", cpReason);
    return iStatus;
}

// Prints what a single option asks for. Returns whether it was one.
static bool bHelp(int argc, char** argv)
{
    const bool bVersion = argc == 2 && strcmp(argv[1], "--version") == 0;
    const bool bUsage = argc == 2 && (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "-h") == 0);
    if (bVersion || bUsage)
        fputs(bVersion ? "kq_glbv " MVK_VERSION "\n" : szUsage, stdout);
    return bVersion || bUsage;
}

// Checks the command line. Returns iDONE, or iUSAGE after a text on standard error.
static int iCheckArguments(int argc, char** argv)
{
    const char* cpService = argc > 1 ? argv[1] : "";
    if (strlen(cpService) != 1 || strchr("rRwd", *cpService) == nullptr ||
        argc != (*cpService == 'w' ? 4 : 3)) {
        fputs(szUsage, stderr);
        return iUSAGE;
    }
    if (argv[2][0] == '\0')
        return iRefuse(iUSAGE, "", "the name is empty");
    // Nothing but such a pattern could delete a variable of this name again.
    if (*cpService == 'w' && strchr(argv[2], '*') != nullptr)
        return iRefuse(iUSAGE, argv[2], "a name to write holds no *");
    return iDONE;
}

// Composes the path of the variable's file, in which the store has "_" for "\" and "/" of the name,
// and that of its folder. Returns 1, -1 when the path is too long, 0 when no store is configured.
static int iComposePath(const char* cpName, char (&szDirectory)[1024], char (&szPath)[iPATH_SIZE])
{
    char szMsg[256];
    if (i_READ_INI("KQ_INI", "[Pathes]", "gv_rw_glbv", szDirectory, sizeof(szDirectory), szMsg,
                   sizeof(szMsg)) != 1)
        return 0;
    const size_t uiDirectory = strlen(szDirectory);
    if (uiDirectory + strlen(cpName) + strlen(".sgv") >= sizeof(szPath))
        return -1;
    v_JOIN(szPath, sizeof(szPath), szDirectory, cpName, ".sgv");
    for (char* cpPos = szPath + uiDirectory; *cpPos != '\0'; cpPos++) {
        if (*cpPos == '\\' || *cpPos == '/')
            *cpPos = '_';
    }
    return 1;
}

static int iRead(char cService, char* cpName, const char* cpPath)
{
    char szValue[iGLBV_VALUE_SIZE] = "";
    char szMissing[iGLBV_VALUE_SIZE];
    struct stat strStat;
    glbv(cService, cpName, szValue);
    v_JOIN(szMissing, sizeof(szMissing), "?? GLBV ", cpName, " not existing");
    if (b_STARTS_WITH(szValue, szMissing))
        return iRefuse(iFAILED, "", szValue);
    if (puts(szValue) == EOF || fflush(stdout) != 0)
        return iRefuse(iFAILED, "standard output", strerror(errno));
    if (cService == 'R' && lstat(cpPath, &strStat) == 0)
        return iRefuse(iFAILED, cpPath, "could be read, but not deleted");
    return iDONE;
}

static int iWrite(char* cpName, const char* cpNewValue, const char* cpPath)
{
    char szValue[iGLBV_VALUE_SIZE];
    struct stat strStat;
    if (strlen(cpNewValue) >= sizeof(szValue))
        return iRefuse(iFAILED, cpName, "the value is longer than the 511 bytes that are stored");
    v_COPY(szValue, sizeof(szValue), cpNewValue);
    if (strcmp(glbv('w', cpName, szValue), cpNewValue) != 0)
        return iRefuse(iFAILED, "", szValue);
    // The store's routine opens a variable for reading and writing even to read it: others of the
    // group would otherwise not see an address override, and move with other addresses.
    if (stat(cpPath, &strStat) == 0 && S_ISREG(strStat.st_mode))
        chmod(cpPath, (strStat.st_mode & 07777) | S_IRGRP | S_IWGRP);
    return iDONE;
}

// The store says nothing of a file that it cannot delete: look before and after. A variable that is
// not there is as good as deleted.
static int iDelete(char* cpName, const char* cpDirectory, const char* cpPath)
{
    struct stat strStat;
    if (access(cpDirectory, R_OK | W_OK | X_OK) != 0)
        return iRefuse(iFAILED, cpDirectory, strerror(errno));
    char szValue[iGLBV_VALUE_SIZE] = "";
    glbv('d', cpName, szValue);
    if (strchr(cpName, '*') == nullptr && lstat(cpPath, &strStat) == 0)
        return iRefuse(iFAILED, cpPath, "could not be deleted");
    return iDONE;
}

int main(int argc, char** argv)
{
    char szDirectory[1024];
    char szPath[iPATH_SIZE];
    char szValue[iGLBV_VALUE_SIZE] = "";
    if (bHelp(argc, argv))
        return iDONE;
    const int iChecked = iCheckArguments(argc, argv);
    if (iChecked != iDONE)
        return iChecked;
    const char cService = argv[1][0];
    const int iComposed = iComposePath(argv[2], szDirectory, szPath);
    if (iComposed < 0)
        return iRefuse(iFAILED, argv[2], "the name is too long for a file of the store");
    if (iComposed == 0)
        return iRefuse(iFAILED, "", glbv(cService, argv[2], szValue));
    switch (cService) {
    case 'w':
        return iWrite(argv[2], argv[3], szPath);
    case 'd':
        return iDelete(argv[2], szDirectory, szPath);
    default:
        return iRead(cService, argv[2], szPath);
    }
}
