// What the tests share: a command of cases.txt is a function "v_..." in commands.cpp.
#pragma once

#include "cm_common.h"

#include <string>
#include <unistd.h>
#include <vector>

#define COMMAND(name) extern "C" void v_##name()

extern std::vector<std::string> szFields; // the case that runs, its command first

// A field as text and as number; a missing one is empty.
const char* cpArg(size_t n);
int iArg(size_t n);

// The files of the test's folder by name.
extern std::string gszRoot;
std::string szRead(const std::string& szName);
void vWrite(const std::string& szName, const std::string& szText);

// What the stand-ins for the system do: what getpid answers (getppid one less); whether pipes and
// timeout requests fail and commands to the shell do nothing.
extern int giPid;
extern bool gbFails;
