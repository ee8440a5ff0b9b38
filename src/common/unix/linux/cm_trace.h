// The trace log: one text file per module, switched on and given a level in debug.ini.
#pragma once

#include "cm_language.h"

// The trace record of a module.
struct str_log {
    char szFile[384]; // full path of the trace file
    int iFlg;         // trace level; 0 is off
    int iVerify;      // nonzero: every line goes to standard error too
    char szIns[64];   // indentation, two blanks per open nesting level
};

// Writes one trace line when the level of the record is above iLevel.
#define TRACE_ABOVE(pRecord, iLevel, ...)                                                          \
    do {                                                                                           \
        if ((pRecord)->iFlg > (iLevel))                                                            \
            WRITE_TRACE((pRecord), __VA_ARGS__);                                                   \
    } while (0)

// The process's default record: the first that v_set_log_main set up, for routines of the library
// that are given none. mvk itself calls none of those.
extern str_log strLocalLog;

// Sets strLog up for the trace file cpKeyFile (a name, or a path that holds the log directory) and
// the module cpKeyDebug, and reads the language of messages into eLang. Without a configured log
// directory the record stays as it is and a FATAL text goes to standard error; the program goes on.
void v_set_log_main(const char* cpKeyFile, const char* cpKeyDebug, str_log* strLog);

// Returns the level of module cpInput in debug.ini; 0 when the file or the entry is missing.
int log_check(const char* cpInput);

// Writes one line, printf manner, to the trace file of strLog, whatever its level; errno survives.
// The line may be of any length and goes out in one piece, the format is cut at 1022 characters.
// A format that begins with "+" opens a nesting level, one with "-" closes it. The format
// "COPY_FILE" with a path copies that file. A trace file that cannot be opened loses the line.
void WRITE_TRACE(str_log* strLog, const char* cpFormat, ...) __attribute__((format(printf, 2, 3)));

// Describes the parent process in cpInfo (at most iLength bytes with the NUL).
// Returns 1, or 0 after a line on standard error when the process list cannot be run.
int get_parent_info(char* cpInfo, int iLength);
