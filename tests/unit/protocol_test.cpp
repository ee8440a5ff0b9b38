// The protocol log.
#include "fixture.h"

#include "cm_kernel.h"

#define NOW "2001-02-03 09:05:07 "
#define HEAD NOW "E003-BASICS [  4711]: "

class Protocol : public Product {};

TEST_F(Protocol, EachLineHasItsHeading)
{
    vWrite("prot", "before\n");
    PROT("E003-BASICS  a\n\n%s\n", "b");
    EXPECT_EQ(szRead("prot"), "before\n" HEAD "a\n" HEAD "\n" HEAD "b\n" HEAD "\n");
}

TEST_F(Protocol, LongTextIsCut)
{
    const std::string szX(6000, 'x');
    const std::string szCut =
        NOW "E999-BASICS [  4711]: Error: The following output was shortened (5120 <> 6042)\n";
    CaptureStderr();
    PROT("E003-BASICS  %s", szX.c_str());
    EXPECT_EQ(GetCapturedStderr(), szCut);
    EXPECT_EQ(szRead("prot"), szCut + HEAD + szX.substr(923) + "\n");
}

TEST_F(Protocol, TagIsTooShort)
{
    const std::string szShort = "format tag is too short: >E003-BASICS < (12 < 13)\n";
    CaptureStderr();
    PROT("E003-BASICS ");
    EXPECT_EQ(GetCapturedStderr(), "PROT: WARNING: " + szShort);
    EXPECT_EQ(szRead("prot"),
              NOW "W999-BASICS [  4711]: Invalid usage of PROT: " + szShort + HEAD "\n");
}

TEST_F(Protocol, FileIsMissing)
{
    CaptureStderr();
    vWrite("glbv/gv_prot.sgv", "nil/prot");
    PROT("E003-BASICS  text");
    vWrite("glbv/gv_prot.sgv", "?");
    PROT("E003-BASICS  text");
    EXPECT_EQ(GetCapturedStderr(), "\nNo gv_prot defined! kq_start_all necessary!\n");
}
