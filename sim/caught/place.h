// The simulated files by their paths.
#ifndef MVK_SIM_PLACE_H
#define MVK_SIM_PLACE_H

// What a path names, in an order: the texts in /proc, what stands below the folders in sysfs, the
// devices.
enum PLACE_KIND {
    PLACE_NONE, // not one of ours
    PLACE_LISTING,
    PLACE_PICTURE,
    PLACE_ABSENT,    // below a folder of ours, but nothing
    PLACE_CLASS,     // /sys/class/scsi_generic or scsi_tape
    PLACE_ENTRY,     // a device's folder there
    PLACE_LINK,      // its link "device"
    PLACE_DEVICE,    // the folder that this leads to
    PLACE_ATTRIBUTE, // a file there
    PLACE_SG,
    PLACE_TAPE
};

// The files of a device in sysfs.
enum ATTRIBUTE {
    ATTRIBUTE_VENDOR,
    ATTRIBUTE_MODEL,
    ATTRIBUTE_REV,
    ATTRIBUTE_TYPE,
    ATTRIBUTE_LEVEL,
    ATTRIBUTES
};
extern const char* const gcpAttributes[ATTRIBUTES]; // their names

struct PLACE {
    PLACE_KIND eKind;
    bool bTape;  // by the tape node, else by the generic one
    int iNumber; // of the node
    ATTRIBUTE eAttribute;
};

// Returns whether an absolute path names one of the simulated files; *pPlace tells which.
bool bPlace(const char* cpPath, PLACE* pPlace);

#endif
