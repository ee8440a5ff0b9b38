// Time stamps. Stands on the string helpers. No run asks for more than the time as it is: what
// reads an absolute time and a request is the product's.
#include "cm_time.h"

#include "cm_text.h"

#include <limits.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

// Adds iAmount to the field *ipField of a broken-down time, staying inside int.
static void vAddTime(int* ipField, int64_t iAmount)
{
    const int64_t iSum = *ipField + iAmount;
    *ipField = iSum > INT_MAX ? INT_MAX : iSum < INT_MIN ? INT_MIN : (int)iSum;
}

// Takes an absolute time from the start of cpTime, if there is one, and cuts it off the request.
static void vTakeAbsoluteTime(char* cpTime, struct tm* pTime)
{
    struct tm tmRead = {};
    if (cpTime[0] < '1' || cpTime[0] > '9' || strlen(cpTime) <= 19 || cpTime[4] != '-' ||
        cpTime[7] != '-' || cpTime[10] != ' ' || cpTime[13] != ':')
        return;
    sscanf(cpTime, "%04d-%02d-%02d %02d:%02d:%02d", &tmRead.tm_year, &tmRead.tm_mon,
           &tmRead.tm_mday, &tmRead.tm_hour, &tmRead.tm_min, &tmRead.tm_sec);
    tmRead.tm_year -= 1900;
    tmRead.tm_mon -= 1;
    tmRead.tm_isdst = -1;
    *pTime = tmRead;
    v_CUT_HEAD(cpTime, 20);
}

// Adds what the request cpTime asks for: days by the calendar, hours, minutes and seconds as time
// that passes, also where the clock is changed to summer time or back.
static void vApplyRequest(const char* cpTime, struct tm* pTime)
{
    int iAmount = 0;
    int* ipField = nullptr;
    bool bPasses = true;
    switch (cpTime[0]) {
    case 'D':
    case 'T':
    case 'Y':
        ipField = &pTime->tm_mday;
        bPasses = false;
        break;
    case 'H':
        ipField = &pTime->tm_hour;
        break;
    case 'M':
        ipField = &pTime->tm_min;
        break;
    case 'S':
        ipField = &pTime->tm_sec;
        break;
    default:
        return;
    }
    if (cpTime[0] == 'T')
        iAmount = 1;
    else if (cpTime[0] == 'Y')
        iAmount = -1;
    else if (sscanf(cpTime + 1, " %d", &iAmount) != 1)
        return;
    if (!bPasses)
        pTime->tm_isdst = -1;
    else if (pTime->tm_isdst < 0)
        mktime(pTime); // tells whether it is summer
    vAddTime(ipField, iAmount);
}

// Returns the local time tTime. A time that has no date becomes the last one of 32 bits, and the
// epoch when that has none either.
static struct tm tmLocalTime(time_t tTime)
{
    const time_t tLast = INT32_MAX;
    struct tm tmEpoch = {};
    const struct tm* pTime = localtime(&tTime);
    if (pTime == nullptr)
        pTime = localtime(&tLast);
    if (pTime != nullptr)
        return *pTime;
    tmEpoch.tm_year = 70;
    tmEpoch.tm_mday = 1;
    return tmEpoch;
}

char* time_get(char* cpTime)
{
    struct tm tmTime = tmLocalTime(time(nullptr));
    vTakeAbsoluteTime(cpTime, &tmTime);
    vApplyRequest(cpTime, &tmTime);
    // The second before the epoch is a time like any other: the day of the week tells of a failure.
    tmTime.tm_wday = -1;
    mktime(&tmTime);
    if (tmTime.tm_wday < 0)
        tmTime = tmLocalTime(INT32_MAX);
    // A year beyond 9999 makes the text longer than the answer; it is cut then.
    char szAnswer[64] = "";
    if (cpTime[0] == 'I')
        strftime(szAnswer, sizeof(szAnswer), "%Y%m%d%H%M%S", &tmTime);
    else
        strftime(szAnswer, sizeof(szAnswer), "%Y-%m-%d %H:%M:%S %a", &tmTime);
    v_COPY(cpTime, iTIME_SIZE, szAnswer);
    return cpTime;
}
