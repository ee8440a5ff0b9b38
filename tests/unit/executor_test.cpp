// Ways to a device that no operation takes: the second executor and REQUEST SENSE, with the end of
// a socket in place of the device, and the look-up by a pipeline.
#include "fixture.h"

#include "cm_common.h"
#include "device/selection.h"
#include "scsi/executor.h"
#include "scsi/operations.h"
#include "scsi/second_executor.h"

#include <scsi/sg.h>
#include <sys/socket.h>

static const std::string szINQUIRY("\x12\0\0\0\5\0", 6);

class Executor : public Product {
protected:
    unsigned char cBuf[4] = "dat";

    int iDriver = -1; // the other end of the device

    Executor() { gstrDevice = {}; }
    ~Executor() override { vClose(); }

    void vClose()
    {
        close(iDriver);
        close(giDevice);
    }

    // Makes the device. It answers a request with a header, in it the first sense byte, and the
    // data.
    void vSelect(const std::string& szData, unsigned char cSense = 0)
    {
        int iEnds[2];
        sg_header strHeader = {};
        vClose();
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, iEnds), 0);
        iDriver = iEnds[0];
        giDevice = iEnds[1];
        strHeader.sense_buffer[0] = cSense;
        const std::string szReply = std::string((char*)&strHeader, sizeof(strHeader)) + szData;
        send(iDriver, szReply.data(), szReply.size(), 0);
        v_COPY(gszDev, sizeof(gszDev), "sg");
    }

    // What was written to the device at once.
    std::string szRequest() const
    {
        char cRequest[99];
        const ssize_t iLength = recv(iDriver, cRequest, sizeof(cRequest), 0);
        return {cRequest, iLength > 0 ? (size_t)iLength : 0};
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
    vSelect("ABC");
    EXPECT_EQ(iSend(szINQUIRY), 0);
    EXPECT_STREQ((char*)cBuf, "ABC");
    sg_header strHeader = {};
    strHeader.pack_len = 42;
    strHeader.reply_len = 39;
    EXPECT_EQ(szRequest(), std::string((char*)&strHeader, 36) + szINQUIRY);
    EXPECT_EQ(guiIoctl, 30000U);
}

TEST_F(Executor, Output)
{
    for (const std::string szCDB : {"\x1b----------=", "\xa5----------="}) {
        vSelect("ABC");
        EXPECT_EQ(iSend(szCDB), 0);
        EXPECT_STREQ((char*)cBuf, "dat");
        const std::string szSent = szRequest();
        EXPECT_EQ(((const sg_header*)szSent.c_str())->twelve_byte, 1U);
        EXPECT_EQ(szSent.substr(36), szCDB + "dat");
    }
}

TEST_F(Executor, BadAnswer)
{
    CaptureStderr();
    vSelect("AB");
    EXPECT_EQ(iSend(szINQUIRY), IOCTL_ERROR);
    EXPECT_EQ(GetCapturedStderr(), "scsi: result=38 Header->reply_len=39 ResultHeader->result=0 "
                                   "ResultHeader->sense_buffer[0]=0\n");
    vSelect("ABC", 0x70);
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
        vSelect("p" + std::string(17, 0) + szByte);
        CaptureStdout();
        EXPECT_EQ(iScsiRequestSense(1), 0);
        EXPECT_EQ(GetCapturedStdout(), szOutput);
    }
    EXPECT_EQ(szRequest().substr(36), std::string("\3\0\0\0\x13\0", 6));
    vSelect("p" + std::string(17, 0) + "\x81");
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
