// What the parts of the simulated tape library share: the library as it is held in memory, the
// request that travels from the driver to a device, and the helpers for text and bytes.
#ifndef MVK_SIM_H
#define MVK_SIM_H

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

enum {
    DEVICE_MAX = 2048,
    SG_MAX = 32768, // numbers of generic devices, as many as the kernel has
    ELEMENT_MAX = 4096,
    CARTRIDGE_MAX = 4096,
    LINE_MAX = 1 << 17,   // lines of a description
    TEXT_MAX = 4 << 20,   // bytes of a description, a scenario or a listing
    BLOCK_MAX = 65536,    // bytes of a tape's first block
    VALUE_MAX = 4096,     // bytes of an attribute
    DATA_IN_MAX = 1 << 18 // bytes that one command can bring back
};

// A short run of bytes that changes and is saved.
struct BYTES {
    int iLen;
    unsigned char c[256];
};

// A text that is being put together; what does not fit is left out and iFull set.
struct OUT {
    char* cp;
    int iMax, iLen, iFull;
};

// SCSI peripheral device types and element type codes that the simulator acts upon.
enum { TYPE_TAPE = 1, TYPE_CHANGER = 8 };
enum { ELEMENT_TRANSPORT = 1, ELEMENT_SLOT, ELEMENT_PORT, ELEMENT_DRIVE };
enum { KIND_DATA, KIND_WORM, KIND_CLEANING };

struct DEVICE {
    int iLine;           // where its lines begin, for what is looked up when it is needed
    int iAddress[4];     // host, channel, target, LUN
    int iNodeAddress[4]; // what the tape node reports instead; host -1: the same
    int iType, iAnsi;
    int iSg;    // number of /dev/sg<n>
    int iLevel; // scsi_level in sysfs
    const char *cpVendor, *cpProduct, *cpRevision;
    int iDelay; // ms for every command
    int iNode;  // number of /dev/nst<n>, -1 none, -2 the next one in the order of the drives
    int iElement, iAutoLoad, iStatusByte, iMediumType;     // a drive's properties
    int iLoaded, iPrevent, iCleaning, iDensity, iBuffered; // its state
    int iBlockLength, iPosition;                           //
    BYTES bCompression, bEeprom;                           //
};

struct ELEMENT {
    int iAddress, iType;
    int iChanger;   // index of the changer's device
    int iDrive;     // index of the tape device of a drive element, -1 none
    int iCartridge; // index, -1 empty
    int iException; // ASC and ASCQ, -1 none
};

struct CARTRIDGE {
    int iLine;
    const char* cpBarcode;
    int iPlace;  // element address, -1 outside the library
    int iSource; // storage element it last came from, -1 none
    int iKind, iProtected, iMediumType, iBlank;
};

struct LIBRARY {
    int iStrict; // refuse an allocation length above the transfer length
    int iSysfs;  // the devices are in sysfs
    const char* cpListing;
    int iDevices, iElements, iCartridges;
    DEVICE device[DEVICE_MAX];
    ELEMENT element[ELEMENT_MAX];
    CARTRIDGE cartridge[CARTRIDGE_MAX];
};

// One command on its way through a device.
struct REQUEST {
    const unsigned char* cpCdb; // 6 to 16 bytes by the opcode's group
    const unsigned char* cpOut; // data that came with the request
    int iOutLen;
    unsigned char* cpIn; // DATA_IN_MAX bytes for the answer
    int iInMax;          // bytes that the initiator takes
    int iInLen;          // bytes that are answered
    int iStatus;         // SCSI status
    unsigned char cSense[18];
    int iDevice;
    int iChanged; // the library's state must be saved
};

struct COMMAND {
    int iOpcode;
    void (*vRun)(REQUEST* pReq);
};

extern LIBRARY gLib;           // valid between vLibraryEnter and vLibraryLeave
extern const char* gcpLibrary; // path of the description

// text.cpp
[[noreturn]] void vFatal(const char* cpFormat, ...) __attribute__((format(printf, 1, 2)));
void vAdd(OUT* pOut, const char* cpFormat, ...) __attribute__((format(printf, 2, 3)));
char* cpTrim(char* cp);
char* cpTakeLine(char** cpp);
int iTakeWord(const char** cpp, char* szOut, size_t uiMax);
int iTakeNumber(const char** cpp, int* ipValue);
int iAtEnd(const char* cp);
int iData(const char* cp, const char* cpNamedIn, unsigned char* cpOut, int iMax);
int iReadFile(const char* cpPath, char* cpOut, int iMax);
void vReadText(const char* cpPath, char* cpOut, int iMax);
void vInPlaceOf(const char* cpNamedIn, const char* cpName, char* szOut, size_t uiMax);
int64_t i64Now(void);

// description.cpp, keys.cpp
void vParse(char* cpText, const char* cpName);
void vWriteState(OUT* pOut);
const char* cpNextValue(int* ipLine, const char* cpKey);
int iAttribute(const char* cp, int* ipId, int* ipFormat, unsigned char* cpOut);
const char* cpTypeName(int iType);

// library.cpp
void vLibraryEnter(void);
void vLibraryLeave(int iChanged);
int iElementAt(unsigned uiAddress);
bool bAddElement(int iAddress, int iType);
int iNodeDevice(int iNode);
int iSgDevice(int iNumber);
const int* ipNodeAddress(const DEVICE* pDev, bool bTape);
void vAddField(OUT* pOut, const char* cpText, int iLen);
bool bListed(void);
void vListing(OUT* pOut);
void vPicture(OUT* pOut);

// device.cpp: what every device does, and the ways to end a command
void vRunCommand(REQUEST* pReq);
void vAnswer(REQUEST* pReq, int iLen, unsigned uiAllocation);
void vCheck(REQUEST* pReq, int iKey, int iAscAscq);
void vModeSense(REQUEST* pReq);
void vPut(unsigned char* cp, int iBytes, unsigned uiValue);
unsigned uiGet(const unsigned char* cp, int iBytes);
void vPutText(unsigned char* cp, int iLen, const char* cpText, int iFill);

// changer.cpp, drive.cpp
extern const COMMAND gChangerCommands[], gDriveCommands[]; // end with opcode -1
int iAddressPage(const REQUEST* pReq, unsigned char* cpOut);
int iDriveReady(REQUEST* pReq);
int iDriveStatusByte(const DEVICE* pDev);
void vDriveLoad(DEVICE* pDev);
void vDriveHeader(const DEVICE* pDev, unsigned char* cpMedium, unsigned char* cpBlock);
void vPreventAllow(REQUEST* pReq);

// scenario.cpp: what a test has ordered
enum ACTION {
    ACT_REPLY,
    ACT_STATUS,
    ACT_RESULT,
    ACT_WRITE,
    ACT_READ,
    ACT_DELAY,
    ACT_OPEN,
    ACT_TIMEOUT,
    ACT_IDLUN
};
struct RULE {
    int iAction;
    int iOpcode;       // -1 any
    char szDevice[24]; // name without its folder, empty any
    int iCount, iSeen; // the occurrence that is meant, 0 each; those that were seen
    int iErrno, iValue;
    const unsigned char* cpData; // reply data or sense data
    int iLen;
    int iLine; // in the file, and the text of this line
    const char* cpText;
    bool bHadTurn;
};
void vScenarioRead(void);
bool bScenarioLeft(void);
const RULE* pRule(int iAction, int iOpcode, const char* cpPath);
const RULE* pRuleByName(int iAction, const char* cpPath);

// node.cpp: the simulated files by their paths, and the log
enum NODE {
    NODE_NONE, // not one of ours
    NODE_LISTING,
    NODE_PICTURE,
    NODE_ABSENT,    // below a folder of ours, but nothing
    NODE_CLASS,     // /sys/class/scsi_generic or scsi_tape
    NODE_ENTRY,     // a device's folder there
    NODE_LINK,      // its link "device"
    NODE_DEVICE,    // where this leads
    NODE_ATTRIBUTE, // a file there
    NODE_SG,
    NODE_TAPE
};
struct PLACE {
    NODE eKind;
    bool bTape;     // by the tape node, else by the generic one
    int iNumber;    // of the node
    int iAttribute; // which file of the device
};
bool bPlace(const char* cpPath, PLACE* pPlace);
const char* cpNodeNumber(const char* cp, int* ipNumber);
int iDeviceBehind(const PLACE* pPlace);
bool bPlaceExists(const PLACE* pPlace);
int iNodeMake(const char* cpPath, int iNumber, unsigned uiMajor, unsigned uiMinor);
int iNodeOpen(const char* cpPath, const PLACE* pPlace, int iFlags, int* ipFile);
int iNodeText(const char* cpPath, const PLACE* pPlace, OUT* pOut);
void vLog(int64_t i64At, const char* cpEvent, const char* cpPath, const char* cpFormat, ...)
    __attribute__((format(printf, 4, 5)));
const char* cpResult(ssize_t iResult);

// sysfs.cpp: what stands below the two folders of sysfs
bool bSysfsPlace(const char* cpPath, PLACE* pPlace);
bool bSysfsExists(const PLACE* pPlace);
void vSysfsLink(const PLACE* pPlace, OUT* pOut);
void vSysfsAttribute(const PLACE* pPlace, OUT* pOut);
void vSysfsFolder(const PLACE* pPlace, OUT* pOut);

// driver.cpp: open devices
int iFileNew(const char* cpPath, int iKind, int iDevice);
void vFileShare(int iFile);
void vFileClose(int iFile, int iFd);
ssize_t iFileWrite(int iFile, const unsigned char* cpBuf, size_t uiCount);
ssize_t iFileRead(int iFile, unsigned char* cpBuf, size_t uiCount);
int iFileControl(int iFile, unsigned long uiRequest, void* vpArg);

#endif
