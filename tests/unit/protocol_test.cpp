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

// The compiler would refuse a format that is made here.
static void (*const vProt)(const char*, ...) = PROT;

TEST_F(Protocol, LongFormatIsCut)
{
    const std::string szX(2517, 'x');
    const std::string szCut =
        NOW "E999-BASICS [  4711]: Error: The following output was shortened (2560 <> 2560)\n";
    CaptureStderr();
    vProt(("E003-BASICS  " + szX).c_str());
    vProt(("E003-BASICS  " + szX + "x").c_str());
    EXPECT_EQ(GetCapturedStderr(), szCut);
    EXPECT_EQ(szRead("prot"), HEAD + szX + "\n" + szCut + HEAD + szX + "\n");
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

TEST_F(Protocol, TagWithConversion)
{
    CaptureStderr();
    PROT("E003-%s-XYZ  text", "BAS");
    EXPECT_EQ(
        GetCapturedStderr(),
        "PROT: WARNING: invalid usage of PROT: prefix with format argument '%s': >E003-%s-XYZ <\n");
    EXPECT_EQ(szRead("prot"),
              NOW "W999-BASICS [  4711]: Invalid usage of PROT: prefix with format argument '%s': "
                  ">E003-%s-XYZ <\n" NOW "E003-BAS-XYZ [  4711]: text\n");
    CaptureStderr();
    vProt("E003-BASICS%d"); // the second character stands behind the tag
    EXPECT_NE(GetCapturedStderr().find(" '%d': >E003-BASICS%<\n"), std::string::npos);
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

TEST_F(Protocol, Pieces)
{
    std::string szPieces;
    for (const char* cp = cm_strtok("a,,b,", ','); cp != nullptr; cp = cm_strtok(nullptr, ','))
        szPieces += std::string(cp) + "|";
    EXPECT_EQ(szPieces, "a||b||");
    const std::string szX(8191, 'x');
    CaptureStderr();
    EXPECT_EQ(cm_strtok(szX.c_str(), ','), szX);
    EXPECT_EQ(cm_strtok((szX + "y").c_str(), ','), szX);
    EXPECT_EQ(GetCapturedStderr(),
              "string shortend to 8191 chars bcs. of string overflow: strlen(" + szX +
                  "y) > 8191\n");
}
