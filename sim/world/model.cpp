// The library in memory, as model.h says.
#include "model.h"

#include "media.h"

#include <string.h>

LIBRARY gstrLib;
const char* gcpLibrary;

static uint16_t guiElementAt[65536];  // index + 1 into the elements by address
static uint16_t guiDeviceAt[iSG_MAX]; // index + 1 into the devices by generic number

void vForgetAll()
{
    gstrLib.iDevices = 0;
    gstrLib.iElements = 0;
    gstrLib.iCartridges = 0;
    vForgetRecords();
    memset(guiElementAt, 0, sizeof(guiElementAt));
    memset(guiDeviceAt, 0, sizeof(guiDeviceAt));
}

bool bAddElement(int iAddress, ELEMENT_TYPE eType)
{
    if (guiElementAt[iAddress] != 0)
        return false;
    gstrLib.strElements[gstrLib.iElements++] = {iAddress, eType, gstrLib.iDevices - 1, -1, -1, -1};
    guiElementAt[iAddress] = (uint16_t)gstrLib.iElements;
    return true;
}

ELEMENT* pElementAt(unsigned uiAddress)
{
    const int iAt = guiElementAt[uiAddress & 0xFFFF];
    return iAt != 0 ? &gstrLib.strElements[iAt - 1] : nullptr;
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
    const ELEMENT* pElement = pDev->iElement >= 0 ? pElementAt((unsigned)pDev->iElement) : nullptr;
    if (pElement == nullptr || pElement->iCartridge < 0)
        return nullptr;
    return &gstrLib.strCartridges[pElement->iCartridge];
}

// Gives every device its generic number and its level.
static void vTieDevices(const char* cpName)
{
    int iNext = 0;
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
        if (pDev->iLevel < 0)
            pDev->iLevel = pDev->iAnsi > 1 ? pDev->iAnsi + 1 : pDev->iAnsi;
    }
}

// Puts every cartridge into the element that it lies in.
static void vTieCartridges(const char* cpName)
{
    for (int i = 0; i < gstrLib.iCartridges; i++) {
        const CARTRIDGE* pCart = &gstrLib.strCartridges[i];
        if (pCart->iPlace < 0)
            continue;
        ELEMENT* pElement = pElementAt((unsigned)pCart->iPlace);
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
    ELEMENT* pElement = pElementAt((unsigned)pDev->iElement);
    if (pElement == nullptr || pElement->eType != ELEMENT_DRIVE || pElement->iDrive >= 0)
        vFatal("%s:%d: no free drive element at %d for this device", cpName, pDev->iLine,
               pDev->iElement);
    pElement->iDrive = iDevice;
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
