// Catches the C library's calls that read folders.
#include "catch.h"

#include <dirent.h>
#include <errno.h>
#include <string.h>

// The caught functions have the C library's names, and our parameters'.
// NOLINTBEGIN(readability-identifier-naming, readability-inconsistent-declaration-parameter-name)

static const int iNAMES_MAX = 1 << 18; // bytes of the names in a folder

// An open folder: the names as they were when it was opened, one a line.
struct FOLDER {
    bool bOpen;
    char* cpNext;
    struct dirent strEntry;
    struct dirent64 strEntry64;
    char szNames[iNAMES_MAX];
};
static FOLDER strFolders[4];

// The folder of ours that a handle stands for, null for the C library's.
static FOLDER* pFolderOf(DIR* pHandle)
{
    for (FOLDER& strFolder : strFolders) {
        if ((void*)&strFolder == (void*)pHandle)
            return &strFolder;
    }
    return nullptr;
}

static bool bFolder(const PLACE* pPlace)
{
    return pPlace->eKind >= PLACE_CLASS && pPlace->eKind < PLACE_ATTRIBUTE;
}

// Opens a folder. Returns 0 or an error number.
static int iOpenFolder(const char* cpPath, const PLACE* pPlace, FOLDER* pFolder)
{
    OUT strOut = {pFolder->szNames, iNAMES_MAX, 0, false};
    const int iError = iFileText(cpPath, pPlace, &strOut);
    if (iError != 0)
        return iError;
    if (!bFolder(pPlace))
        return ENOTDIR;
    pFolder->bOpen = true;
    pFolder->cpNext = pFolder->szNames;
    return 0;
}

CAUGHT DIR* opendir(const char* cpPath)
{
    PLACE strPlace;
    if (!bCatch(cpPath, &strPlace))
        return NEXT(opendir)(cpPath);
    FOLDER* pFree = nullptr;
    for (FOLDER& strFolder : strFolders)
        pFree = strFolder.bOpen ? pFree : &strFolder;
    if (strPlace.eKind == PLACE_LINK)
        strPlace.eKind = PLACE_DEVICE;
    const int iErrno = errno;
    gbInside = true;
    const int iError = pFree != nullptr ? iOpenFolder(cpPath, &strPlace, pFree) : EMFILE;
    return iDone(-iError, iErrno) == 0 ? (DIR*)pFree : nullptr;
}

// The next entry, which is of another type where files of 64 bits are not the only ones.
template <typename ENTRY> static ENTRY* pNextEntry(FOLDER* pFolder, ENTRY* pEntry)
{
    const char* cpName = cpTakeLine(&pFolder->cpNext);
    if (cpName == nullptr)
        return nullptr;
    *pEntry = {};
    pEntry->d_ino = 1;
    pEntry->d_reclen = sizeof(*pEntry);
    pEntry->d_type = DT_UNKNOWN;
    memcpy(pEntry->d_name, cpName, strlen(cpName));
    return pEntry;
}

CAUGHT struct dirent* readdir(DIR* pHandle)
{
    FOLDER* pFolder = pFolderOf(pHandle);
    return pFolder != nullptr ? pNextEntry(pFolder, &pFolder->strEntry) : NEXT(readdir)(pHandle);
}

CAUGHT struct dirent64* readdir64(DIR* pHandle)
{
    FOLDER* pFolder = pFolderOf(pHandle);
    return pFolder != nullptr ? pNextEntry(pFolder, &pFolder->strEntry64)
                              : NEXT(readdir64)(pHandle);
}

CAUGHT int closedir(DIR* pHandle)
{
    FOLDER* pFolder = pFolderOf(pHandle);
    if (pFolder == nullptr)
        return NEXT(closedir)(pHandle);
    pFolder->bOpen = false;
    return 0;
}

// A folder of ours has no descriptor.
CAUGHT int dirfd(DIR* pHandle) noexcept
{
    if (pFolderOf(pHandle) == nullptr)
        return NEXT(dirfd)(pHandle);
    errno = ENOTSUP;
    return -1;
}

// NOLINTEND(readability-identifier-naming, readability-inconsistent-declaration-parameter-name)
