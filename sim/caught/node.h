// The nodes in /dev: what they are called, their numbers as the kernel's drivers give them, and the
// device behind a number. Those that look at devices need an entered library.
#ifndef MVK_SIM_NODE_H
#define MVK_SIM_NODE_H

#include "world/model.h"

// Drivers that give nodes to devices.
enum DRIVER { DRIVER_GENERIC, DRIVER_TAPE, DRIVER_CHANGER, DRIVER_DISK, DRIVER_CD, DRIVERS };

static const int iNO_REWIND = 4; // added to the mode of a tape node, 0 to 3

struct NODE {
    DRIVER eDriver;
    int iUnit; // <n> in sg<n>, and so on
    int iPart; // which node of a tape drive; which partition, 0 the whole disk
};

// Takes a name such as "nst0l" or "sda1". Returns what follows it, null when there is none.
const char* cpTakeName(const char* cp, NODE* pNode);

// Takes a number such as "9:128" of a block or a character device. Returns what follows it, null
// when no node of ours can have it.
const char* cpTakeDeviceNumber(const char* cp, bool bBlock, NODE* pNode);

// Writes the name of a node.
void vAddName(OUT* pOut, const NODE* pNode);

// The folder of a driver's nodes below that of a device in sysfs.
const char* cpClassOf(DRIVER eDriver);

bool bSameClass(DRIVER eFirst, DRIVER eSecond);

// Whether a node is of a part of a disk only.
bool bPartition(const NODE* pNode);

// The number that the driver gives to a node.
DEVICE_NUMBER strDriverNumber(const NODE* pNode);

// The node that a driver has under a number. Returns false when it is none of our drivers'.
bool bNodeOfNumber(const DEVICE_NUMBER* pNumber, NODE* pNode);

// Index of the device that the driver has under this node, -1 none.
int iDriverDevice(const NODE* pNode);

// How many nodes a driver has for a device; the first of them then, the others are the next parts.
int iNodesOf(int iDevice, DRIVER eDriver, NODE* pFirst);

// What stands in /dev under the name of a node: of kind NUMBER_NONE when nothing does.
DEVICE_NUMBER strNumberInDev(const NODE* pNode);

#endif
