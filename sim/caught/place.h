// The simulated files by their paths.
#ifndef MVK_SIM_PLACE_H
#define MVK_SIM_PLACE_H

#include "node.h"

// What a path names, in an order: the texts in /proc, what stands in sysfs, the nodes.
enum PLACE_KIND {
    PLACE_NONE, // not one of ours
    PLACE_LISTING,
    PLACE_PICTURE,
    PLACE_ABSENT,    // in a folder of ours, but nothing
    PLACE_CLASS,     // a folder with all nodes of a driver, or all numbers of a kind
    PLACE_ENTRY,     // a node's folder there
    PLACE_LINK,      // its link "device"
    PLACE_DEVICE,    // the folder that this leads to
    PLACE_NODES,     // the folder of a driver's nodes there
    PLACE_ATTRIBUTE, // a file there
    PLACE_NUMBER,    // the file "dev" of a node
    PLACE_NODE       // in /dev
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
    NODE strNode;
    NODE strFirst; // in sysfs: the node whose folder the path goes through first
    DRIVER eClass; // of a folder with nodes, DRIVERS: with numbers
    bool bBlock;   // which numbers
    ATTRIBUTE eAttribute;
};

// Returns whether an absolute path names one of the simulated files; *pPlace tells which.
bool bPlace(const char* cpPath, PLACE* pPlace);

#endif
