// The store of global variables.
#include "fixture.h"

#include "cm_common.h"
#include "cm_hal_unix.h"
#include "cm_trace.h"

#include <filesystem>

class Store : public Product {
protected:
    // One service; szIn goes in, what the routine returns comes out.
    static std::string szGlbv(char cFunction, std::string szName, const char* cpIn = "old")
    {
        char szValue[iGLBV_VALUE_SIZE];
        v_COPY(szValue, sizeof(szValue), cpIn);
        return glbv(cFunction, szName.data(), szValue);
    }
};

TEST_F(Store, WritesAndReads)
{
    EXPECT_EQ(szGlbv('w', "a/b\\c", "1234"), "1234");
    EXPECT_EQ(szGlbv('w', "a/b\\c", "56"), "56");
    EXPECT_EQ((unsigned)std::filesystem::status("glbv/a_b_c.sgv").permissions(), 0644U);
    EXPECT_EQ(szGlbv('R', "a_b_c"), "56");
    CaptureStderr();
    EXPECT_EQ(szGlbv('r', "a\\b/c"), "?? GLBV a_b_c not existing");
    EXPECT_EQ(GetCapturedStderr(), "");
}

TEST_F(Store, DirectoryIsNotConfigured)
{
    const std::string szTexts[] = {
        "Fatal software error FILE=../cm_hal_unix LINE",
        "Fataler Software Fehler FILE=../cm_hal_unix ZEILE",
        "do is a ganz a groba Fälla in FILE=../cm_hal_unix ZEILE",
        "Fatal software error FILE=../cm_hal_unix LINE",
    };
    vWrite("kq.ini", "");
    for (int i : {0, 1, 2, 3}) {
        eLang = (LANGUAGES)i;
        EXPECT_EQ(szGlbv('r', "n"), szTexts[i] + "=249 ( error reading kq_ini)");
    }
}

TEST_F(Store, NothingToRead)
{
    vWrite("glbv/v.sgv", "");
    CaptureStderr();
    EXPECT_EQ(szGlbv('R', "v"), "?? GLBV v not existing");
    EXPECT_FALSE(std::filesystem::exists("glbv/v.sgv"));
    std::filesystem::remove_all("glbv");
    szGlbv('d', "v*");
    EXPECT_EQ(GetCapturedStderr(), "glbv() read failed: empty file\n"
                                   "glbv: Error in opendir( glbv/ ): No such file or directory\n");
}

TEST_F(Store, Deletes)
{
    for (const char* cpFile : {"glbv/a_1.sgv", "glbv/a_22.sgv", "glbv/b.sgv"})
        vWrite(cpFile, "x");
    EXPECT_EQ(szGlbv('d', "a/1"), "a_1");
    // No pattern without "*", and the suffix counts.
    szGlbv('d', "?");
    szGlbv('d', "a_*2");
    EXPECT_EQ(szRead("glbv/a_1.sgv") + szRead("glbv/a_22.sgv") + szRead("glbv/b.sgv"), "xx");
    EXPECT_EQ(szGlbv('d', "a_*"), "a_*");
    EXPECT_EQ(szRead("glbv/a_22.sgv") + szRead("glbv/b.sgv"), "x");
}

// The mark has a fixed place, also where the text ends before it.
TEST_F(Store, JoinsAndCutsLines)
{
    const std::string szA(510, 'a');
    const std::string szB(450, 'b');
    const std::string szTexts[][2] = {
        {szA + "\n\nb", szA + "b"},
        {szA + "aa", szA + ">"},
        {szA.substr(210) + "\n" + szB.substr(238), szA.substr(210) + szB.substr(240) + ">"},
        {szA.substr(410) + "\n" + szB, szA.substr(410) + szB.substr(389)},
    };
    for (const auto& [szText, szValue] : szTexts) {
        vWrite("glbv/v.sgv", szText);
        EXPECT_EQ(szGlbv('r', "v"), szValue);
    }
}

TEST_F(Store, ReportsFullDisk)
{
    std::filesystem::create_symlink("/dev/full", "glbv/v.sgv");
    const std::string szFull = "?? GLBV v cannot be created: No space left on device";
    CaptureStderr();
    EXPECT_EQ(szGlbv('w', "v", "1"), szFull);
    EXPECT_EQ(GetCapturedStderr(),
              "glbv() write glbv/v.sgv failed: No space left on device (28)\n");
    EXPECT_EQ(szRead("prot"), "2001-02-03 09:05:07 Error: GLBV:[  4711]: " + szFull + "\n");
}

// The protocol takes its file from the store, and the store reports to the protocol.
TEST_F(Store, ProtocolIsUnreadable)
{
    std::filesystem::remove("glbv/gv_prot.sgv");
    std::filesystem::create_directory("glbv/gv_prot.sgv");
    CaptureStderr();
    EXPECT_EQ(szGlbv('r', "gv_prot"), "?? GLBV gv_prot not existing: Is a directory");
    EXPECT_EQ(GetCapturedStderr(), "glbv() read glbv/gv_prot.sgv failed: Is a directory (21)\n");
}
