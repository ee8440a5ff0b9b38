// Named semaphores between processes: files in the work directory under an exclusive POSIX record
// lock, which the kernel drops when the holder ends.
#pragma once

#include "cm_report.h"

// A caller's view of one semaphore; zero-filled, then szSema and szCaller set.
struct SCT_SEMA {
    char szSema[32];     // name of the semaphore; "/" becomes "!" in those of its files
    char szCaller[1024]; // who the caller is; stands in the file while the caller holds it
    char szMsg[1032];    // result text of the last call
    int hSema;           // descriptor of the locked file while held, else 0
};

// One service on the semaphore pS. strOldLog is a copy of the caller's trace record.
//   '+' 'S'  acquire, waiting for the holder to end: 1
//   '*'      acquire if free: 1 when held now, 0 when another process holds it
//   '-' 'R'  release: 1, or 0 when the file could not be closed
//   '?'      inquire: 1 when another process holds it or the state cannot be told, 0 when free.
//            Never ask about a semaphore that this process holds: closing the file drops the lock.
//   other    0
// The text in pS->szMsg says more; the holder in it is the first line of the lock file, with "?"
// for control characters. A lock file that cannot be opened, locked, emptied or written ends the
// process with status 3 (see log_error).
int i_SEMA(char cFunction, SCT_SEMA* pS, str_log strOldLog);
