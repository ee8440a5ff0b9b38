// The library between the commands: its description, its state file, and the lock that lets several
// processes share it.
#ifndef MVK_SIM_STATE_H
#define MVK_SIM_STATE_H

#include "model.h"

// Locks the library and brings it up to date: from the state file, or from the description when
// there is no state yet. A mistake in either ends the process.
void vLibraryEnter();

// Saves what has changed, when something has, and lets others have the library.
void vLibraryLeave(bool bChanged);

// description.cpp: one text format for the description and the state, one reader, one writer

// Reads a text into the library; the text is cut up and stays in use. A mistake ends the process
// with cpName, the name of the file, and the line.
void vParse(char* cpText, const char* cpName);

// Writes the lines that the library was read from, with the values that it has now.
void vWriteState(OUT* pOut);

// The next value of a key in a section, from line *ipLine on, which moves behind it; null at the
// end of the section.
const char* cpNextValue(int* ipLine, const char* cpKey);

#endif
