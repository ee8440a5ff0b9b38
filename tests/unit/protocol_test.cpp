// The protocol log.
#include "fixture.h"

#include "cm_kernel.h"

#define NOW "2001-02-03 09:05:07 "
#define HEAD NOW "E003-BASICS [  4711]: "
#define USAGE "nvalid usage of PROT: prefix with format argument '%s': >E003-%s-XYZ <\n"

struct MESSAGE {
    const char* cpName;
    std::string szFormat;
    std::string szArgument;
    std::string szProtocol;
    std::string szStderr = "";
};

static const std::string szX(6000, 'x');
static const std::string szCut =
    NOW "E999-BASICS [  4711]: Error: The following output was shortened (5120 <> 6042)\n";

static const MESSAGE strMessages[] = {
    {"Lines", "E003-BASICS  a\n\n%s\n", "b", HEAD "a\n" HEAD "\n" HEAD "b\n" HEAD "\n"},
    {"TagWithConversion", "E003-%s-XYZ  text", "BAS",
     NOW "W999-BASICS [  4711]: I" USAGE NOW "E003-BAS-XYZ [  4711]: text\n",
     "PROT: WARNING: i" USAGE},
    {"LongText", "E003-BASICS  %s", szX, szCut + HEAD + szX.substr(923) + "\n", szCut},
};

using Protocol = Table<MESSAGE>;
INSTANTIATE_TEST_SUITE_P(, Protocol, testing::ValuesIn(strMessages), cpRowName);

// The formats come from the table here, where the compiler does not check them.
static void (*const vProt)(const char*, ...) = PROT;

TEST_P(Protocol, Message)
{
    const auto& [cpName, szFormat, szArgument, szProtocol, szStderr] = GetParam();
    vWrite("prot", "before\n");
    CaptureStderr();
    vProt(szFormat.c_str(), szArgument.c_str());
    EXPECT_EQ(GetCapturedStderr(), szStderr);
    EXPECT_EQ(szRead("prot"), "before\n" + szProtocol);
}

class ProtocolFile : public Product {};

TEST_F(ProtocolFile, IsMissing)
{
    CaptureStderr();
    vWrite("glbv/gv_prot.sgv", "nil/prot");
    PROT("E003-BASICS  text");
    vWrite("glbv/gv_prot.sgv", "?");
    PROT("E003-BASICS  text");
    EXPECT_EQ(GetCapturedStderr(), "\nNo gv_prot defined! kq_start_all necessary!\n");
}
