// Report levels, which every routine that prints is given.
#pragma once

// How much a routine prints. Each level includes those below it, but for the scan's, at which only
// the scan prints.
enum REPORT_LEVEL {
    REPORT_SILENT = 0, // the INQUIRY that classifies the device
    REPORT_NORMAL = 1,
    REPORT_DEBUG = 2, // the trailing word "debug"
    REPORT_DETAIL = 3,
    REPORT_SCAN = 11,
};
