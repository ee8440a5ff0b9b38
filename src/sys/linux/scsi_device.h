// Discovery: finds devices and their nodes, and prints the bus scan.
#pragma once

// Reads /proc/scsi/scsi and completes gszID and gszDev from each other (mode "linux_proc_scsi"),
// or prints the bus scan as well ("linux_proc_scsi_scan"). Other modes: "id" finds the device
// through a shell pipeline, "generate" and "remove" load and unload the generic driver.
// Returns 0, -1 when the listing cannot be opened (said on standard output) or the pipeline failed,
// -2 when the pipeline left no result.
int iLinuxGetID(const char* cpMode, int iReport);

// Returns whether gszDev still leads to the device that the run began with, or that is not known
// because there is no sysfs. Asked behind an open, it tells what the open file is.
bool bDevIsPinned();

// Prints a line for every device of the listing. cpBus is accepted and ignored.
void vScanDevice(const char* cpBus, int iReport);
