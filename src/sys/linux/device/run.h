// What every floor of the utility shares: status numbers, report levels, the trace.
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

// How much a routine prints. Most tests ask for a level or more; debug dumps appear at just 2.
enum REPORT_LEVEL {
    REPORT_SILENT = 0, // the INQUIRY that classifies the device
    REPORT_NORMAL = 1,
    REPORT_DEBUG = 2,  // the trailing word "debug": requests, replies, intermediate values
    REPORT_DETAIL = 3, // what no run asks for: sense data of success, label bytes
    REPORT_SCAN = 11,  // the bus scan
};

extern str_log strLog; // the program's trace record; set by main
