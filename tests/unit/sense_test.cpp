// What a person reads of sense data.
#include "fixture.h"

#include "scsi/sense.h"

// Bytes 0 to 3, and the code in bytes 12 and 13.
struct SENSE {
    const char* cpName;
    unsigned char cSense[4];
    unsigned char cCode[2];
    int iReport;
    const char* cpOutput;
};

#define ERROR "Error (code=70) (sensekey= 6): "
#define DUMP "\ndebug info\np 6 \n"

static const SENSE strSenses[] = {
    {"LikeMediumMissing", {0x70, 0, 6, 0}, {0x3B, 0x0D}, 2, ERROR "medium not present" DUMP},
    {"Loaded", {0x70, 0, 6, 0}, {0x28, 0}, 2, ERROR "medium may have changed" DUMP},
    {"Opened", {0x70, 0, 6, 0}, {4, 3}, 2, ERROR "manual invention needed (door was opened)." DUMP},
    {"Locked", {0x70, 0, 6, 0}, {0x53, 2}, 2, ERROR "Media Removal Prevented (MANUELL KEY)" DUMP},
    {"Unknown", {0x70, 0, 6, 0}, {4, 20}, 2, ERROR " 4 14" DUMP},
    {"Success", {0x70, 0, 6, 0}, {0, 0}, 3, "Success (code=70) (sensekey= 6)" DUMP},
    {"Silent", {0x70, 0, 6, 0}, {4, 3}, 1, ""},
    {"DumpEnds", {0x70, 0, 6, 9}, {4, 20}, 2, ERROR " 4 14\ndebug info\np 6 9 \n"},
    {"LongDump", {0x70, 31, 6, 0xA9}, {1, 0xAA}, 2, ERROR " 1 aa\ndebug info\np 1f 6 \xA9 1 aa \n"},
};

using Sense = Table<SENSE>;
INSTANTIATE_TEST_SUITE_P(, Sense, testing::ValuesIn(strSenses), cpRowName);

TEST_P(Sense, Text)
{
    std::string szSense(16, '\0');
    szSense.replace(0, 4, (const char*)GetParam().cSense, 4);
    szSense.replace(12, 2, (const char*)GetParam().cCode, 2);
    CaptureStdout();
    vScsiSenseData((const unsigned char*)szSense.data(), GetParam().iReport);
    EXPECT_EQ(GetCapturedStdout(), GetParam().cpOutput);
}
