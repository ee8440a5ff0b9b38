// The world around the code under test. One input of the fuzzer is all that comes from outside:
// arguments, environment, contents of files, results of calls, answers of devices, the time.
// Nothing of the machine is touched: the product is compiled with its calls turned to those below.
//
// An input is
//   four bytes  the operation (its rest divided by their number); the levels; which files cannot be
//               opened (0x1F, a bit each), being missing or locked (0x80), or are pipes (0x40);
//               a closed standard stream (0x03) and the time (0xF8)
//   ten texts   four operands, five files, the environment; each ends with two bytes 0xFF
//   the rest    what the calls deliver, in their order
// 0 is the ordinary answer to every call, also behind the end of the input.
//
// What a run was told is remembered: no byte may go to anything but the device that it named.
#pragma once

#include "device/device.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/major.h>
#include <setjmp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <time.h>
#include <unistd.h>
#include <vector>

#define REQUIRE(bHolds) ((bHolds) ? (void)0 : abort())

// What a target can call. Each returns a status of the program.
extern const std::vector<int (*)()> gOperations;

inline unsigned char gcHeader[4];
inline int giReport;
inline char* gcpTexts[10]; // each in memory of just its size and a NUL
inline size_t guiSizes[10];
inline const unsigned char* gcpNext; // what the next call delivers
inline const unsigned char* gcpEnd;
inline char gcOpen[16]; // a character for each descriptor that is open, 'd' for the run's device
inline int giStreams;   // open streams and directories
inline jmp_buf gstrExit;

// What the run was told.
struct FUZZ_TOLD {
    std::string szPath;  // the path that was looked at last
    struct stat strFile; // what it is; zeros when that failed
    int iNamed = -1;     // n of sg<n>, when the run was given a node of it
    bool bNumber;        // the open device has the number of the pinned one
    bool bAddress;       // since it was opened sysfs had the pinned address for this number
    int iListed = -1;    // the generic device that a folder named last, till it is asked for
    bool bGeneric;       // sysfs had the address of such a device
};

inline FUZZ_TOLD gstrTold;

// Returns n for a node of the generic device sg<n>, otherwise -1.
inline int iFuzzGeneric(const struct stat* pFile)
{
    const bool bGeneric = S_ISCHR(pFile->st_mode) && major(pFile->st_rdev) == SCSI_GENERIC_MAJOR;
    return bGeneric ? (int)minor(pFile->st_rdev) : -1;
}

inline unsigned char cFuzzByte()
{
    return gcpNext < gcpEnd ? *gcpNext++ : 0;
}

// Two bytes are a length; so many bytes follow.
inline size_t uiFuzzBytes(void* pTo, size_t uiRoom)
{
    size_t uiLength = cFuzzByte();
    uiLength |= (size_t)cFuzzByte() << 8;
    uiLength = std::min(uiLength, std::min(uiRoom, (size_t)(gcpEnd - gcpNext)));
    memcpy(pTo, gcpNext, uiLength);
    gcpNext += uiLength;
    return uiLength;
}

// A byte says how a call ends: from 0xF0 on it fails.
inline int iFuzzCall(const char* cpPath, ...)
{
    const int iHow = cFuzzByte();
    if (strlen(cpPath) >= 4096) { // the kernel's limit; an operand may be any text
        errno = ENAMETOOLONG;
        return -1;
    }
    errno = iHow == 0xF0 ? EEXIST : iHow & 0x0F;
    return iHow >= 0xF0 ? -1 : 0;
}

// A call on a descriptor, which must be open.
inline int iFuzzCallOn(int iFD, bool bStaysOpen, ...)
{
    REQUIRE(gcOpen[iFD] != '\0');
    gcOpen[iFD] = bStaysOpen ? gcOpen[iFD] : '\0';
    return iFuzzCall("");
}

inline mode_t iFuzzMask(mode_t)
{
    return 022;
}

// A run's device is opened after a look at it, and only as a stand-in, a generic node or, when the
// run is pinned, that very one; what has the form of an ID or address never.
inline void vFuzzJudgeOpen(const char* cpPath)
{
    const struct stat* pFile = &gstrTold.strFile;
    const int iGeneric = iFuzzGeneric(pFile);
    const bool bMemory = major(pFile->st_rdev) == MEM_MAJOR &&
                         memchr("\3\5\7", (int)minor(pFile->st_rdev), 3) != nullptr;
    int iEnds[2] = {};
    sscanf(cpPath, "%*[0-9]%n:%*[0-9]:%*[0-9]:%*[0-9]%n", &iEnds[0], &iEnds[1]);
    for (const int iEnd : iEnds)
        REQUIRE(iEnd == 0 || cpPath[iEnd] != '\0');
    REQUIRE(gstrTold.szPath == cpPath && !S_ISBLK(pFile->st_mode));
    REQUIRE(!S_ISCHR(pFile->st_mode) || iGeneric >= 0 || bMemory);
    REQUIRE(!gstrDevice.bPinned || pFile->st_mode == 0 || iGeneric == gstrDevice.iNumber);
    gstrTold.bNumber = gstrTold.bAddress = false;
}

// A name is the device that its number says. Where sysfs knows a generic device the scan opens no
// tape.
inline int iFuzzOpen(const char* cpPath, int iFlags, ...)
{
    const bool bDevice =
        iFlags == O_RDWR && gstrDevice.szName[0] != '\0' && strcmp(cpPath, gstrDevice.szDev) == 0;
    if (bDevice)
        vFuzzJudgeOpen(cpPath);
    const bool bPinnedByName = gstrDevice.bPinned && gstrTold.iNamed >= 0;
    REQUIRE(!bPinnedByName || gstrTold.iNamed == gstrDevice.iNumber);
    REQUIRE(bDevice || !gstrTold.bGeneric || strncmp(cpPath, "/dev/nst", 8) != 0);
    const int iFD = iFuzzCall(cpPath) != 0 ? -1 : (int)strlen(gcOpen); // the lowest that is free
    if (iFD >= 0)
        gcOpen[iFD] = bDevice ? 'd' : 'o';
    return iFD;
}

// Two bytes are kind and links. The ordinary answer is a file with one link. The second is the
// device number as well: two bits for the major, six for the minor number.
inline int iFuzzStat(int iFailed, struct stat* pStat, char cOpen = 'o')
{
    static const unsigned int uiMajors[] = {0, SCSI_GENERIC_MAJOR, SCSI_TAPE_MAJOR, MEM_MAJOR};
    *pStat = {};
    pStat->st_mode = ((mode_t)cFuzzByte() << 12 ^ S_IFREG) | 0644;
    const unsigned char cNumber = cFuzzByte();
    pStat->st_nlink = (cNumber + 1) % 256;
    pStat->st_rdev = makedev(uiMajors[cNumber >> 6], cNumber & 0x3FU);
    if (cOpen == 'd')
        gstrTold.bNumber = iFailed == 0 && iFuzzGeneric(pStat) == gstrDevice.iNumber;
    return iFailed;
}

// A byte says how, then come bytes. 1 reads no further than they go, 2 repeats what is behind the
// 36 bytes of the driver's header to the end of the buffer.
inline ssize_t iFuzzRead(int iFD, void* pBuffer, size_t uiCount)
{
    const int iHow = cFuzzByte();
    char* cpBuffer = (char*)memset(pBuffer, 0, uiCount);
    const size_t uiLength = uiFuzzBytes(cpBuffer, uiCount);
    for (size_t i = uiLength; iHow == 2 && uiLength > 36 && i < uiCount; i++)
        cpBuffer[i] = cpBuffer[i - uiLength + 36];
    REQUIRE(gcOpen[iFD] != '\0');
    return iHow >= 0xF0 ? -1 : (ssize_t)(iHow == 1 ? uiLength : uiCount);
}

// pOpen points to the descriptor's character. Behind the byte of the call, 1 loses the last byte.
inline ssize_t iFuzzWrite(void* pOpen, const char* cpBuffer, size_t uiCount)
{
    REQUIRE(*(char*)pOpen != '\0');
    if (*(char*)pOpen == 'd' && gstrDevice.bPinned)
        REQUIRE(gstrTold.bNumber && gstrTold.bAddress);
    free(memcpy(malloc(uiCount), cpBuffer, uiCount));
    return iFuzzCall("") != 0 ? 0 : (ssize_t)(uiCount - (cFuzzByte() == 1));
}

// What stands in the place of a file: a bit of the header makes every text file a named pipe,
// another every folder one that is shared. The nodes are asked like any call.
inline int iFuzzStatPath(const char* cpPath, struct stat* pStat)
{
    int iFailed = 0;
    *pStat = {};
    pStat->st_mode = (gcHeader[2] & 0x40) != 0 ? S_IFIFO : S_IFREG;
    pStat->st_mode |= (gcHeader[2] & 0x20) != 0 ? S_ISGID | S_IWGRP : 0;
    if (strncmp(cpPath, "/dev/", 5) == 0)
        iFailed = iFuzzStat(iFuzzCall(cpPath), pStat);
    gstrTold.szPath = cpPath;
    gstrTold.strFile = iFailed == 0 ? *pStat : FUZZ_TOLD{}.strFile;
    // The name is looked at before there is a file to open.
    if (gstrDevice.szDev[0] == '\0' && gstrTold.szPath == gstrDevice.szName)
        gstrTold.iNamed = iFuzzGeneric(&gstrTold.strFile);
    return iFailed;
}

// A path holds the word of its file: the listing, a root file, a variable, sysfs, any other.
inline FILE* fpFuzzOpen(const char* cpPath, const char* cpMode)
{
    static const char* const cpWords[] = {"/scsi/scsi", "tarvo", ".sgv", "/sys/", ""};
    int iFile = 0;
    while (strstr(cpPath, cpWords[iFile]) == nullptr)
        iFile++;
    errno = (gcHeader[2] & 0x80) != 0 ? EACCES : ENOENT;
    if (cpMode[0] == 'a' ? iFuzzCall(cpPath) != 0 : (gcHeader[2] >> iFile & 1) != 0)
        return nullptr;
    giStreams++;
    return cpMode[0] == 'a' ? fopencookie((void*)"o", "w", {nullptr, iFuzzWrite, nullptr, nullptr})
                            : fmemopen(gcpTexts[4 + iFile], guiSizes[4 + iFile], "r");
}

// Bytes are what the link holds; as many as there is room for may be cut short.
inline ssize_t iFuzzReadLink(const char* cpPath, char* cpLink, size_t uiRoom)
{
    SCSI_ADDRESS strAddress;
    int iNumber = -1;
    const size_t uiLength = iFuzzCall(cpPath) == 0 ? uiFuzzBytes(cpLink, uiRoom) : 0;
    const std::string szLink(cpLink, uiLength < uiRoom ? uiLength : 0);
    const bool bKnown = bReadAddress(szLink.c_str() + (szLink.rfind('/') + 1), &strAddress);
    sscanf(cpPath, "/sys/class/scsi_generic/sg%d/device", &iNumber);
    if (iNumber == gstrDevice.iNumber)
        gstrTold.bAddress = bKnown && bSameAddress(&strAddress, &gstrDevice.strAddress);
    gstrTold.bGeneric |= bKnown && iNumber == gstrTold.iListed;
    gstrTold.iListed = iNumber == gstrTold.iListed ? -1 : gstrTold.iListed;
    return uiLength > 0 ? (ssize_t)uiLength : -1;
}

// Bytes are a name; none end the directory.
inline struct dirent* pFuzzEntry()
{
    static struct dirent strEntry;
    strEntry = {};
    const size_t uiLength = uiFuzzBytes(strEntry.d_name, sizeof(strEntry.d_name) - 1);
    char szNumber[6], cBehind;
    if (sscanf(strEntry.d_name, "sg%5[0-9]%c", szNumber, &cBehind) == 1)
        gstrTold.iListed = atoi(szNumber);
    return uiLength > 0 ? &strEntry : nullptr;
}

#ifdef MVK_FUZZ_PRODUCT
#define getenv(cpName) (guiSizes[9] == 0 ? nullptr : gcpTexts[9])
#define time(pNow) (1700000000 + ((time_t)(gcHeader[3] >> 3) << 55))
#define getpid() 4711
#define getppid() 47
#define exit(iStatus) longjmp(gstrExit, iStatus)
#define open(...) iFuzzOpen(__VA_ARGS__)
#define close(iFD) iFuzzCallOn(iFD, false)
#define fcntl(iFD, ...)                                                                            \
    (gcOpen[iFD] == '\0' ? -1 : (iFD) < 3 ? 0 : iFuzzCallOn(iFD, true, __VA_ARGS__))
#define fchmod(iFD, iMode) iFuzzCallOn(iFD, true)
#define geteuid() 0
#define umask(iMode) iFuzzMask(iMode)
#define ftruncate(iFD, iSize) iFuzzCallOn(iFD, true)
#define ioctl(iFD, uiRequest, pValue) (uiFuzzBytes(pValue, sizeof(int)), iFuzzCallOn(iFD, true))
#define read(...) iFuzzRead(__VA_ARGS__)
#define write(iFD, pBuffer, uiCount) iFuzzWrite(gcOpen + (iFD), (const char*)(pBuffer), uiCount)
#define fstat(iFD, pStat) iFuzzStat(iFuzzCallOn(iFD, true), pStat, gcOpen[iFD])
#define stat(cpPath, pStat) iFuzzStatPath(cpPath, pStat)
#define lstat(cpPath, pStat) iFuzzStat(iFuzzCall(cpPath), pStat)
#define readlink(...) iFuzzReadLink(__VA_ARGS__)
#define access(...) iFuzzCall(__VA_ARGS__)
#define mkdir(...) iFuzzCall(__VA_ARGS__)
#define unlink(...) iFuzzCall(__VA_ARGS__)
#define system(...) (REQUIRE(!gstrTold.bGeneric), iFuzzCall(__VA_ARGS__))
#define fopen(...) fpFuzzOpen(__VA_ARGS__)
#define popen(...) fpFuzzOpen(__VA_ARGS__)
#define fclose(fpStream) (giStreams--, fclose(fpStream))
#define pclose(fpStream) fclose(fpStream)
#define opendir(cpPath) (iFuzzCall(cpPath) != 0 ? nullptr : (giStreams++, (DIR*)malloc(1)))
#define readdir(dpDirectory) ((void)(dpDirectory), pFuzzEntry())
#define closedir(dpDirectory) (giStreams--, free(dpDirectory), iFuzzCall(""))
// What has no stand-in would reach the machine: whoever needs one of these gives it one.
#pragma GCC poison openat creat fdopen freopen fstatat realpath rename link symlink chmod chown
#pragma GCC poison pread pwrite writev dprintf scandir fork execv execvp kill clock_gettime
#endif
