// The trace log.
#include "fixture.h"

#include "cm_trace.h"

#include <string.h>

#define AT " 9:05:07# "

// The record writes into the file "t" and to standard error.
class Trace : public Product {
protected:
    str_log strTrace = {"t", 1, 1, ""};
};

TEST_F(Trace, ParentProcess)
{
    char szInfo[20];
    vWrite("ps", " 14710 no\n   4710 x   -y\n");
    EXPECT_EQ(get_parent_info(szInfo, sizeof(szInfo)), 1);
    EXPECT_STREQ(szInfo, "x -y (PPID=4710)");
}

TEST_F(Trace, ParentProcessIsUnknown)
{
    char szInfo[20] = "old";
    const std::string szCommand =
        "ps -e -A -o pid,command | tr -s ' ' | grep -v grep | grep -w 4710";
    gbNoPipe = true;
    CaptureStderr();
    EXPECT_EQ(get_parent_info(szInfo, sizeof(szInfo)), 0);
    EXPECT_EQ(GetCapturedStderr(), "popen failed for " + szCommand + "\n");
    EXPECT_STREQ(szInfo, "");
    EXPECT_EQ(szRead("prot"),
              "2001-02-03 09:05:07 E008-BASICS [  4711]: Error in command execution " + szCommand +
                  ": Too many open files\n");
}

// Fifteen levels are indented; on the way back the indentation shrinks from one level more.
TEST_F(Trace, Nesting)
{
    strTrace.iVerify = 0;
    for (int i = 0; i < 17; i++)
        WRITE_TRACE(&strTrace, "+");
    EXPECT_EQ(strlen(strTrace.szIns), 30U);
    for (size_t ui : {30, 30, 28, 26, 24, 22, 20, 18, 16, 14, 12, 10, 8, 6, 4, 2, 0, 0}) {
        WRITE_TRACE(&strTrace, "-");
        EXPECT_EQ(strlen(strTrace.szIns), ui);
    }
}

TEST_F(Trace, LongLineWithoutCalendar)
{
    const std::string szX(9000, 'x');
    gbNoDate = true;
    CaptureStderr();
    WRITE_TRACE(&strTrace, "%s", szX.c_str());
    WRITE_TRACE(&strTrace, "next");
    EXPECT_EQ(szRead("t"), " 0:00:00# " + szX + "\n 0:00:00# next\n");
    EXPECT_EQ(GetCapturedStderr(), szRead("t"));
}

// The compiler would refuse a format made here, and "COPY_FILE" with an argument.
static void (*const vTrace)(str_log*, const char*, ...) = WRITE_TRACE;

TEST_F(Trace, LongFormatWithoutFile)
{
    strTrace.szFile[0] = '\0';
    CaptureStderr();
    vTrace(&strTrace, std::string(2000, 'x').c_str());
    EXPECT_EQ(GetCapturedStderr(), AT + std::string(1012, 'x') + "\n");
}

TEST_F(Trace, CopiesFile)
{
    const std::string szX(253, 'x');
    vWrite("copy", szX + "y%s\nlast");
    CaptureStderr();
    WRITE_TRACE(&strTrace, "+in %d", 5);
    vTrace(&strTrace, "COPY_FILE", "copy");
    vTrace(&strTrace, "COPY_FILE", "nil");
    WRITE_TRACE(&strTrace, "-out");
    EXPECT_EQ(GetCapturedStderr(), AT "+in 5\n" AT "  COPY_FILE\n" AT "  " + szX +
                                       "\n" AT "  %s\n" AT "  las\n" AT "  COPY_FILE\n" AT
                                       "File nil not found\n" AT "-out\n");
    EXPECT_EQ(szRead("t"), AT "+in 5\n" AT "     " + szX +
                               "\n" AT "     %s\n" AT "     las\n" AT "  File nil not found\n" AT
                               "-out\n");
}
