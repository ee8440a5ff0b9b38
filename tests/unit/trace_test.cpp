// The trace log.
#include "fixture.h"

#include "cm_trace.h"

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

TEST_F(Trace, Indents)
{
    CaptureStderr();
    WRITE_TRACE(&strTrace, "+in %d", 5);
    WRITE_TRACE(&strTrace, "inside");
    WRITE_TRACE(&strTrace, "-out");
    EXPECT_EQ(szRead("t"), AT "+in 5\n" AT "  inside\n" AT "-out\n");
    EXPECT_EQ(GetCapturedStderr(), szRead("t"));
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
