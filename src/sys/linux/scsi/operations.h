// Commands that every SCSI device has: identification, sense data, control without a reply.
#pragma once

// Sends INQUIRY. iReport 0 classifies the device silently into gszTyp and gszLoaderPresent; above 0
// it prints the identification line. Returns the executor's status, or NOTAPE_ERROR when a line was
// asked for and the device is neither tape nor changer. SPC, standard INQUIRY data.
int iScsiInquiry(int iReport);

// Sends REQUEST SENSE for iBufSize bytes of sense data in fixed format (SPC), at most 255, into
// cpBuf. Returns the executor's status.
int iRequestSense(unsigned char* cpBuf, int iBufSize, int iReport);

// Sends REQUEST SENSE and prints a short summary. Returns the executor's status.
int iScsiRequestSense(int iReport);

// The six-byte commands without data: "inventory", "allow", "prevent", "load", "unload", "rewind";
// any other word sends TEST UNIT READY. Returns the executor's status.
int iScsiCmdCDB6(const char* cpMode, int iReport);

// ERASE of the whole medium, returning at once. Returns the executor's status.
int iScsiCmdErase(int iReport);
