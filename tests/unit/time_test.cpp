// Time stamps.
#include "fixture.h"

#include "cm_common.h"
#include "cm_time.h"

TEST_F(Product, TimeStamp)
{
    const char* const cpStamps[][2] = {
        {".", "2001-02-03 09:05:07 Sat"},
        {"2024-13-45 25:61:61 I", "20250215020201"},
        {"D 2147483640", "5881611-08-07 09:05:07 S"},
    };
    for (const auto& [cpRequest, cpAnswer] : cpStamps) {
        char szTime[iTIME_SIZE];
        v_COPY(szTime, sizeof(szTime), cpRequest);
        EXPECT_STREQ(time_get(szTime), cpAnswer);
    }
}
