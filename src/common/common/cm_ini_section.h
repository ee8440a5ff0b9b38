// The lines of one section of an INI-style text file, read from the file one by one. Stands on the
// helpers for strings and files.
#pragma once

#include "cm_file.h"

#include <stddef.h>

// A line is read in pieces of at most one byte less than this.
enum { iLINE_SIZE = 1024 };

// Why a key was not found; while a section is read: why it is not, if nothing else comes.
enum SEARCH {
    SEARCH_NO_FILE,
    SEARCH_NO_SECTION,
    SEARCH_NEXT_SECTION, // another header came before the key
    SEARCH_END_OF_FILE,
};

// A section of a file on its way through the reader.
struct INI_SECTION {
    const char* cpFilename;
    const char* cpSection; // null: the whole file
    SEARCH eSearch;
    FILE* fpIni;
    char szLine[iLINE_SIZE];
    char cBuffer[iTEXT_BUFFER_SIZE];
};

// Starts to read the section with the header cpSection (null: the whole file) of cpFilename. A file
// that cannot be opened, or a null pointer, is a section without lines.
void vOpenSection(INI_SECTION* pSection, const char* cpFilename, const char* cpSection);
void vCloseSection(INI_SECTION* pSection);

// Returns the next line inside the section as it was read, comments and empty lines too, or a null
// pointer behind the last one. The line stays until the next call.
char* cpNextLine(INI_SECTION* pSection);

// Returns the line of the key without its line feed, or a null pointer when eSearch says why there
// is none.
char* cpFindKey(INI_SECTION* pSection, const char* cpKey);

// Cuts trailing blanks, and only blanks; a text of nothing but blanks stays as it is.
void vCutTrailingBlanks(char* cpText);

// Puts the reason why cpKey was not found in that section of cpFilename into cpMsg.
void vExplainSearch(SEARCH eSearch, const char* cpFilename, const char* cpSection,
                    const char* cpKey, char* cpMsg, size_t uiLengthMsg);
