// Access to the product's main configuration by key, resolution of symbolic paths, the protocol
// log, and the text splitting that it is made of.
#pragma once

// The global variable that names the protocol file.
inline constexpr char szPROT_VARIABLE[] = "gv_prot";

// Reads cpKey of cpSection (with brackets) from the file that the root key cpIdentifier names;
// a null or empty cpIdentifier means "KQ_INI".
// cpValue, iLengthValue: receives the value with its NUL; "" when there is none.
// cpMsg, iLengthMsg:     receives the reason of a failure with its NUL.
// Returns 1 when found, otherwise 0. Prints nothing.
int i_READ_INI(const char* cpIdentifier, const char* cpSection, const char* cpKey, char* cpValue,
               int iLengthValue, char* cpMsg, int iLengthMsg);

// Turns the symbolic path "key:rest" in cpOrigPath into the value of key in "[Pathes]" followed by
// rest; iLength is the size of cpOrigPath in bytes, and a longer result is cut. The text stays as
// it is when there is no such key. Always returns 1.
int resolve_path(char* cpOrigPath, int iLength);

// Writes one message, printf manner, to the protocol file that szPROT_VARIABLE names.
// Characters 0 to 11 of cpFormat are the message tag, 12 is a blank, 13 onward is the text; each
// line of the text gets the heading of its own. Silent when the file cannot be opened; lines on
// standard error when "gv_prot" is missing, the tag is malformed or the text too long.
void PROT(const char* cpFormat, ...) __attribute__((format(printf, 1, 2)));

// Splits at every cDelim; empty pieces count. A text starts over with a private copy of its first
// 8191 bytes (a longer one gives a line on standard error); a null pointer asks for the next piece.
// Returns the piece, or a null pointer behind the last one. One text at a time for the process.
char* cm_strtok(const char* cpInstring, char cDelim);
