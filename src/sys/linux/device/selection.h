// Selection: what the run's device is, from its name to the open file.
#pragma once

#include "device/device.h"

// Begins a run on the device that cpName names: an ID, an address (host:channel:target:LUN) or a
// path. Nothing is opened. Where sysfs knows the device of an address or of a path, any node of it,
// the run keeps to this device, and a path becomes that of its generic node. bChanges: the
// operation changes something.
void vNameDevice(const char* cpName, bool bChanges);

// Finds the device of an ID of three digits ahead of the first command, where sysfs knows devices;
// any other name has told by now whether sysfs knows its device.
void vFindAhead();

// Writes the ID of the run's device into szID when sysfs knows the device and it was given another
// name; otherwise makes it empty.
void vOtherID(char (&szID)[iID_SIZE]);

// Goes through the devices of /proc/scsi/scsi, or of sysfs on a kernel that is built without it,
// and completes gszID and gszDev from each other (mode "linux_proc_scsi"), or prints the bus scan
// as well ("linux_proc_scsi_scan"), or says nothing of a failure ("linux_proc_scsi_quiet"). Other
// modes: "id" finds the device through a shell pipeline, "generate" and "remove" load and unload
// the generic driver. Where sysfs knows the selected device, later calls of the run select no other
// one: when it is gone, gszDev becomes its ID. An ID that several devices share, and a device that
// is neither loader nor drive, may set gstrDevice.iRefusal, with a line on standard error. Returns
// 0, -1 when the listing cannot be opened (said on standard output) or the pipeline failed, -2 when
// the pipeline left no result.
int iLinuxGetID(const char* cpMode, int iReport);

// Opens the file that gszDev names, reading and writing. Nothing is opened for an ID or an address
// that leads to no node, nor for a node of anything but a generic device; regular files, pipes,
// sockets, /dev/null, /dev/zero and /dev/full serve as they come, and what cannot be looked at is
// tried. Where sysfs knows the selected device, neither the node nor what was opened may be any
// other. Returns the descriptor, or -1; the trace has the reason.
int iOpenDevice();

// Prints a line for every device of the listing. cpBus is accepted and ignored.
void vScanDevice(const char* cpBus, int iReport);
