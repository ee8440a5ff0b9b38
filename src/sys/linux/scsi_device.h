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

// Returns false when sysfs knew the device that the run selected, but gszDev does not lead to it
// any more; otherwise true, also without sysfs. Asked behind an open, it tells what the open file
// is.
bool bDevIsPinned();

// Prints a line for every device of the listing. cpBus is accepted and ignored.
void vScanDevice(const char* cpBus, int iReport);
