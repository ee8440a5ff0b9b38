// What the devices do with a command. Each file stands on those below it in this list.
#ifndef MVK_SIM_COMMANDS_H
#define MVK_SIM_COMMANDS_H

#include "request.h"

// dispatch.cpp: lets the device of a request carry out its command
void vRunCommand(REQUEST* pReq);

// identity.cpp: what every device does
void vInquiry(REQUEST* pReq);
void vTestUnitReady(REQUEST* pReq);
void vRequestSense(REQUEST* pReq);

// pages.cpp: mode pages
void vModeSense(REQUEST* pReq);
void vModeSelect(REQUEST* pReq);

// changer.cpp
void vInventory(REQUEST* pReq);
void vMoveMedium(REQUEST* pReq);
void vReadElementStatus(REQUEST* pReq);
// Page 0x1D with its header, 20 bytes: first address and count of each type of element. Returns 20.
int iAddressPage(const REQUEST* pReq, unsigned char* cpOut);

// medium.cpp: what a tape and its memory hold
void vRead(REQUEST* pReq);
void vReadAttribute(REQUEST* pReq);
// Copies a block of a tape by its number; up to iBLOCK_MAX bytes, room for one more. Returns its
// length, 0 behind the end of the data.
int iTapeBlock(const CARTRIDGE* pCart, int iPosition, unsigned char* cpOut);

// drive.cpp
void vErase(REQUEST* pReq);
void vLoadUnload(REQUEST* pReq);
void vPreventAllow(REQUEST* pReq); // of a changer too
void vRewind(REQUEST* pReq);
// The cartridge in the drive of a request; without one the request ends with NOT READY.
CARTRIDGE* pSeated(REQUEST* pReq);
// Whether the drive can use its tape; otherwise the request ends with the reason.
bool bDriveReady(REQUEST* pReq);
// Byte 18 of the sense data: bit 7 valid, bit 1 nothing loaded, bit 0 cleaning is due.
int iDriveStatusByte(const DEVICE* pDev);
// Threads the cartridge that stands in the drive, which takes the drive's time; a cleaning
// cartridge does its work.
void vDriveLoad(DEVICE* pDev);
// Whether this is still under way.
bool bDriveLoading(const DEVICE* pDev);

#endif
