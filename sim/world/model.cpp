// The library in memory, as model.h says.
#include "model.h"

#include "media.h"

#include <string.h>

LIBRARY gstrLib;
const char* gcpLibrary;

// Index + 1 into the elements: a table with room for twice as many, in which an element stands at
// the place that its changer and address make, or behind it at the first free one. Elements that
// follow one another do so here, too, so that a small library touches little memory.
static const unsigned uiPLACES = 2 * iELEMENT_MAX;
static int giElementAt[uiPLACES];

static uint16_t guiDeviceAt[iSG_MAX]; // index + 1 into the devices by generic number
static int giChangerAt[iDEVICE_MAX];  // indexes of the devices with elements
static int giChangers;

static unsigned uiPlaceOf(int iChanger, int iAddress)
{
    return ((unsigned)iChanger * 40503U + (unsigned)iAddress) % uiPLACES;
}

void vForgetAll()
{
    for (int i = 0; i < gstrLib.iElements; i++) {
        const ELEMENT* pElement = &gstrLib.strElements[i];
        unsigned uiPlace = uiPlaceOf(pElement->iChanger, pElement->iAddress);
        for (; giElementAt[uiPlace] != 0; uiPlace = (uiPlace + 1) % uiPLACES)
            giElementAt[uiPlace] = 0;
    }
    for (int i = 0; i < gstrLib.iDevices; i++)
        guiDeviceAt[gstrLib.strDevices[i].iSg] = 0;
    gstrLib.iDevices = 0;
    gstrLib.iElements = 0;
    gstrLib.iCartridges = 0;
    vForgetRecords();
}

// Where an element stands in the table, or would stand.
static int* ipPlace(int iChanger, int iAddress)
{
    unsigned uiPlace = uiPlaceOf(iChanger, iAddress);
    for (; giElementAt[uiPlace] != 0; uiPlace = (uiPlace + 1) % uiPLACES) {
        const ELEMENT* pElement = &gstrLib.strElements[giElementAt[uiPlace] - 1];
        if (pElement->iChanger == iChanger && pElement->iAddress == iAddress)
            break;
    }
    return &giElementAt[uiPlace];
}

bool bAddElement(int iAddress, ELEMENT_TYPE eType)
{
    const int iChanger = gstrLib.iDevices - 1;
    DEVICE* pChanger = &gstrLib.strDevices[iChanger];
    int* ip = ipPlace(iChanger, iAddress);
    if (*ip != 0)
        return false;
    if (pChanger->iElements++ == 0)
        pChanger->iFirstElement = gstrLib.iElements;
    gstrLib.strElements[gstrLib.iElements++] = {iAddress, eType, iChanger, -1, -1, -1};
    *ip = gstrLib.iElements;
    return true;
}

ELEMENT* pElementAt(int iChanger, int iAddress)
{
    const int iAt = *ipPlace(iChanger, iAddress);
    return iAt != 0 ? &gstrLib.strElements[iAt - 1] : nullptr;
}

bool bTakeDeviceNumber(const char** cpp, DEVICE_NUMBER* pNumber)
{
    char szKind[8];
    if (!bTakeWord(cpp, szKind, sizeof(szKind)))
        return false;
    *pNumber = {NUMBER_NONE, 0, 0};
    if (strcmp(szKind, "none") == 0)
        return true;
    pNumber->eKind = szKind[0] == 'b' ? NUMBER_BLOCK : NUMBER_CHARACTER;
    return (strcmp(szKind, "b") == 0 || strcmp(szKind, "c") == 0) &&
           bTakeNumber(cpp, &pNumber->iMajor) && bTakeNumber(cpp, &pNumber->iMinor) &&
           pNumber->iMajor >= 0 && pNumber->iMinor >= 0;
}

int iSgDevice(int iNumber)
{
    return iNumber < iSG_MAX ? guiDeviceAt[iNumber] - 1 : -1;
}

int iNodeDevice(int iNode)
{
    for (int i = 0; i < gstrLib.iDevices; i++) {
        const DEVICE* pDev = &gstrLib.strDevices[i];
        if (pDev->eType == TYPE_TAPE && pDev->iNode == iNode)
            return i;
    }
    return -1;
}

const ADDRESS* pAddressOf(const DEVICE* pDev, bool bTape)
{
    return bTape && pDev->strNodeAddress.iHost >= 0 ? &pDev->strNodeAddress : &pDev->strAddress;
}

CARTRIDGE* pDriveCartridge(const DEVICE* pDev)
{
    const int iCartridge =
        pDev->iElementIndex >= 0 ? gstrLib.strElements[pDev->iElementIndex].iCartridge : -1;
    return iCartridge >= 0 ? &gstrLib.strCartridges[iCartridge] : nullptr;
}

// Gives every device its generic number and its level, and notes the changers.
static void vTieDevices(const char* cpName)
{
    int iNext = 0;
    giChangers = 0;
    for (int i = 0; i < gstrLib.iDevices; i++) {
        DEVICE* pDev = &gstrLib.strDevices[i];
        if (pDev->iSg < 0)
            pDev->iSg = iNext;
        if (pDev->iSg >= iSG_MAX)
            vFatal("%s:%d: no device beyond /dev/sg%d", cpName, pDev->iLine, iSG_MAX - 1);
        if (guiDeviceAt[pDev->iSg] != 0)
            vFatal("%s:%d: there is a /dev/sg%d already", cpName, pDev->iLine, pDev->iSg);
        guiDeviceAt[pDev->iSg] = (uint16_t)(i + 1);
        iNext = pDev->iSg + 1;
        if (pDev->iElements > 0)
            giChangerAt[giChangers++] = i;
        if (pDev->iLevel < 0)
            pDev->iLevel = pDev->iAnsi > 1 ? pDev->iAnsi + 1 : pDev->iAnsi;
    }
}

static bool bSameAddress(const ADDRESS* pFirst, const ADDRESS* pSecond)
{
    return pFirst->iHost == pSecond->iHost && pFirst->iChannel == pSecond->iChannel &&
           pFirst->iTarget == pSecond->iTarget && pFirst->iLun == pSecond->iLun;
}

// The element with an address in a changer that is named, else in the first that has it; null for
// none.
static ELEMENT* pNamedElement(const ADDRESS* pChanger, int iAddress)
{
    ELEMENT* pFound = nullptr;
    for (int i = 0; i < giChangers && pFound == nullptr; i++) {
        const DEVICE* pDev = &gstrLib.strDevices[giChangerAt[i]];
        if (pChanger->iHost < 0 || bSameAddress(pChanger, &pDev->strAddress))
            pFound = pElementAt(giChangerAt[i], iAddress);
    }
    return pFound;
}

// Puts every cartridge into the element that it lies in.
static void vTieCartridges(const char* cpName)
{
    for (int i = 0; i < gstrLib.iCartridges; i++) {
        const CARTRIDGE* pCart = &gstrLib.strCartridges[i];
        if (pCart->iPlace < 0)
            continue;
        ELEMENT* pElement = pNamedElement(&pCart->strChanger, pCart->iPlace);
        if (pElement == nullptr || pElement->iCartridge >= 0)
            vFatal("%s:%d: no room for this cartridge at %d", cpName, pCart->iLine, pCart->iPlace);
        pElement->iCartridge = i;
    }
}

// Gives a tape drive, the iTape-th one, its node and its element.
static void vTieDrive(const char* cpName, int iDevice, int iTape)
{
    DEVICE* pDev = &gstrLib.strDevices[iDevice];
    if (pDev->iNode == -2)
        pDev->iNode = iTape;
    if (pDev->strCompression.iLen == 0)
        pDev->strCompression = {
            16, {0x0F, 0x0E, 0xC0, 0x80}
        };
    if (pDev->iElement < 0)
        return;
    ELEMENT* pElement = pNamedElement(&pDev->strChanger, pDev->iElement);
    if (pElement == nullptr || pElement->eType != ELEMENT_DRIVE || pElement->iDrive >= 0)
        vFatal("%s:%d: no free drive element at %d for this device", cpName, pDev->iLine,
               pDev->iElement);
    pElement->iDrive = iDevice;
    pDev->iElementIndex = (int)(pElement - gstrLib.strElements);
    pDev->bLoaded = pDev->bLoaded && pElement->iCartridge >= 0;
}

void vTieTogether(const char* cpName)
{
    int iTapes = 0;
    int iChangers = 0;
    int iDisks = 0;
    int iCds = 0;
    vTieDevices(cpName);
    vTieCartridges(cpName);
    for (int i = 0; i < gstrLib.iDevices; i++) {
        DEVICE* pDev = &gstrLib.strDevices[i];
        pDev->iElementIndex = -1;
        if (pDev->eType == TYPE_TAPE)
            vTieDrive(cpName, i, iTapes++);
        else if (pDev->eType == TYPE_CHANGER)
            pDev->iUnit = iChangers++;
        else if (pDev->eType == TYPE_DISK || pDev->eType == TYPE_OPTICAL)
            pDev->iUnit = iDisks++;
        else if (pDev->eType == TYPE_CD || pDev->eType == TYPE_WORM)
            pDev->iUnit = iCds++;
    }
}
