// The library between the commands: its description and its state file, the lock that lets
// several processes share it, and its pictures (the kernel's listing, the one for people).
#include "sim.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

LIBRARY gLib;
const char* gcpLibrary;

static char gcText[TEXT_MAX];        // what gLib was read from
static struct stat gRead;            // the file it was read from, as it was then
static const char* gcpParsed;        // and its path
static uint16_t guiElementAt[65536]; // index + 1 into gLib.element by address
static uint16_t guiDeviceAt[SG_MAX]; // index + 1 into gLib.device by generic number
static const char* gcpState;         // path of the state file, null: nothing is kept
static int giLock = -1;
static const char gszHeader[] = "# mvk-sim: state of ";
static const char gszEnd[] = "\n# mvk-sim: end of the state\n"; // a state without it was cut

int iElementAt(unsigned uiAddress)
{
    return guiElementAt[uiAddress & 0xFFFF] - 1;
}

// Adds an element to the changer that is being described. Returns false when its address is taken.
bool bAddElement(int iAddress, int iType)
{
    if (gLib.iElements == 0)
        memset(guiElementAt, 0, sizeof(guiElementAt));
    if (guiElementAt[iAddress] != 0)
        return false;
    gLib.element[gLib.iElements++] = {iAddress, iType, gLib.iDevices - 1, -1, -1, -1};
    guiElementAt[iAddress] = (uint16_t)gLib.iElements;
    return true;
}

// Gives a tape drive its node and its element.
static void vResolveDrive(int iDevice, int iTape)
{
    DEVICE* pDev = &gLib.device[iDevice];
    if (pDev->iNode == -2)
        pDev->iNode = iTape;
    if (pDev->bCompression.iLen == 0)
        pDev->bCompression = {
            16, {0x0F, 0x0E, 0xC0, 0x80}
        };
    if (pDev->iElement < 0)
        return;
    int iAt = iElementAt((unsigned)pDev->iElement);
    if (iAt < 0 || gLib.element[iAt].iType != ELEMENT_DRIVE || gLib.element[iAt].iDrive >= 0)
        vFatal("%s:%d: no free drive element at %d for this device", gcpParsed, pDev->iLine,
               pDev->iElement);
    gLib.element[iAt].iDrive = iDevice;
    pDev->iLoaded &= gLib.element[iAt].iCartridge >= 0;
}

// Gives every device its generic number and its level.
static void vResolveDevices(void)
{
    int iNext = 0;
    memset(guiDeviceAt, 0, sizeof(guiDeviceAt));
    for (int i = 0; i < gLib.iDevices; i++) {
        DEVICE* pDev = &gLib.device[i];
        if (pDev->iSg < 0)
            pDev->iSg = iNext;
        if (pDev->iSg >= SG_MAX)
            vFatal("%s:%d: no device beyond /dev/sg%d", gcpParsed, pDev->iLine, SG_MAX - 1);
        if (guiDeviceAt[pDev->iSg] != 0)
            vFatal("%s:%d: there is a /dev/sg%d already", gcpParsed, pDev->iLine, pDev->iSg);
        guiDeviceAt[pDev->iSg] = (uint16_t)(i + 1);
        iNext = pDev->iSg + 1;
        if (pDev->iLevel < 0)
            pDev->iLevel = pDev->iAnsi + (pDev->iAnsi > 1);
    }
}

// Ties together what the description names by address.
static void vResolve(void)
{
    int iTape = 0;
    vResolveDevices();
    if (gLib.iElements == 0)
        memset(guiElementAt, 0, sizeof(guiElementAt));
    for (int i = 0; i < gLib.iCartridges; i++) {
        int iPlace = gLib.cartridge[i].iPlace, iAt = iPlace < 0 ? 0 : iElementAt((unsigned)iPlace);
        if (iPlace >= 0 && (iAt < 0 || gLib.element[iAt].iCartridge >= 0))
            vFatal("%s:%d: no room for this cartridge at %d", gcpParsed, gLib.cartridge[i].iLine,
                   iPlace);
        if (iPlace >= 0)
            gLib.element[iAt].iCartridge = i;
    }
    for (int i = 0; i < gLib.iDevices; i++) {
        if (gLib.device[i].iType == TYPE_TAPE)
            vResolveDrive(i, iTape++);
    }
}

// Puts the text into the state file: a new file takes the old one's name, so that the old or the
// new state stands there whole, whenever the process is killed.
static void vSave(void)
{
    static char cOut[TEXT_MAX];
    char szNew[1100];
    OUT out = {cOut, TEXT_MAX, 0, 0};
    if (strncmp(gcText, gszHeader, sizeof(gszHeader) - 1) != 0)
        vAdd(&out, "%s%s\n", gszHeader, gcpLibrary);
    vWriteState(&out);
    vAdd(&out, "%s", gszEnd + 1);
    snprintf(szNew, sizeof(szNew), "%s.new", gcpState);
    unlink(szNew); // left by a process that was killed, or a link to somewhere
    int iFd = open(szNew, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (iFd < 0 || out.iFull || write(iFd, out.cp, (size_t)out.iLen) != out.iLen ||
        fstat(iFd, &gRead) != 0 || close(iFd) != 0 || rename(szNew, gcpState) != 0)
        vFatal("cannot write the state %s: %s", gcpState, strerror(errno));
}

// A state is of this library, and whole; its end is taken off.
static void vCheckState(void)
{
    size_t uiLen = sizeof(gszHeader) - 1, uiPath = strlen(gcpLibrary);
    if (strncmp(gcText, gszHeader, uiLen) != 0 ||
        strncmp(gcText + uiLen, gcpLibrary, uiPath) != 0 || gcText[uiLen + uiPath] != '\n')
        vFatal("%s is not a state of the library %s (mvk-sim --reset forgets it)", gcpState,
               gcpLibrary);
    char* cpEnd = gcText + strlen(gcText) - (sizeof(gszEnd) - 1);
    if (cpEnd < gcText || strcmp(cpEnd, gszEnd) != 0)
        vFatal("the state %s is not whole, its end is missing (mvk-sim --reset forgets it)",
               gcpState);
    cpEnd[1] = '\0';
}

// Reads the file unless it is the one that was read last. Returns 0 when there is none.
static int iRead(const char* cpPath)
{
    struct stat now;
    if (stat(cpPath, &now) != 0)
        return 0;
    if (gRead.st_ino == now.st_ino && gRead.st_size == now.st_size &&
        gRead.st_mtim.tv_sec == now.st_mtim.tv_sec && gRead.st_mtim.tv_nsec == now.st_mtim.tv_nsec)
        return 1;
    vReadText(cpPath, gcText, TEXT_MAX);
    if (cpPath == gcpState)
        vCheckState();
    gcpParsed = cpPath;
    vParse(gcText, cpPath);
    vResolve();
    gRead = now;
    return 1;
}

// Locks the library and brings gLib up to date.
void vLibraryEnter(void)
{
    gcpLibrary = getenv("MVK_SIM_LIBRARY");
    gcpState = getenv("MVK_SIM_STATE");
    if (!gcpLibrary)
        vFatal("MVK_SIM_LIBRARY does not name a library");
    if (gcpState && *gcpState) {
        char szLock[1100];
        snprintf(szLock, sizeof(szLock), "%s.lock", gcpState);
        giLock = open(szLock, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (giLock < 0)
            vFatal("cannot open %s: %s", szLock, strerror(errno));
        while (flock(giLock, LOCK_EX) != 0 && errno == EINTR) {
        }
        if (iRead(gcpState))
            return;
    }
    if (!iRead(gcpLibrary))
        vFatal("cannot read %s: %s", gcpLibrary, strerror(errno));
    if (giLock >= 0)
        vSave();
}

// Saves what has changed and lets others have the library.
void vLibraryLeave(int iChanged)
{
    if (giLock < 0)
        return;
    if (iChanged)
        vSave();
    close(giLock);
    giLock = -1;
}

// Index of the device that /dev/nst<iNode> leads to, -1 none.
int iNodeDevice(int iNode)
{
    for (int i = 0; i < gLib.iDevices; i++) {
        if (gLib.device[i].iType == TYPE_TAPE && gLib.device[i].iNode == iNode)
            return i;
    }
    return -1;
}

// Index of the device /dev/sg<iNumber>, -1 none.
int iSgDevice(int iNumber)
{
    return iNumber < SG_MAX ? guiDeviceAt[iNumber] - 1 : -1;
}

// Host, channel, target and LUN, as the device's tape node or its generic one tells them.
const int* ipNodeAddress(const DEVICE* pDev, bool bTape)
{
    return bTape && pDev->iNodeAddress[0] >= 0 ? pDev->iNodeAddress : pDev->iAddress;
}

// A text of INQUIRY data as the kernel shows it: of fixed length, and blanks for what is not
// printable.
void vAddField(OUT* pOut, const char* cpText, int iLen)
{
    bool bEnded = false;
    for (int i = 0; i < iLen; i++) {
        bEnded = bEnded || cpText[i] == '\0';
        vAdd(pOut, "%c", bEnded || cpText[i] < ' ' || cpText[i] > '~' ? ' ' : cpText[i]);
    }
}

// Whether there is a listing at all.
bool bListed(void)
{
    return strcmp(gLib.cpListing, "none") != 0;
}

// /proc/scsi/scsi as the kernel writes it, or the file that the description gives instead.
void vListing(OUT* pOut)
{
    if (*gLib.cpListing) {
        char szPath[1024];
        vInPlaceOf(gcpLibrary, gLib.cpListing, szPath, sizeof(szPath));
        pOut->iLen = iReadFile(szPath, pOut->cp, pOut->iMax);
        if (pOut->iLen < 0)
            vFatal("cannot read %s: %s", szPath, strerror(errno));
        return;
    }
    vAdd(pOut, "Attached devices:\n");
    for (int i = 0; i < gLib.iDevices; i++) {
        const DEVICE* pDev = &gLib.device[i];
        vAdd(pOut, "Host: scsi%d Channel: %02d Id: %02d Lun: %02d\n", pDev->iAddress[0],
             pDev->iAddress[1], pDev->iAddress[2], pDev->iAddress[3]);
        vAdd(pOut, "  Vendor: ");
        vAddField(pOut, pDev->cpVendor, 8);
        vAdd(pOut, " Model: ");
        vAddField(pOut, pDev->cpProduct, 16);
        vAdd(pOut, " Rev: ");
        vAddField(pOut, pDev->cpRevision, 4);
        vAdd(pOut, "\n  Type:   %s                ANSI  SCSI revision: %02x%s\n",
             cpTypeName(pDev->iType), (unsigned)(pDev->iLevel - (pDev->iLevel > 1)),
             pDev->iLevel == 2 ? " CCS" : "");
    }
}

static void vPictureElement(OUT* pOut, const ELEMENT* pElement)
{
    static const char* const names[] = {"", "transport", "slot", "port", "drive"};
    static const char* const kinds[] = {"", " write-once", " cleaning"};
    vAdd(pOut, "  %-9s %5d", names[pElement->iType], pElement->iAddress);
    if (pElement->iDrive >= 0)
        vAdd(pOut, " /dev/sg%d", gLib.device[pElement->iDrive].iSg);
    if (pElement->iCartridge >= 0) {
        const CARTRIDGE* pCart = &gLib.cartridge[pElement->iCartridge];
        vAdd(pOut, " %s%s%s%s", pCart->cpBarcode, kinds[pCart->iKind],
             pCart->iProtected ? " protected" : "",
             pElement->iDrive >= 0 && gLib.device[pElement->iDrive].iLoaded ? " loaded" : "");
    }
    vAdd(pOut, "\n");
}

// The library for people: the devices, then what lies where.
void vPicture(OUT* pOut)
{
    for (int i = 0; i < gLib.iDevices; i++) {
        const DEVICE* pDev = &gLib.device[i];
        vAdd(pOut, "/dev/sg%d %d:%d:%d:%d %s %s %s", pDev->iSg, pDev->iAddress[0],
             pDev->iAddress[1], pDev->iAddress[2], pDev->iAddress[3], cpTypeName(pDev->iType),
             pDev->cpVendor, pDev->cpProduct);
        if (pDev->iType == TYPE_TAPE && pDev->iNode >= 0)
            vAdd(pOut, " /dev/nst%d", pDev->iNode);
        vAdd(pOut, "\n");
        for (int j = 0; j < gLib.iElements; j++) {
            if (gLib.element[j].iChanger == i)
                vPictureElement(pOut, &gLib.element[j]);
        }
    }
}
