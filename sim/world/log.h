// The log: one line for every event at a device.
#ifndef MVK_SIM_LOG_H
#define MVK_SIM_LOG_H

#include <stdint.h>
#include <sys/types.h>

// Appends a line to the file that MVK_SIM_LOG names, if any: time in nanoseconds, process, event,
// path, then what belongs to the event.
void vLog(int64_t i64At, const char* cpEvent, const char* cpPath, const char* cpFormat, ...)
    __attribute__((format(printf, 4, 5)));

// A result as the log shows it: a count, or the name of the error behind a negative number. Valid
// until the next call.
const char* cpResult(ssize_t iResult);

#endif
