// The simulated files as a program opens and uses them.
#ifndef MVK_SIM_FILES_H
#define MVK_SIM_FILES_H

#include "place.h"

#include <sys/types.h>

// opening.cpp: by their paths

// Looks at a place; *pNumber is the number of a node. Returns 0 or an error number.
int iFileLook(const PLACE* pPlace, DEVICE_NUMBER* pNumber);

// Opens a place. Returns a descriptor, or -1 with errno; *ipFile is its place among the open
// devices, -1 for a text.
int iFileOpen(const char* cpPath, const PLACE* pPlace, int iFlags, int* ipFile);

// Writes what is to be read at a place: a text, the target of a link, or the names in a folder, one
// a line. Returns 0 or an error number.
int iFileText(const char* cpPath, const PLACE* pPlace, OUT* pOut);

// mknod of a tape node: the drive with this number among the tape drives gets its node back.
// Returns 0 or an error number.
int iFileMake(const PLACE* pPlace, unsigned uiMajor, unsigned uiMinor);

// files.cpp: open devices, by their place among them

// Notes an open device. Returns its place, -1 when too many are open.
int iFileNew(const char* cpPath, const NODE* pNode, const DEVICE_NUMBER* pNumber, int iDevice);

// Notes another descriptor; notes that descriptor iFd is closed.
void vFileShare(int iFile);
void vFileClose(int iFile, int iFd);

// The number of the node that was opened.
DEVICE_NUMBER strFileNumber(int iFile);

// Reading, writing, and the requests of ioctl. Return what the system call returns, or a negative
// error number.
ssize_t iFileWrite(int iFile, const unsigned char* cpBuf, size_t uiCount);
ssize_t iFileRead(int iFile, unsigned char* cpBuf, size_t uiCount);
int iFileControl(int iFile, unsigned long uiRequest, void* vpArg);

#endif
