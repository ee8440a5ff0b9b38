// What the parts of the utility share: the selected device, the one road to it, and the operations.
#pragma once

#include "cm_trace.h"

// Status numbers: the result of every operation and the exit status of the program.
enum {
    MVK_SUCCESS = 0,
    USAGE_ERROR = 1,
    DEVICE_OPEN_ERROR = 2,
    IOCTL_ERROR = 3,
    SCSI_BUS_ERROR = 4,
    MODESENSE_ERROR = 5,
    NOTAPE_ERROR = 6,
    NOLOADER_ERROR = 7,
    BUFFER_ERROR = 8,
    MVK_OCCUPIED = 9,
    DEVICE_NOT_EXIST = 10,
    DEVICE_BUSY = 11,
};

// A status that counts as success, for hosts whose executor reports it.
enum { iVMSTolerantStatus = 32 };

// Size in bytes of the sense area that every command brings along.
enum { iSENSE_SIZE = 20 };

// The device and the run. All live as long as the process and are defined in mvk_state.cpp.
extern char gszID[32];            // "%d%d%d%d" host channel target LUN; set by main, iLinuxGetID
extern char gszDev[1024];         // "/dev/sg<n>"; set by main and iLinuxGetID, opened per command
extern char gszTyp[32];           // "tape", "loader", "unknown"; set by the silent INQUIRY
extern char gszLoaderPresent[32]; // "(no loader)", "(loader present)"; set for a tape likewise
extern char gszCurCmd[128];       // the command line, a blank behind each argument; set by main
extern char gszTest[128];         // the word before a trailing "test"; set by main
extern int giCounter;             // set to 0 by main
extern int giVolTag;              // 16 when listings show volume tags, else 0; set by main
extern int giElementAddress[16][1024]; // row 0: counts by element type; rows 1 to 4: addresses
extern str_log strLog;                 // the program's trace record; set by main

// Capacity of a row of giElementAddress.
enum { iELEMENT_COLUMNS = 1024 };

// The build's own identification, as the usage text shows it.
extern const char gszRevision[];

// Sends one command to the selected device and reads the answer.
// cpCDB, iCDBSize:      the command descriptor block, 6 to 16 bytes.
// cpBuf, iBufSize:      receives what the device returned, at most iBufSize bytes; bytes that did
//                       not arrive stay as they are.
// iIOFlag:              nonzero counts cpBuf in the request's length; only header and CDB are
//                       written all the same.
// cpSense, iSenseSize:  receives sense bytes up to the first zero, zeros behind them.
// iReport:              2 prints debug lines; passed on to the sense decoder.
// Returns 0, DEVICE_OPEN_ERROR, IOCTL_ERROR (write or read failed or was short) or MODESENSE_ERROR
// (sense data in the header that was examined); prints the reason of a failure on standard output.
// Uses the generic driver's sg_header interface (linux/Documentation/scsi/scsi-generic).
int iLinuxScsiCmd(const unsigned char* cpCDB, int iCDBSize, unsigned char* cpBuf, int iBufSize,
                  int iIOFlag, unsigned char* cpSense, int iSenseSize, int iReport);

// The second executor (scsi_exec_alt.cpp), complete and called by no operation. Arguments as above.
// Returns 0, DEVICE_OPEN_ERROR or IOCTL_ERROR.
int iXLinuxScsiCmd(const unsigned char* cpCDB, int iCDBSize, unsigned char* cpBuf, int iBufSize,
                   int iIOFlag, unsigned char* cpSense, int iSenseSize, int iReport);

// Allocates iSize zeroed bytes that the caller frees. Returns null after
// "cannot allocate %d bytes of memory" on standard output.
void* xmalloc(int iSize);

// Reads /proc/scsi/scsi and completes gszID and gszDev from each other (mode "linux_proc_scsi"),
// or prints the bus scan as well ("linux_proc_scsi_scan"). Other modes: "id" finds the device
// through a shell pipeline, "generate" and "remove" load and unload the generic driver.
// Returns 0, -1 when the listing cannot be opened (said on standard output) or the pipeline failed,
// -2 when the pipeline left no result.
int iLinuxGetID(const char* cpMode, int iReport);

// Prints a line for every device of the listing. cpBus is accepted and ignored.
void vScanDevice(const char* cpBus, int iReport);

// Looks through /dev/nst0 to /dev/nst<iMax-1> for the drive whose SCSI ID is cpTape (32 bytes) and
// replaces the ID by its path; leaves the ID when there is none.
void vLinuxScanTape(int iMax, char* cpTape, int iReport);

// Returns 0 when the tape device cpDev has the SCSI ID cpBus, -1 when it has another, 2 when it
// cannot be opened, 3 when its address cannot be read. Prints only for iReport 1 to 10.
int iLinuxGetTapeBusInfo(const char* cpDev, const char* cpBus, int iReport);

// Returns the result of stat(2) on cpFile, 0 when it exists; for iShow >= 1 prints what it found.
int iFileExist(const char* cpFile, int iShow);

// Runs cpCmd and prints its output, parsed like the device listing for mode "scan".
// Returns the close status of the pipe, or -1 with a line on standard output.
int iExecFilter(const char* cpMode, const char* cpCmd);

// Sends INQUIRY. iReport 0 classifies the device silently into gszTyp and gszLoaderPresent; above 0
// it prints the identification line. Returns the executor's status, or NOTAPE_ERROR when a line was
// asked for and the device is neither tape nor changer. SPC, standard INQUIRY data.
int iScsiInquiry(int iReport);

// Prints fixed-format sense data (at least 16 bytes, SPC) for iReport above 1; otherwise nothing.
void vScsiSenseData(const unsigned char* cpSenseData, int iReport);

// Sends REQUEST SENSE and prints a short summary. Returns the executor's status.
int iScsiRequestSense(int iReport);

// READ ELEMENT STATUS (SMC): lists elements, or fills giElementAddress, as cpMode says ("show all",
// "show full", "show empty", "show scsi", "show page", "page code", or a range such as "s:1-5").
// Returns the status of the last command.
int iScsiRES(const char* cpMode, int iReport);

// For a loader fills giElementAddress from the Element Address Assignment page; for a tape prints
// the status summary; otherwise does nothing and returns NOTAPE_ERROR. Else the command's status.
int iScsiModeSense(int iReport);

// Its branch for a loader.
int iLoaderModeSense(int iReport);

// Applies the operator's override of element addresses from the global variable "gv_mvk_adr_<ID>",
// when there is one, to giElementAddress. Returns 0.
int iScsiHardAddress(int iReport);

// Prints the count and first address of each element type in giElementAddress.
void vPrintElementCounts();

// MOVE MEDIUM (SMC) between elements named by kind and number ("s:4", "d:0", "p:1", "t:0").
// Returns USAGE_ERROR with a message for a bad reference, otherwise the executor's status.
int iScsiMoveMedium(const char* cpSource, const char* cpTarget, const char* cpTransport,
                    int iReport);

// MOVE MEDIUM between raw decimal element addresses. Returns the executor's status.
int iScsiHardMoveMedium(const char* cpSource, const char* cpTarget, const char* cpTransport,
                        int iReport);

// The six-byte commands without data: "inventory", "allow", "prevent", "load", "unload", "rewind";
// any other word sends TEST UNIT READY. Returns the executor's status.
int iScsiCmdCDB6(const char* cpMode, int iReport);

// ERASE of the whole medium, returning at once. Returns the executor's status.
int iScsiCmdErase(int iReport);

// Dumps mode pages: "all_pages_6", "all_pages_10", "eeprom_6", "eeprom_10".
// Returns 0, the executor's status, or USAGE_ERROR for an unknown mode or a reply over 8191 bytes.
int iScsiCmdModeSense(const char* cpMode, int iReport);

// MODE SELECT of one setting: "set_block_size", "set_density_code", "set_dce" to the decimal cpVal;
// cpKey is not used. Returns the executor's status, or USAGE_ERROR for an unknown mode.
int iScsiCmdModeSelect(const char* cpMode, const char* cpKey, const char* cpVal, int iReport);

// READ ATTRIBUTE (SPC): "medium" lists from 0x0400, "medium_type" tells write-once media, a word
// with "0x" lists from that identifier. Returns the executor's status, or USAGE_ERROR for an
// unknown mode or a reply over 8191 bytes.
int iScsiCmdReadAttributes(const char* cpMode, int iReport);

// Writes the line "cpKey cpVal" into the drive's vendor page; cpMode is not used.
// Returns the executor's status, or USAGE_ERROR with a message when key or value is missing.
int iScsiCmdSetEeprom(const char* cpMode, const char* cpKey, const char* cpVal, int iReport);

// Reads the first block of the tape and prints its label; cpMode is not used.
// Returns the executor's status.
int iScsiCmdCDBRead(const char* cpMode, int iReport);

// Prints the usage text with the program name cpMyName; iExtendedUsage adds the rarer commands.
void vUsage(const char* cpMyName, int iExtendedUsage);

// Ends the reports of a run: flushes standard output and prints the result line of iStatus on
// standard error. Returns iStatus.
int iReturnState(int iStatus);
