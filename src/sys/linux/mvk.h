// What the parts of the utility share: the status numbers, the selected device, the one road to it,
// and the frame of a run. The operations are declared by group in scsi.h, changer.h and tape.h.
#pragma once

#include "device/levels.h"

#include "cm_trace.h"

#include <stddef.h>

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

// A status of the executor that counts as success. The executor here never returns it.
enum { iVMSTolerantStatus = 32 };

// Size in bytes of the sense area that every command brings along.
enum { iSENSE_SIZE = 20 };

// Capacity of a row of giElementAddress: every 16-bit address. What no run fills takes no memory.
enum { iELEMENT_COLUMNS = 1 << 16 };

// The device and the run. All live as long as the process and are defined in mvk_state.cpp.
extern char gszID[32];            // "%d%d%d%d" host channel target LUN; set by main, iLinuxGetID
extern char gszDev[1024];         // "/dev/sg<n>"; set by main and iLinuxGetID, opened per command
extern char gszTyp[32];           // "tape", "loader", "unknown"; set by the silent INQUIRY
extern char gszLoaderPresent[32]; // "(no loader)", "(loader present)"; set for a tape likewise
extern char gszCurCmd[128];       // the command line, a blank behind each argument; set by main
extern char gszTest[128];         // the word before a trailing "test"; set by main
extern int giCounter;             // set to 0 by main
extern int giVolTag;              // 16 when listings show volume tags, else 0; set by main
extern int giElementAddress[16]
                           [iELEMENT_COLUMNS]; // row 0: counts by element type; 1 to 4: addresses
extern str_log strLog;                         // the program's trace record; set by main

// The build's own identification, as the usage text shows it.
extern const char gszRevision[];

// Sends one command to the selected device and reads the answer.
// cpCDB, iCDBSize:      the command descriptor block, 6 to 16 bytes.
// cpBuf, iBufSize:      receives what the device returned, at most iBufSize bytes; bytes that did
//                       not arrive stay as they are.
// iIOFlag:              nonzero counts cpBuf in the request's length; only header and CDB are
//                       written all the same.
// cpSense, iSenseSize:  receives zeros: what a device has sensed is asked for by REQUEST SENSE.
// iReport:              2 prints debug lines; passed on to the sense decoder.
// What a unit attention kept from beginning is sent again. Returns 0, DEVICE_OPEN_ERROR (also when
// another device has taken the node over), IOCTL_ERROR (write or read failed or was short) or
// MODESENSE_ERROR (an erase that met another medium, with a line on standard error); prints the
// reason of other failures on standard output. Uses the generic driver's sg_header interface
// (linux/Documentation/scsi/scsi-generic).
int iLinuxScsiCmd(const unsigned char* cpCDB, int iCDBSize, unsigned char* cpBuf, int iBufSize,
                  int iIOFlag, unsigned char* cpSense, int iSenseSize, int iReport);

// The same for the operations, which judge a reply by its data: no flag, no sense area.
// cpCDB, uiCDBSize:  the command, 6 to 16 bytes.
// cpBuf, iBufSize:   the reply, and a parameter list before it.
// Returns and prints what iLinuxScsiCmd does.
int iSendCommand(const unsigned char* cpCDB, size_t uiCDBSize, unsigned char* cpBuf, int iBufSize,
                 int iReport);

// The same for a command that may well fail: what fails is not said.
int iTryCommand(const unsigned char* cpCDB, size_t uiCDBSize, unsigned char* cpBuf, int iBufSize,
                int iReport);

// Allocates iSize zeroed bytes that the caller frees. Returns null after
// "cannot allocate %d bytes of memory" on standard output.
void* xmalloc(int iSize);

// Prints the usage text with the program name cpMyName; iExtendedUsage adds the rarer commands.
void vUsage(const char* cpMyName, int iExtendedUsage);

// Ends the reports of a run: flushes standard output and prints the result line of iStatus on
// standard error. Returns iStatus.
int iReturnState(int iStatus);

// One run of the program from its arguments to the result line; argc and argv as main gets them.
// Returns the exit status of the process.
int iMvkMain(int argc, char** argv);
