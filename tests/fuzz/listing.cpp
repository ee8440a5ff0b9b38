// Target: the kernel's listing of devices, and output of a command that is parsed like it.
#include "world.h"

#include "mvk.h"
#include "scsi_device.h"
#include "scsi_shell.h"

int (*const giOperations[])() = {
    [] { return (int)(iLinuxGetID("linux_proc_scsi", giReport) > 0); },
    [] { return (int)(iLinuxGetID("linux_proc_scsi_scan", giReport) > 0); },
    [] { return (int)(iLinuxGetID(gcpTexts[0], giReport) > 0); },
    [] { return (int)(iExecFilter(gcpTexts[0], "/scsi/scsi") > 0); }};
const unsigned int guiOperations = sizeof(giOperations) / sizeof(*giOperations);
