// Configuration roots and the store of global variables.
#pragma once

// Size in bytes of the value buffer that every caller of glbv brings along.
enum { iGLBV_VALUE_SIZE = 512 };

// Looks cpIdentifier up in the root files, first match wins: the file named by the environment
// variable TARVO_INI, /etc/opt/tarvo/tarvo.ini, /etc/tarvo2000.ini. The first usable line of such a
// file is a header, whatever it says; the keys follow it.
// cpValue, iLengthValue: receives the value with its NUL; "" when there is none.
// cpMsg, iLengthMsg:     receives the reason of a failure with its NUL.
// Returns 1 when found, otherwise 0. Prints nothing.
int i_GET_ROOT_FOR_INI(const char* cpIdentifier, char* cpValue, int iLengthValue, char* cpMsg,
                       int iLengthMsg);

// One service on the global variable cpGlbvName, a file of the directory "gv_rw_glbv".
// cFunction:    'r' read, 'R' read and delete, 'w' write, 'd' delete ("*" in the name deletes every
//               variable that matches).
// cpGlbvName:   the name; its "\" and "/" are replaced by "_" in place.
// cpGlbvValue:  iGLBV_VALUE_SIZE bytes; the value in or out, or the text of an error. Error texts
//               begin with "??", or with the fatal-error text when the store is not configured.
// Returns cpGlbvName for 'd', otherwise cpGlbvValue. A variable that exists but cannot be opened,
// an empty one, one that cannot be written and a directory that cannot be read give a line on
// standard error.
char* glbv(char cFunction, char* cpGlbvName, char* cpGlbvValue);
