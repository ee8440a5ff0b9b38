// Bounded string helpers and the reader of INI-style text files, shared by the whole program.
#pragma once

#include <stddef.h>

// Copies cpSource into cpDest of uiSize bytes, cut to fit and always NUL-terminated.
// The two must not overlap. Nothing is written when uiSize is 0.
void v_COPY(char* cpDest, size_t uiSize, const char* cpSource);

// Appends cpSource to the text in cpDest of uiSize bytes, cut to fit and always NUL-terminated.
void v_APPEND(char* cpDest, size_t uiSize, const char* cpSource);

// Puts three texts one behind the other into cpDest of uiSize bytes, cut to fit and always
// NUL-terminated. Messages are put together this way: it costs a tenth of snprintf, and a run
// without configuration makes a dozen that nobody reads.
void v_JOIN(char* cpDest, size_t uiSize, const char* cpFirst, const char* cpSecond,
            const char* cpThird);

// Removes the first uiCount characters of cpText, which has at least as many, in place.
void v_CUT_HEAD(char* cpText, size_t uiCount);

// Returns whether cpText begins with cpPrefix.
bool b_STARTS_WITH(const char* cpText, const char* cpPrefix);

// Reads the leading decimal number of cpText (blanks and a sign may come first).
// Returns 0 when there is none; a number beyond int keeps its low 32 bits.
int i_DECIMAL(const char* cpText);

// Cuts one line feed, if there is one, from the end of cpLine in place. Returns the new length.
size_t i_CUT_LINE_FEED(char* cpLine);

// Fold every character of arg to lower or upper case in place. Return arg.
char* lowercase(char* arg);
char* uppercase(char* arg);

// Cuts the line feed from the end of cpLine and classifies the line.
// Returns 0 for a line to skip (empty, or "#" in the first column), 1 for a line to look at.
int i_REMOVE_COMMENT(char* cpLine);

// Locates the reference "%(name)" in cpString. A "%(" without ")" takes the rest as the name.
// Returns the name in memory that the caller frees, or a null pointer when there is no memory.
// *uipPreEnd:     index of the character before the "%"; (unsigned)-1 when "%" comes first.
// *uipPostBegin:  index of the character after the ")".
char* c_PARSE_FOR_PARENTHESES(const char* cpString, unsigned int* uipPreEnd,
                              unsigned int* uipPostBegin);

// Reads the value of a key from an INI-style file; section and key match without regard to case.
// cpFilename:  path of the file.
// cpSection:   header with its brackets, matched as a prefix of a line. Null: ignore sections, the
//              first such key of the file wins. Empty: the first usable line is the header.
// cpKey:       key without "=".
// cpValue:     receives at most iLengthValue bytes with the NUL. A reference "%(name)" in it is
//              replaced by the value of that key in the same section or else in "[DEFAULT]".
// cpMsg:       receives at most iLengthMsg bytes with the NUL: the reason of a failure, or "".
// Returns 1 when a value that is not empty was delivered, otherwise 0. Prints nothing.
int i_GetPrivateProfileString(const char* cpFilename, const char* cpSection, const char* cpKey,
                              char* cpValue, int iLengthValue, char* cpMsg, int iLengthMsg);
