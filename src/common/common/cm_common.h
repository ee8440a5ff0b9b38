// The reader of INI-style text files, and the string helpers (cm_text.h) that go with it wherever
// the program works with texts.
#pragma once

#include "cm_text.h"

// Reads the value of a key from an INI-style file; section and key match without regard to case.
// cpFilename:  path of the file.
// cpSection:   header with its brackets, matched as a prefix of a line. Null: ignore sections, the
//              first such key of the file wins. Empty: the first usable line is the header.
// cpKey:       key without "=".
// cpValue:     receives at most iLengthValue bytes with the NUL. The first reference "%(name)"
//              in it is replaced by the value of that key in the same section or else in
//              "[DEFAULT]", which may hold a reference in turn. More than 64 references one behind
//              the other, as in a circle, count as a key that is not found, and so does one for
//              which more than five million lines would be read.
// cpMsg:       receives at most iLengthMsg bytes with the NUL: the reason of a failure, or "".
//              May be null when iLengthMsg is 0.
// Returns 1 when a value that is not empty was delivered, otherwise 0. Prints nothing.
int i_GetPrivateProfileString(const char* cpFilename, const char* cpSection, const char* cpKey,
                              char* cpValue, int iLengthValue, char* cpMsg, int iLengthMsg);
