// Time stamps.
#include "fixture.h"

#include "cm_common.h"
#include "cm_time.h"

struct STAMP {
    const char* cpName;
    const char* cpRequest;
    const char* cpAnswer;
};

static const STAMP strStamps[] = {
    {"Now", ".", "2001-02-03 09:05:07 Sat"},
    {"Digits", "I", "20010203090507"},
    {"Days", "D -3", "2001-01-31 09:05:07 Wed"},
    {"Minutes", "M -546", "2001-02-02 23:59:07 Fri"},
    {"Seconds", "S 53", "2001-02-03 09:06:00 Sat"},
    {"Absolute", "2024-02-28 23:30:00 H 1", "2024-02-29 00:30:00 Thu"},
    {"TooShort", "2024-02-28 23:30:00", "2001-02-03 09:05:07 Sat"},
    {"Overflow", "2024-13-45 25:61:61 I", "20250215020201"},
    {"SummerBegins", "2024-03-30 12:00:00 T", "2024-03-31 12:00:00 Sun"},
    {"MinutesIntoSummer", "2024-03-31 01:30:00 M 90", "2024-03-31 04:00:00 Sun"},
    {"HoursIntoWinter", "2024-10-27 00:30:00 H 4", "2024-10-27 03:30:00 Sun"},
    {"SecondBeforeEpoch", "1970-01-01 00:59:59 I", "19700101005959"},
    {"LongYear", "D 2147483640", "5881611-08-07 09:05:07 S"},
};

using Time = Table<STAMP>;
INSTANTIATE_TEST_SUITE_P(, Time, testing::ValuesIn(strStamps), cpRowName);

TEST_P(Time, Stamp)
{
    char szTime[iTIME_SIZE];
    v_COPY(szTime, sizeof(szTime), GetParam().cpRequest);
    EXPECT_STREQ(time_get(szTime), GetParam().cpAnswer);
}
