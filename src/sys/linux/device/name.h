// What a name leads to before it is opened: to open a device file can already act on the device (a
// tape rewinds), so that the file's kind and number decide first.
#pragma once

// The forms that a name can have.
enum NAME_FORM {
    NAME_ID,      // digits, as the scan prints them (a "-" comes from a blank in a torn line)
    NAME_ADDRESS, // host:channel:target:LUN
    NAME_PATH,    // anything else
};

// Returns the form of a name.
NAME_FORM eNameForm(const char* cpName);

// What a file is, by its kind and device number; its name says nothing.
enum FILE_KIND {
    FILE_UNKNOWN,  // cannot be looked at
    FILE_GENERIC,  // a node of the generic driver
    FILE_DEVICE,   // any other node of a device
    FILE_STAND_IN, // no device: regular file, pipe, socket, folder, or /dev/null, zero, full
};

// A file as it was looked at.
struct FILE_FACTS {
    FILE_KIND eKind;
    bool bBlock;          // a block device
    unsigned int uiMajor; // of the device
    unsigned int uiMinor; // of FILE_GENERIC: n of the generic device sg<n>
};

// Looks at the file that cpPath names, or that is open as iFD. Nothing is opened.
FILE_FACTS strLookAt(const char* cpPath);
FILE_FACTS strLookAtOpen(int iFD);

// Returns the number n of the generic device sg<n> of the device that a node leads to: the node's
// own for FILE_GENERIC, the one that sysfs names for FILE_DEVICE; -1 for none.
int iGenericNumber(const FILE_FACTS* pFacts);
