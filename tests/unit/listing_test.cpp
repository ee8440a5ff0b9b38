// The kernel's listing of devices.
#include "fixture.h"

#include "device/address.h"
#include "device/listing.h"

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

// The kernel's address word names target, LUN, channel and host, from the lowest byte up.
TEST(Listing, AddressWord)
{
    char szID[iADDRESS_SIZE];
    const SCSI_ADDRESS strAddress = strAddressOfWord(0x01020304);
    EXPECT_STREQ(cpFullID(&strAddress, szID), "1243");
}
