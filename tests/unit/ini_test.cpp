// The reader of INI files.
#include "fixture.h"

#include "cm_common.h"

// The key is "k"; the answer is the value or the message.
struct ROW {
    const char* cpName;
    std::string szText;
    std::string szAnswer;
    const char* cpSection = "[S]";
};

static const std::string szI = "i_GetPrivateProfileString: ";

// As many references one behind the other, then a value.
static std::string szChain(int iReferences)
{
    std::string szText = "[S]\nk";
    for (int i = 1; i <= iReferences; i++)
        szText += "=%(" + std::to_string(i) + ")\n" + std::to_string(i);
    return szText + "=end\n";
}

static const ROW strLookups[] = {
    {"FoldsCase", "[sz] x\nK=/X y  \n", "/X y", "[SZ]"},
    {"PrefixOfHeader", "k=1\n[SX]\nk=2\nk=3\n", "2", "[S"},
    {"KeepsOtherThanBlanks", "[S]\r\nk= a#b=c \r\n", " a#b=c \r"},
    {"AnySection", "kk=1\n[A]\n#k=2\nk=3\n[B]\nk=4\n", "3", nullptr},
    {"FirstLineIsHeader", "\n#c\nk=1\nk=2\n[B]\nk=3\n", "2", ""},
    {"SplitsLongLine", "[S]\n" + std::string(1023, 'x') + "k=2\n", "2"},
    {"Reference", "[S]\nini=/x\nk=%(INI)/d\n", "/x/d"},
    {"FirstReferenceOnly", "[S]\nk=a%(x)b%(y)\n[DEFAULT]\nx=1\ny=2\n", "a1b%(y)"},
    {"DefaultForEmptyValue", "[S]\nk=<%(c)>\nc=\n[DEFAULT]\nc=1\n", "<1>"},
    {"NoClosing", "[S]\nk=x%(b\nb=1\n", "x1"},
    {"LongestChain", szChain(64), "end"},
    {"LongerChain", szChain(65), szI + "KEY NOT FOUND: 1"},
    {"LostOnlyInOneSection", "[S]\nk=<%(a)\na=%(b)\nb=%(c)\n[DEFAULT]\na=1%(d)\nd=2\n", "<12"},
    {"HeaderInFirstColumn", " [S]\nk=1\n", szI + "SECTION NOT FOUND: [s]."},
    {"KeyInFirstColumn", "[S]\nk =1\n k=2\n#k=3\n", szI + "KEY NOT FOUND: k"},
    {"SecondHeaderEnds", "[S]\na=1\n[S]\nk=2\n", szI + "KEY NOT FOUND [S]k"},
    {"EmptyValue", "[S]\nk=\nk=2\n", szI + "KEY VALUE NOT FOUND."},
    {"NotInDefault", "[S]\nk=%(b)\n[DEFAULT]\n[Q]\n", szI + "KEY NOT FOUND [DEFAULT]b"},
    {"Circle", "[S]\nk=x%(k)\n[DEFAULT]\nk=%(k)\n", szI + "KEY NOT FOUND: k"},
    {"CircleThatDefaultCouldLeave", "[S]\nk=x%(k)\n[DEFAULT]\nk=1\n", szI + "KEY NOT FOUND: k"},
};

using Ini = Table<ROW>;
INSTANTIATE_TEST_SUITE_P(, Ini, testing::ValuesIn(strLookups), cpRowName);

TEST_P(Ini, Lookup)
{
    const auto& [cpName, szText, szAnswer, cpSection] = GetParam();
    char szValue[1024];
    char szMsg[256];
    vWrite("a", szText);
    const int i = i_GetPrivateProfileString("a", cpSection, "k", szValue, 1024, szMsg, 256);
    EXPECT_EQ(i == 1 ? szValue : szMsg, szAnswer);
}

TEST_F(Product, NoMemoryForReference)
{
    char szText[] = "as it was";
    vWrite("a", "[S]\nk=%(x)\nx=1\n");
    gbNoMemory = true;
    EXPECT_EQ(i_GetPrivateProfileString("a", "[S]", "k", nullptr, 0, szText, 9), 0);
    gbNoMemory = false;
    EXPECT_STREQ(szText, "as it was");
}

// A device in the place of the file, as endless as it may be, holds nobody up.
TEST_F(Product, EndlessFile)
{
    char szValue[9];
    EXPECT_EQ(symlink("/dev/zero", "a"), 0);
    alarm(60);
    EXPECT_EQ(i_GetPrivateProfileString("a", "[S]", "k", szValue, 9, nullptr, 0), 0);
    alarm(0);
}
