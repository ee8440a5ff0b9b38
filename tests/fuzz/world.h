// The world around the code under test. One input of the fuzzer is all that comes from outside:
// operands, contents of files, results of calls, answers of devices. Nothing of the machine is
// touched: the product is compiled with its calls turned to those below.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#define REQUIRE(bHolds) ((bHolds) ? (void)0 : abort())

// A target: what it can call, and how many that are. Each returns a status from 0 to 11.
extern int (*const giOperations[])();
extern const unsigned int guiOperations;

// Of the input: four operands, each in memory of just its size, and the report level.
extern char* gcpTexts[];
extern int giReport;

extern int giOpened; // descriptors and streams that are open

// The calls. The next byte of the input says how one ends: from 0xF0 on it fails.
int iFuzzCall(const char* cpText, ...);
ssize_t iFuzzRead(int iFD, unsigned char* cpBuffer, size_t uiCount);
ssize_t iFuzzWrite(int iFD, const void* pBuffer, size_t uiCount);
FILE* fpFuzzOpen(const char* cpPath, const char* cpMode);
[[noreturn]] void vFuzzExit();

#ifdef MVK_FUZZ_PRODUCT
#define getenv(cpName) "root"
#define open(...) (iFuzzCall(__VA_ARGS__) != 0 ? -1 : (giOpened++, 100))
#define close(iFD) (giOpened--, iFuzzCall("", iFD))
#define ioctl(iFD, uiRequest, pValue) iFuzzCall("", iFD, memset(pValue, iFuzzCall("") & 1, 4))
#define read(iFD, pBuffer, uiCount) iFuzzRead(iFD, (unsigned char*)(pBuffer), uiCount)
#define write(...) iFuzzWrite(__VA_ARGS__)
#define fcntl(...) iFuzzCall("", __VA_ARGS__)
#define ftruncate(...) iFuzzCall("", __VA_ARGS__)
// Every lock file is a regular one.
#define fstat(iFD, pStatus) (*(pStatus) = {}, (pStatus)->st_nlink = 1, (pStatus)->st_mode = S_IFREG, (iFD) & 0)
#define stat(...) iFuzzCall(__VA_ARGS__)
#define mkdir(...) iFuzzCall(__VA_ARGS__)
#define unlink(...) iFuzzCall(__VA_ARGS__)
#define system(...) iFuzzCall(__VA_ARGS__)
#define fopen(...) fpFuzzOpen(__VA_ARGS__)
#define popen(...) fpFuzzOpen(__VA_ARGS__)
#define fclose(fpStream) (giOpened--, fclose(fpStream))
#define pclose(...) fclose(__VA_ARGS__)
#define opendir(cpPath) (iFuzzCall(cpPath), nullptr)
#define exit(iStatus) vFuzzExit()
#endif
