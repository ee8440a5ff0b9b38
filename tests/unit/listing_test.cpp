// The kernel's listing of devices, and ways to it that no operation takes today.
#include "fixture.h"

#include "cm_common.h"
#include "device/listing.h"
#include "device/shell.h"
#include "device/tape_node.h"
#include "mvk.h"
#include "scsi/operations.h"

#include <filesystem>

class Listing : public Product {};

// What sysfs says of /dev/sg0.
static void vLink(const char* cpAddress)
{
    std::filesystem::create_directories("scsi_generic/sg0");
    std::filesystem::remove("scsi_generic/sg0/device");
    std::filesystem::create_symlink(cpAddress, "scsi_generic/sg0/device");
}

// Between the look-up and the open another device takes the node over: it gets no command.
TEST_F(Listing, NodeIsTakenOver)
{
    vWrite("scsi", "Host: scsi0 Channel: 00 Id: 03 Lun: 00\n  Type:   Sequential-Access\n");
    vWrite("sg0", "");
    vLink("../0:0:3:0");
    for (const char* cpDevice : {"0030", "/dev/sg0"}) {
        v_COPY(gszID, sizeof(gszID), cpDevice);
        v_COPY(gszDev, sizeof(gszDev), cpDevice);
        gvBeforeOpen = [] { vLink("../0:0:4:0"); };
        CaptureStdout();
        EXPECT_EQ(iScsiCmdErase(REPORT_NORMAL), DEVICE_OPEN_ERROR);
        EXPECT_EQ(GetCapturedStdout(), "Could not open /dev/sg0\n");
        EXPECT_EQ(szRead("sg0"), "");
        vLink("../0:0:3:0");
        gvBeforeOpen = nullptr;
        CaptureStdout();
        EXPECT_EQ(iScsiCmdErase(REPORT_NORMAL), IOCTL_ERROR); // a plain file has no reply
        GetCapturedStdout();
        EXPECT_EQ(szRead("sg0").size(), 42U);
        vWrite("sg0", "");
    }
}

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
    v_COPY(gszID, sizeof(gszID), "000");
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
