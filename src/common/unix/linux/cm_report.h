// Reports of failed system calls. Stands on the trace log.
#pragma once

#include "cm_trace.h"

// Severity of a report.
enum EXIT_STATE {
    KQ_SUCCESS = 0,
    KQ_WARNING = 1,
    KQ_ERROR = 2,
    KQ_FATAL = 3,
};

// Reports cpMsg with the current errno to each of the two trace records that is given and switched
// on. KQ_FATAL also prints the result line on standard output and ends the process with status 3.
void log_error(EXIT_STATE eState, const char* cpMsg, const str_log* pStrLogExtern,
               const str_log* pStrLogCaller);

// The same for KQ_FATAL.
[[noreturn]] void log_fatal(const char* cpMsg, const str_log* pStrLogExtern,
                            const str_log* pStrLogCaller);
