// Bounded string helpers. The ground: they stand on nothing but the C library.
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

// Returns whether cpText begins with the first uiLength characters of cpPrefix, without regard to
// case.
bool b_STARTS_FOLDED(const char* cpText, const char* cpPrefix, size_t uiLength);

// Returns whether cpLine reads "key=..." with the uiKey characters of cpKey, without regard to
// case.
bool b_IS_KEY_LINE(const char* cpLine, const char* cpKey, size_t uiKey);

// Reads the leading decimal number of cpText (blanks and a sign may come first).
// Returns 0 when there is none; a number beyond int keeps its low 32 bits.
int i_DECIMAL(const char* cpText);

// Cuts one line feed, if there is one, from the end of cpLine in place. Returns the new length.
size_t i_CUT_LINE_FEED(char* cpLine);

// Makes a text of others fit for a line of a log or terminal, in place: it ends with its first
// line, and control characters become "?".
void v_ONE_LINE(char* cpText);

// Fold a character, or every character of arg in place, to lower or upper case. The latter two
// return arg.
char c_LOWER(char cLetter);
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
