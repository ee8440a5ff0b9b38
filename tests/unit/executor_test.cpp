// The second executor, which no operation calls, with the end of a socket in place of the device.
#include "fixture.h"

#include "scsi/second_executor.h"

#include <scsi/sg.h>
#include <sys/socket.h>

// A header, and a CDB with data or the data alone.
struct MESSAGE {
    sg_header strHeader;
    char szRest[32];
};

TEST(SecondExecutor, WritesAndReads)
{
    int iEnds[2];
    MESSAGE strSent = {};
    const MESSAGE strReply = {{}, "ABC"};
    unsigned char cData[] = "dat";
    unsigned char cSense[16];
    const unsigned char cCDB[] = "\xa5----------=";
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, iEnds), 0);
    send(iEnds[1], &strReply, 39, 0);
    EXPECT_EQ(SCSI_ExecuteCommand(iEnds[0], Output, cCDB, 12, cData, 3, cSense), 0);
    EXPECT_EQ(recv(iEnds[1], &strSent, sizeof(strSent), 0), 51);
    EXPECT_EQ(strSent.strHeader.pack_len, 51);
    EXPECT_EQ(strSent.strHeader.reply_len, 39);
    EXPECT_EQ(strSent.strHeader.twelve_byte, 1U);
    EXPECT_STREQ(strSent.szRest, "\xa5----------=dat");
    send(iEnds[1], &strReply, 39, 0);
    EXPECT_EQ(SCSI_ExecuteCommand(iEnds[0], Input, cCDB, 6, cData, 3, cSense), 0);
    EXPECT_STREQ((char*)cData, "ABC");
    CaptureStderr();
    send(iEnds[1], &strReply, 38, 0);
    EXPECT_EQ(SCSI_ExecuteCommand(iEnds[0], Input, cCDB, 6, cData, 3, cSense), -1);
    EXPECT_EQ(GetCapturedStderr(), "scsi: result=38 Header->reply_len=39 ResultHeader->result=0 "
                                   "ResultHeader->sense_buffer[0]=0\n");
    close(iEnds[0]);
    close(iEnds[1]);
}
