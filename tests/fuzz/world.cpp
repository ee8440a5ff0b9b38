// One run of a target in the world that an input describes: three bytes (operation, levels and type
// of device, files that cannot be opened), four operands and four files that each end with 0xFF,
// and what the calls deliver.
#include "world.h"

#include "cm_common.h"
#include "mvk.h"

#include <errno.h>
#include <setjmp.h>

static const int iOPERANDS = 4;
static const int iTEXTS = 8;

// The files: a path holds the word of its file.
static const char* const cpPaths[] = {"/scsi/scsi", "root", ".sgv", ""};

char* gcpTexts[iTEXTS];
static size_t uiSizes[iTEXTS];
int giReport;
int giOpened;
static unsigned int uiDenied; // a bit for each file that is missing, and one for any other trouble
static const unsigned char* cpNext;
static const unsigned char* cpEnd;
static jmp_buf strExit;

static unsigned int uiTake()
{
    return cpNext < cpEnd ? *cpNext++ : 0;
}

int iFuzzCall(const char* cpText, ...)
{
    const unsigned int uiHow = uiTake();
    REQUIRE(strlen(cpText) < 4096);
    errno = uiHow == 0xF0 ? EEXIST : (int)(uiHow & 0x0F);
    return uiHow >= 0xF0 ? -1 : 0;
}

// A byte says how to read, two are the number of bytes that follow. 1 reads no further than they
// go, 2 repeats what is behind the driver's header to the end of the buffer.
ssize_t iFuzzRead(int, unsigned char* cpBuffer, size_t uiCount)
{
    const size_t uiHeader = 36;
    const unsigned int uiHow = uiTake();
    size_t uiLength = uiTake();
    uiLength |= uiTake() << 8;
    uiLength = uiLength < uiCount ? uiLength : uiCount;
    uiLength = uiLength < (size_t)(cpEnd - cpNext) ? uiLength : (size_t)(cpEnd - cpNext);
    memcpy(memset(cpBuffer, 0, uiCount), cpNext, uiLength);
    cpNext += uiLength;
    for (size_t i = uiLength; uiHow == 2 && uiLength > uiHeader && i < uiCount; i++)
        cpBuffer[i] = cpBuffer[i - uiLength + uiHeader];
    return uiHow >= 0xF0 ? -1 : (ssize_t)(uiHow == 1 ? uiLength : uiCount);
}

ssize_t iFuzzWrite(int, const void* pBuffer, size_t uiCount)
{
    free(memcpy(malloc(uiCount), pBuffer, uiCount));
    return iFuzzCall("") != 0 ? -1 : (ssize_t)(uiCount - (uiTake() == 1));
}

FILE* fpFuzzOpen(const char* cpPath, const char* cpMode)
{
    static char cSink[4096];
    const bool bAppend = cpMode[0] == 'a';
    int iFile = 0;
    while (strstr(cpPath, cpPaths[iFile]) == nullptr)
        iFile++;
    errno = (uiDenied >> iFile & 1) != 0 ? ENOENT : EACCES;
    if (bAppend ? iFuzzCall(cpPath) != 0 : (uiDenied >> iFile & 0x11) != 0)
        return nullptr;
    giOpened++;
    return bAppend ? fmemopen(cSink, sizeof(cSink), "w")
                   : fmemopen(gcpTexts[iOPERANDS + iFile], uiSizes[iOPERANDS + iFile], "r");
}

void vFuzzExit()
{
    giOpened = 0;
    longjmp(strExit, 1);
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* cpData, size_t uiSize)
{
    // Report level and trace level in one number. Debug output is rare: it takes most time.
    static const int iLevels[] = {10, 0, 10, 10, 10, 10, 10, 10, 10, 10, 10, 11, 12, 20, 22, 112};
    cpNext = cpData;
    cpEnd = cpData + uiSize;
    const unsigned int uiOperation = uiTake();
    const unsigned int uiHow = uiTake();
    uiDenied = uiTake();
    for (int i = 0; i < iTEXTS; i++) {
        const void* pStop = memchr(cpNext, 0xFF, (size_t)(cpEnd - cpNext));
        uiSizes[i] = (size_t)((pStop != nullptr ? (const unsigned char*)pStop : cpEnd) - cpNext);
        gcpTexts[i] = (char*)memcpy(calloc(uiSizes[i] + 1, 1), cpNext, uiSizes[i]);
        cpNext += uiSizes[i] + (pStop != nullptr);
    }
    giReport = iLevels[uiHow & 0x0F] / 10;
    strLog = {"trace", iLevels[uiHow & 0x0F] % 10, 0, ""};
    eLang = LANG_EN;
    memset(giElementAddress, 0, sizeof(giElementAddress));
    v_COPY(gszTyp, sizeof(gszTyp), (uiHow & 0x10) != 0 ? "tape" : "loader");
    giVolTag = (uiHow & 0x20) != 0 ? 16 : 0;
    v_COPY(gszID, sizeof(gszID), gcpTexts[3]);
    v_COPY(gszDev, sizeof(gszDev), gcpTexts[3]);
    if (setjmp(strExit) == 0) {
        const int iStatus = giOperations[uiOperation % guiOperations]();
        REQUIRE(iStatus >= MVK_SUCCESS && iStatus <= DEVICE_BUSY && giOpened == 0);
    }
    for (char* cpText : gcpTexts)
        free(cpText);
    return 0;
}
