// What the front end shares: the program's own texts and the frame of a run.
#pragma once

extern char gszTest[128]; // the word before a trailing "test"; set by main
extern int giCounter;     // set to 0 by main

// The build's own identification, as the usage text shows it.
extern const char gszRevision[];

// Prints the usage text with the program name cpMyName; iExtendedUsage adds the rarer commands.
void vUsage(const char* cpMyName, int iExtendedUsage);

// Ends the reports of a run: flushes standard output and prints the result line of iStatus on
// standard error. Returns iStatus.
int iReturnState(int iStatus);

// One run of the program from its arguments to the result line; argc and argv as main gets them.
// Returns the exit status of the process.
int iMvkMain(int argc, char** argv);
