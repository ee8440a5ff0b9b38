// The library between the commands: the state file and the lock. (What the library is: model.h.)
#include "state.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

// The first line of a state, before the description's path, and its last one: a state
// without it was cut short.
static const char szHEADER[] = "# mvk-sim: state of ";
static const char szEND[] = "\n# mvk-sim: end of the state\n";

static char gcText[iLIBRARY_MAX]; // what the library was read from
static struct stat gstrRead;      // the file it was read from, as it was then
static const char* gcpState;      // path of the state file, null: nothing is kept
static int giLock = -1;

// A state that cannot be written whole is worse than none. The file is remembered in gstrRead.
static bool bWriteNew(const char* cpPath, const OUT* pOut)
{
    unlink(cpPath); // left by a process that was killed, or a link to somewhere
    const int iFd = open(cpPath, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (iFd < 0)
        return false;
    const bool bWritten =
        write(iFd, pOut->cp, (size_t)pOut->iLen) == pOut->iLen && fstat(iFd, &gstrRead) == 0;
    return close(iFd) == 0 && bWritten;
}

// Puts the text into the state file: a new file takes the old one's name, so that the old or the
// new state stands there whole, whenever the process is killed.
static void vSave()
{
    static char cOut[iLIBRARY_MAX];
    char szNew[1100];
    OUT strOut = {cOut, iLIBRARY_MAX, 0, false};
    if (strncmp(gcText, szHEADER, sizeof(szHEADER) - 1) != 0)
        vAdd(&strOut, "%s%s\n", szHEADER, gcpLibrary);
    vWriteState(&strOut);
    vAdd(&strOut, "%s", szEND + 1);
    if (strOut.bFull)
        vFatal("the state %s becomes too long", gcpState);
    snprintf(szNew, sizeof(szNew), "%s.new", gcpState);
    if (!bWriteNew(szNew, &strOut) || rename(szNew, gcpState) != 0)
        vFatal("cannot write the state %s: %s", gcpState, strerror(errno));
}

// Ends the process unless the text is a whole state of this library; takes its end off.
static void vCheckAndTrimState()
{
    const size_t uiLen = sizeof(szHEADER) - 1;
    const size_t uiPath = strlen(gcpLibrary);
    if (strncmp(gcText, szHEADER, uiLen) != 0 || strncmp(gcText + uiLen, gcpLibrary, uiPath) != 0 ||
        gcText[uiLen + uiPath] != '\n')
        vFatal("%s is not a state of the library %s (mvk-sim --reset forgets it)", gcpState,
               gcpLibrary);
    char* cpEnd = gcText + strlen(gcText) - (sizeof(szEND) - 1);
    if (cpEnd < gcText || strcmp(cpEnd, szEND) != 0)
        vFatal("the state %s is not whole, its end is missing (mvk-sim --reset forgets it)",
               gcpState);
    cpEnd[1] = '\0';
}

static bool bSameFile(const struct stat* pFirst, const struct stat* pSecond)
{
    return pFirst->st_ino == pSecond->st_ino && pFirst->st_size == pSecond->st_size &&
           pFirst->st_mtim.tv_sec == pSecond->st_mtim.tv_sec &&
           pFirst->st_mtim.tv_nsec == pSecond->st_mtim.tv_nsec;
}

// Reads the file unless it is the one that was read last. Returns false when there is none.
static bool bRead(const char* cpPath)
{
    struct stat strNow;
    if (stat(cpPath, &strNow) != 0)
        return false;
    if (bSameFile(&gstrRead, &strNow))
        return true;
    vReadText(cpPath, gcText, iLIBRARY_MAX);
    if (cpPath == gcpState)
        vCheckAndTrimState();
    vParse(gcText, cpPath);
    vTieTogether(cpPath);
    gstrRead = strNow;
    return true;
}

static void vLock()
{
    char szLock[1100];
    snprintf(szLock, sizeof(szLock), "%s.lock", gcpState);
    giLock = open(szLock, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (giLock < 0)
        vFatal("cannot open %s: %s", szLock, strerror(errno));
    while (flock(giLock, LOCK_EX) != 0 && errno == EINTR) {
    }
}

void vLibraryEnter()
{
    gcpLibrary = getenv("MVK_SIM_LIBRARY");
    gcpState = getenv("MVK_SIM_STATE");
    if (gcpLibrary == nullptr)
        vFatal("MVK_SIM_LIBRARY does not name a library");
    if (gcpState != nullptr && gcpState[0] != '\0') {
        vLock();
        if (bRead(gcpState))
            return;
    }
    if (!bRead(gcpLibrary))
        vFatal("cannot read %s: %s", gcpLibrary, strerror(errno));
    if (giLock >= 0)
        vSave();
}

void vLibraryLeave(bool bChanged)
{
    if (giLock < 0)
        return;
    if (bChanged)
        vSave();
    close(giLock);
    giLock = -1;
}
