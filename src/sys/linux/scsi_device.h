// Discovery: finds devices and their nodes, and prints the bus scan.
#pragma once

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
