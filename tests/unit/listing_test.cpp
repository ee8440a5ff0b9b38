// The kernel's listing of devices, and the address that a tape node tells.
#include "fixture.h"

#include "device/address.h"
#include "device/listing.h"
#include "device/run.h"
#include "device/tape_node.h"

// A line that is too short changes nothing, a number that is too large becomes the largest.
TEST(Listing, Bounds)
{
    unsigned long long ull = 0;
    LISTING_ENTRY strEntry = {};
    bReadListingLine("Host: scsi1 Channel: 02 Id: 13 Lun: 0\n", false, &strEntry);
    bReadListingLine("Host: scsi2 Channel: 00 Id: 00 Lun: \n", false, &strEntry);
    EXPECT_STREQ(strEntry.szID, "24-38");
    EXPECT_STREQ(cpReadDigits("184467440737095516160:", &ull), ":");
    EXPECT_EQ(ull, ~0ULL);
}

// What a node tells: nothing, as it cannot be opened or fails, or the address of a drive.
TEST_F(Product, TapeNode)
{
    vWrite("a", "");
    guiAddress = 0x01020304; // host, channel, LUN and target
    EXPECT_EQ(iLinuxGetTapeBusInfo("nil", "1243", 0), DEVICE_OPEN_ERROR);
    EXPECT_EQ(iLinuxGetTapeBusInfo("a", "1234", 0), -1);
    EXPECT_EQ(iLinuxGetTapeBusInfo("a", "1243", 0), 0);
    guiAddress = 0;
    EXPECT_EQ(iLinuxGetTapeBusInfo("a", "1243", 0), IOCTL_ERROR);
}
