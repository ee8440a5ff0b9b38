// Ways to a device that no operation takes: the second executor and REQUEST SENSE, with a
// file in place of the device, and the look-up by a pipeline.
#include "fixture.h"

#include "cm_common.h"
#include "device/selection.h"
#include "mvk.h"
#include "scsi/operations.h"
#include "scsi/second_executor.h"

#include <scsi/sg.h>

static const std::string szINQUIRY("\x12\0\0\0\5\0", 6);

class Executor : public Product {
protected:
    unsigned char cBuf[4] = "dat";

    Executor() { gszID[0] = '\0'; }

    // Makes the device: a request of uiRequest bytes overwrites the start of the file; behind that
    // comes the answer, a header of 36 bytes with the first sense byte, and the data.
    static void vSelect(size_t uiRequest, const std::string& szData, char cSense = 0)
    {
        vWrite("sg", std::string(uiRequest + 20, 0) + cSense + std::string(15, 0) + szData);
        v_COPY(gszDev, sizeof(gszDev), "sg");
    }

    // Sends a command with three bytes of data.
    int iSend(const std::string& szCDB)
    {
        return iXLinuxScsiCmd((const unsigned char*)szCDB.data(), (int)szCDB.size(), cBuf, 3, 1,
                              nullptr, 0, 1);
    }
};

TEST_F(Executor, Input)
{
    vSelect(42, "ABC");
    EXPECT_EQ(iSend(szINQUIRY), 0);
    EXPECT_STREQ((char*)cBuf, "ABC");
    sg_header strHeader = {};
    strHeader.pack_len = 42;
    strHeader.reply_len = 39;
    EXPECT_EQ(szRead("sg").substr(0, 42), std::string((char*)&strHeader, 36) + szINQUIRY);
    EXPECT_EQ(guiIoctl, 30000U);
}

TEST_F(Executor, Output)
{
    for (const std::string szCDB : {"\x1b----------=", "\xa5----------="}) {
        vSelect(51, "ABC");
        EXPECT_EQ(iSend(szCDB), 0);
        EXPECT_STREQ((char*)cBuf, "dat");
        EXPECT_EQ(((const sg_header*)szRead("sg").c_str())->twelve_byte, 1U);
        EXPECT_EQ(szRead("sg").substr(36, 15), szCDB + "dat");
    }
}

TEST_F(Executor, BadAnswer)
{
    CaptureStderr();
    vSelect(42, "AB");
    EXPECT_EQ(iSend(szINQUIRY), IOCTL_ERROR);
    EXPECT_EQ(GetCapturedStderr(), "scsi: result=38 Header->reply_len=39 ResultHeader->result=0 "
                                   "ResultHeader->sense_buffer[0]=0\n");
    vSelect(42, "ABC", 0x70);
    EXPECT_EQ(iSend(szINQUIRY), IOCTL_ERROR);
    EXPECT_STREQ((char*)cBuf, "dat");
}

TEST_F(Executor, RequestSense)
{
    const std::string szReports[][3] = {
        {"tape", "\x82", "Tape Info\ncleaning_bit=0\n"},
        {"tape", "\x7F", "Tape Info\n"},
        {"loader", "\x81", "Loader Info\n"},
    };
    vWrite("scsi", "");
    for (const auto& [szType, szByte, szOutput] : szReports) {
        v_COPY(gszTyp, sizeof(gszTyp), szType.c_str());
        vSelect(42, "p" + std::string(17, 0) + szByte);
        CaptureStdout();
        EXPECT_EQ(iScsiRequestSense(1), 0);
        EXPECT_EQ(GetCapturedStdout(), szOutput);
    }
    EXPECT_EQ(szRead("sg").substr(36, 6), std::string("\3\0\0\0\x13\0", 6));
    CaptureStdout();
    iScsiRequestSense(2);
    EXPECT_TRUE(GetCapturedStdout().ends_with("Loader Info\ndebug info\n[ 0]=70 [18]=81 \n"));
}

TEST_F(Executor, LookUpByPipeline)
{
    vWrite("scsi", "Host: scsi0 Channel: 00 Id: 05 Lun: 02\n"
                   "Host: scsi1 Channel: 00 Id: 05 Lun: 02\n");
    for (const std::string szID : {"0052", "1052"}) {
        v_COPY(gszID, sizeof(gszID), szID.c_str());
        EXPECT_EQ(iLinuxGetID("id", 0), 0);
        EXPECT_EQ(gszDev, "/dev/sg" + szID.substr(0, 1));
    }
}
