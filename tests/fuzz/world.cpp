// Gives an input to an operation, and judges what it leaves behind.
#include "world.h"

#include "changer/changer.h"
#include "cm_common.h"
#include "device/selection.h"
#include "mvk.h"
#include "scsi/executor.h"

// Forgets what the input before has left in the process.
static void vForget()
{
    gstrDevice = {};
    gstrTold = {};
    strLog = {};
    for (int i = 0; i < 9; i++)
        WRITE_TRACE(&strLog, "-"); // an exit leaves the trace indented
    eLang = LANG_EN;
    gszTyp[0] = '\0';
    giVolTag = 0;
    memset(giElementAddress, 0, 5 * sizeof(giElementAddress[0])); // the rows that are used
    memset(gcOpen, 0, sizeof(gcOpen));
    giStreams = 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* cpData, size_t uiSize)
{
    // Report level and trace level in one number. Debug output is rare: it takes most time.
    static const int iLevels[] = {10, 0, 10, 10, 10, 10, 10, 10, 10, 10, 10, 11, 12, 20, 22, 112};
    vForget();
    gcpNext = cpData;
    gcpEnd = cpData + uiSize;
    for (unsigned char& cByte : gcHeader)
        cByte = cFuzzByte();
    for (int i = 0; i < 10; i++) {
        const void* pStop = memmem(gcpNext, (size_t)(gcpEnd - gcpNext), "\xFF\xFF", 2);
        const unsigned char* cpStop = pStop != nullptr ? (const unsigned char*)pStop : gcpEnd;
        guiSizes[i] = (size_t)(cpStop - gcpNext);
        free(gcpTexts[i]);
        gcpTexts[i] = (char*)memcpy(calloc(guiSizes[i] + 1, 1), gcpNext, guiSizes[i]);
        gcpNext = pStop != nullptr ? cpStop + 2 : gcpEnd;
    }
    giReport = iLevels[gcHeader[1] & 0x0F] / 10;
    strLog = {"trace", iLevels[gcHeader[1] & 0x0F] % 10, 0, ""};
    v_COPY(gszID, sizeof(gszID), gcpTexts[3]);
    v_COPY(gszDev, sizeof(gszDev), gcpTexts[3]);
    memset(gcOpen, 'o', 3);
    gcOpen[3 - (gcHeader[3] & 3)] = '\0';
    if (setjmp(gstrExit) == 0) {
        const int iStatus = gOperations[gcHeader[0] % gOperations.size()]();
        REQUIRE(iStatus >= 0 && iStatus <= DEVICE_BUSY && gcOpen[3] == '\0' && giStreams == 0);
    }
    return 0;
}
