// The selected device as the operations see it, and the one road to it.
#pragma once

#include "device/device.h"
#include "device/run.h"

#include <stddef.h>

// A status of the executor that counts as success. The executor here never returns it.
enum { iVMSTolerantStatus = 32 };

// Size in bytes of the sense area that every command brings along.
enum { iSENSE_SIZE = 20 };

// The ID, "%d%d%d%d" host channel target LUN, and the path of the device, "/dev/sg<n>"; both are
// the name at first. Set by the front end and by iLinuxGetID.
inline constexpr char (&gszID)[sizeof(DEVICE::szID)] = gstrDevice.szID;
inline constexpr char (&gszDev)[sizeof(DEVICE::szDev)] = gstrDevice.szDev;

extern char gszTyp[32];           // "tape", "loader", "unknown"; set by the silent INQUIRY
extern char gszLoaderPresent[32]; // "(no loader)", "(loader present)"; set for a tape likewise
extern char gszCurCmd[128];       // the command line, a blank behind each argument; set by main

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
// reason of other failures on standard output. Sends nothing and returns gstrDevice.iRefusal when
// selection has set it, which has said why. Uses the generic driver's sg_header interface
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
