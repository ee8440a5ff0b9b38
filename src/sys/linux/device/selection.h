// Discovery: finds devices and their nodes, and prints the bus scan.
#pragma once

// Goes through the devices of /proc/scsi/scsi, or of sysfs on a kernel that is built without it,
// and completes gszID and gszDev from each other (mode "linux_proc_scsi"), or prints the bus scan
// as well ("linux_proc_scsi_scan"). Other modes: "id" finds the device through a shell pipeline,
// "generate" and "remove" load and unload the generic driver. Where sysfs knows the selected
// device, later calls of the run select no other one: when it is gone, gszDev becomes its ID.
// Returns 0, -1 when the listing cannot be opened (said on standard output) or the pipeline failed,
// -2 when the pipeline left no result.
int iLinuxGetID(const char* cpMode, int iReport);

// Opens the file that gszDev names, reading and writing. Nothing is opened for an ID or an address
// that leads to no node, nor where gszDev is the node of something else than a generic device (see
// cpWhyNotOpened in name.h). Where sysfs knows the selected device, neither the node nor what
// was opened may be any other. Returns the descriptor, or -1; the trace has the reason.
int iOpenDevice();

// Prints a line for every device of the listing. cpBus is accepted and ignored.
void vScanDevice(const char* cpBus, int iReport);
