// What can be read about the library: the kernel's listing, sysfs, and a picture for people. The
// library must be entered.
#ifndef MVK_SIM_VIEWS_H
#define MVK_SIM_VIEWS_H

#include "place.h"
#include "world/text.h"

// Whether a place in /proc or sysfs exists.
bool bExists(const PLACE* pPlace);

// Writes what is to be read at a place that exists: a text, the target of a link, or the names in a
// folder, one a line.
void vView(const PLACE* pPlace, OUT* pOut);

// sysfs.cpp: the same for places in sysfs
bool bSysfsExists(const PLACE* pPlace);
void vSysfsView(const PLACE* pPlace, OUT* pOut);

// A text of INQUIRY data as the kernel shows it: iLen characters, blanks for what is not printable.
void vAddField(OUT* pOut, const char* cpText, int iLen);

#endif
