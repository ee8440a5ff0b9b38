// The library as it is held in memory: devices, elements, cartridges, and what leads from one to
// the other.
#ifndef MVK_SIM_MODEL_H
#define MVK_SIM_MODEL_H

#include "text.h"

static const int iDEVICE_MAX = 2048;
static const int iELEMENT_MAX = 65536;
static const int iCARTRIDGE_MAX = 65536;
static const int iTRANSFER_MAX = (16 << 20) - 36; // 16 MiB with the driver's header
static const int iSG_MAX = 32768; // numbers of generic devices, as many as the kernel has

// SCSI peripheral device types that the simulator acts upon, of all that a description can name.
enum DEVICE_TYPE {
    TYPE_DISK = 0,
    TYPE_TAPE = 1,
    TYPE_WORM = 4,
    TYPE_CD = 5,
    TYPE_OPTICAL = 7,
    TYPE_CHANGER = 8
};

// Element type codes.
enum ELEMENT_TYPE { ELEMENT_TRANSPORT = 1, ELEMENT_SLOT, ELEMENT_PORT, ELEMENT_DRIVE };
static const int iELEMENT_TYPES = 4;

enum MEDIUM { MEDIUM_DATA, MEDIUM_WORM, MEDIUM_CLEANING };

// A short run of bytes that changes and is saved.
struct BYTES {
    int iLen;
    unsigned char c[256];
};

// Host, channel, target and LUN.
struct ADDRESS {
    int iHost; // -1: none
    int iChannel;
    int iTarget;
    int iLun;
};

enum NUMBER_KIND {
    NUMBER_DRIVER, // the one that the driver gives
    NUMBER_NONE,   // there is no node
    NUMBER_CHARACTER,
    NUMBER_BLOCK
};

// What stands in /dev under a name.
struct DEVICE_NUMBER {
    NUMBER_KIND eKind;
    int iMajor;
    int iMinor;
};

// Takes such a thing as mknod has it, "c 21 3" or "b 8 0", or "none", and moves *cpp behind it.
// Returns false when the next words are none of these.
bool bTakeDeviceNumber(const char** cpp, DEVICE_NUMBER* pNumber);

struct DEVICE {
    int iLine; // where its lines begin, for what is looked up when it is needed
    DEVICE_TYPE eType;
    ADDRESS strAddress;
    ADDRESS strNodeAddress; // what the tape node reports instead
    int iAnsi;
    int iLevel; // scsi_level in sysfs, -1 as iAnsi has it
    int iSg;    // number of /dev/sg<n>, -1 the next one
    int iNode;  // number of /dev/nst<n>, -1 none, -2 the next one in the order of the drives
    int iUnit;  // of a changer, disk or CD drive: its place among these, and so its node's
    DEVICE_NUMBER strGenericNode; // at /dev/sg<n>
    DEVICE_NUMBER strTapeNode;    // at /dev/nst<n>
    bool bHeld;                   // another program has its tape node open
    const char* cpVendor;
    const char* cpProduct;
    const char* cpRevision;
    int iDelay;     // ms for every command
    int iAttention; // ASC and ASCQ of what it has to report first, -1 none
    // of a changer
    int iFirstElement; // index
    int iElements;
    ELEMENT_TYPE eOrder[iELEMENT_TYPES]; // in which it reports the types
    // of a drive
    ADDRESS strChanger; // that it stands in, host -1: the first with an element at this address
    int iElement;       // the element's address there, -1 none
    int iElementIndex;  // the element, -1 none
    int iStatusByte;    // byte 18 of the sense data, -1 as its state has it
    int iMediumType;    // -1 as the cartridge has it
    bool bAutoLoad;
    int iLoadTime; // ms until a cartridge is ready
    int iReadyAt;  // time at which it is, -1 long ago
    bool bLoaded;
    bool bPrevent;
    bool bCleaning; // is due
    int iDensity;
    int iBuffered;
    int iBlockLength;
    int iPosition; // blocks from the beginning of the tape
    BYTES strCompression;
    BYTES strEeprom;
};

struct ELEMENT {
    int iAddress;
    ELEMENT_TYPE eType;
    int iChanger;   // index of the changer's device
    int iDrive;     // index of the tape device of a drive element, -1 none
    int iCartridge; // index, -1 empty
    int iException; // ASC and ASCQ, -1 none
};

struct CARTRIDGE {
    int iLine;
    const char* cpBarcode;
    ADDRESS strChanger; // that it lies in, as for a drive
    int iPlace;         // element address, -1 outside the library
    int iSource;        // storage element it last came from, -1 none
    MEDIUM eMedium;
    int iMediumType;
    bool bProtected;
    bool bBlank;
};

struct LIBRARY {
    bool bStrict;        // refuse an allocation length above the transfer length
    bool bSysfs;         // the devices are in sysfs
    bool bLoadAttention; // a drive reports that it has another medium
    int iMaxTransfer;    // bytes of data that the driver can move at once
    const char* cpListing;
    int iDevices;
    int iElements;
    int iCartridges;
    DEVICE strDevices[iDEVICE_MAX];
    ELEMENT strElements[iELEMENT_MAX];
    CARTRIDGE strCartridges[iCARTRIDGE_MAX];
};

extern LIBRARY gstrLib;        // filled by the description; valid while the library is entered
extern const char* gcpLibrary; // path of the description, set when the library is entered

// Takes all devices, elements and cartridges away.
void vForgetAll();

// Adds an empty element to the changer that is being described. Returns false when it has one with
// this address; there must be room.
bool bAddElement(int iAddress, ELEMENT_TYPE eType);

// Ties together what the description names by number and address; cpName is the file that is being
// read. A mistake ends the process with file and line.
void vTieTogether(const char* cpName);

// The element of a changer, by its device's index, with an address; null for none.
ELEMENT* pElementAt(int iChanger, int iAddress);

// Index of the device /dev/sg<iNumber>, -1 none.
int iSgDevice(int iNumber);

// Index of the device that /dev/nst<iNode> leads to, -1 none.
int iNodeDevice(int iNode);

// The address that a device's tape node reports, or its generic one.
const ADDRESS* pAddressOf(const DEVICE* pDev, bool bTape);

// The cartridge that stands in a drive, null for none.
CARTRIDGE* pDriveCartridge(const DEVICE* pDev);

#endif
