// The kernel's listing of devices, and ways to it that no operation takes today.
#include "fixture.h"

#include "device/listing.h"
#include "device/run.h"
#include "device/selection.h"
#include "device/shell.h"
#include "device/tape_node.h"

class Listing : public Product {};

// A line that is too short changes nothing, a number that is too large becomes the largest.
TEST_F(Listing, Bounds)
{
    unsigned long long ull = 0;
    LISTING_ENTRY strEntry = {};
    bReadListingLine("Host: scsi1 Channel: 02 Id: 13 Lun: 0\n", false, &strEntry);
    bReadListingLine("Host: scsi2 Channel: 00 Id: 00 Lun: \n", false, &strEntry);
    EXPECT_STREQ(strEntry.szID, "24-38");
    EXPECT_STREQ(cpReadDigits("184467440737095516160:", &ull), ":");
    EXPECT_EQ(ull, ~0ULL);
}

TEST_F(Listing, Filter)
{
    vWrite("a", "Host: scsi1 Channel: 00 Id: 05 Lun: 00\n  Vendor: A        Model: B\n"
                "  Type:   Medium Changer\n  Type:   Sequential-Access\n  Type:   Disk\n");
    vNameDevice("000", false);
    CaptureStdout();
    EXPECT_EQ(iExecFilter("scan", "cat a; exit 3"), 3 << 8);
    EXPECT_EQ(iExecFilter("", "cat a"), 0);
    gbNoPipe = true;
    EXPECT_EQ(iExecFilter("", "cat a"), -1);
    EXPECT_EQ(GetCapturedStdout(), "ID=050 Loader:  A        B\n\nID=050 Tape:    A        B\n\n" +
                                       szRead("a") + "iExec() ERROR to get file pointer\n");
}

TEST_F(Listing, TapeNode)
{
    const std::string szGot = "GOT '1020304' '0'\niHost:'1'\niId:'4'\niChannel:'2'\niLun:'3'\n";
    const std::string szAll = "COULD NOT OPEN nil\n" + szGot + szGot +
                              "FOUND SAME SCSI ID '1243' FOR DEV 'a'\n"
                              "COULD NOT GET DEVICE INFORMATION\n";
    vWrite("a", "");
    for (int iReport : {0, 1, 10, 11}) {
        CaptureStdout();
        guiIoctl = 0x01020304;
        EXPECT_EQ(iLinuxGetTapeBusInfo("nil", "1243", iReport), 2);
        EXPECT_EQ(iLinuxGetTapeBusInfo("a", "1234", iReport), -1);
        EXPECT_EQ(iLinuxGetTapeBusInfo("a", "1243", iReport), 0);
        guiIoctl = 0;
        EXPECT_EQ(iLinuxGetTapeBusInfo("a", "1243", iReport), 3);
        EXPECT_EQ(GetCapturedStdout(), iReport % 11 == 0 ? "" : szAll);
    }
}
