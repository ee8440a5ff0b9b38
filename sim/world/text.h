// Text and bytes: lines, words, numbers, the notation for data, whole files. Stands on the C
// library alone.
#ifndef MVK_SIM_TEXT_H
#define MVK_SIM_TEXT_H

#include <stddef.h>
#include <stdint.h>

static const int iLIBRARY_MAX = 16 << 20; // bytes of a description or a state
static const int iTEXT_MAX = 4 << 20;     // of a scenario or a listing

// A text that is being put together; what does not fit is left out and bFull set.
struct OUT {
    char* cp;
    int iMax;
    int iLen;
    bool bFull;
};
void vAdd(OUT* pOut, const char* cpFormat, ...) __attribute__((format(printf, 2, 3)));

// Says on standard error what is wrong and ends the process with status 2: a mistake in a
// description or a scenario must never pass for a result.
[[noreturn]] void vFatal(const char* cpFormat, ...) __attribute__((format(printf, 1, 2)));

// Cuts the blanks at both ends off a text.
char* cpTrim(char* cp);

// Cuts the next line off a text and trims it; null at the end.
char* cpTakeLine(char** cpp);

// Copies the next word and moves *cpp behind it. Returns false when there is none or it is too
// long.
bool bTakeWord(const char** cpp, char* szOut, size_t uiMax);

// Takes a decimal or 0x number, "auto" and "none" as -1, "yes" and "no" as 1 and 0, and moves *cpp
// behind it. Returns false when the next word is none of these.
bool bTakeNumber(const char** cpp, int* ipValue);

// Whether only blanks follow.
bool bAtEnd(const char* cp);

// Takes data as it is written in descriptions and scenarios: "text", @file or hexadecimal pairs,
// the first and the last also with *count behind, divided by blanks; cpNamedIn is the file that
// holds them. Returns the number of bytes, -1 when a word is not understood or the room is too
// small.
int iData(const char* cp, const char* cpNamedIn, unsigned char* cpOut, int iMax);

// The path of a file named in another file: relative to the folder of that file.
void vInPlaceOf(const char* cpNamedIn, const char* cpName, char* szOut, size_t uiMax);

// Reads a file of less than iMax bytes and puts a zero byte behind it. Returns its length, -1 with
// errno when it cannot be read, is too long, or is not a regular file, which might never end.
int iReadFile(const char* cpPath, char* cpOut, int iMax);

// Reads a text; one that cannot be read whole ends the process.
void vReadText(const char* cpPath, char* cpOut, int iMax);

// Nanoseconds of the monotonic clock.
int64_t i64Now();

#endif
