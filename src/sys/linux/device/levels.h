// Report levels, which every routine that prints is given.
#pragma once

// How much a routine prints. Most tests ask for a level or more; debug dumps appear at just 2.
enum REPORT_LEVEL {
    REPORT_SILENT = 0, // the INQUIRY that classifies the device
    REPORT_NORMAL = 1,
    REPORT_DEBUG = 2,  // the trailing word "debug": requests, replies, intermediate values
    REPORT_DETAIL = 3, // what no run asks for: sense data of success, label bytes
    REPORT_SCAN = 11,  // the bus scan
};
