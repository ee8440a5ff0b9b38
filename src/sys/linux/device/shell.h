// Ways to the devices through shell commands.
#pragma once

// Runs a command for its effect: what follows shows whether it had one.
void vRunCommand(const char* cpCommand);

// Finds the device of gszID by a shell pipeline over the listing and sets gszDev. Only the first
// digit of the line number is read, so this is exact for the first nine entries. Returns 0, -1 when
// the pipeline failed, -2 when it left no result.
int iFindByPipeline();

// Runs cpCmd and prints its output, parsed like the device listing for mode "scan".
// Returns the close status of the pipe, or -1 with a line on standard output.
int iExecFilter(const char* cpMode, const char* cpCmd);
