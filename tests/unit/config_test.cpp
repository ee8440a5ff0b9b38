// The configuration roots, and paths made of keys of kq.ini.
#include "fixture.h"

#include "cm_hal_unix.h"
#include "cm_kernel.h"

// Texts of the file in TARVO_INI (null when that is not set) and of the two fixed ones. The answer
// is the value, or the file that the message names.
struct ROOT {
    const char* cpName;
    const char* cpEnvironment;
    const char* cpOpt;
    const char* cpEtc;
    const char* cpAnswer;
};

static const ROOT strRoots[] = {
    {"EnvironmentWins", "x\nKQ_INI=a\n", "x\nKQ_INI=b\n", "x\nKQ_INI=c\n", "a"},
    {"FirstLineIsHeader", "KQ_INI=a\n", "KQ_INI=b\n", "x\n#\nkq_ini=C\n", "C"},
    {"None", "x\n[y]\nKQ_INI=a\n", "", "", "/etc/opt/tarvo/tarvo.ini"},
    {"NoneAtAll", nullptr, "", "", "/etc/tarvo2000.ini"},
};

using Root = Table<ROOT>;
INSTANTIATE_TEST_SUITE_P(, Root, testing::ValuesIn(strRoots), cpRowName);

TEST_P(Root, Lookup)
{
    const auto& [cpName, cpEnvironment, cpOpt, cpEtc, cpAnswer] = GetParam();
    const std::string szNone = "i_GET_ROOT_FOR_INI: NO TARVO CONFIGURATION FILE FOUND: ";
    char szValue[9];
    char szMsg[99];
    if (cpEnvironment != nullptr)
        vWrite("root.ini", cpEnvironment);
    else
        unsetenv("TARVO_INI");
    vWrite("tarvo.ini", cpOpt);
    vWrite("tarvo2000.ini", cpEtc);
    if (i_GET_ROOT_FOR_INI("KQ_INI", szValue, 9, szMsg, 99))
        EXPECT_STREQ(szValue, cpAnswer);
    else
        EXPECT_EQ(szMsg, szNone + cpAnswer);
}

class Config : public Product {};

TEST_F(Config, MissingKey)
{
    char szValue[6] = "old";
    char szMsg[99];
    i_READ_INI("", "[Pathes]", "nil", szValue, 6, szMsg, 99);
    EXPECT_STREQ(szMsg, "i_READ_INI: i_GetPrivateProfileString: KEY NOT FOUND [Pathes]nil");
    EXPECT_STREQ(szValue, "");
}

TEST_F(Config, Path)
{
    char szPath[16] = "gv_rw_work:a:b:";
    resolve_path(szPath, sizeof(szPath));
    EXPECT_STREQ(szPath, "work/a:b:");
}
