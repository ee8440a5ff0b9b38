// What a name leads to before it is opened: to open a device file can already act on the device (a
// tape rewinds), so that the file's kind and number decide first.
#pragma once

// The forms that a name can have.
enum NAME_FORM {
    NAME_ID,      // digits, as the scan prints them
    NAME_ADDRESS, // host:channel:target:LUN
    NAME_PATH,    // anything else
};

// Returns the form of a name.
NAME_FORM eNameForm(const char* cpName);

// Looks at the file that cpName names, without opening it. iNumber: the number of the generic
// device that it has to be, -1 for any. Returns null when it may be opened: a generic device's node
// (of that number), anything that is no node of a device (regular files, pipes, sockets, /dev/null,
// /dev/zero, /dev/full), and what cannot be looked at. Otherwise returns why not, for the trace.
const char* cpWhyNotOpened(const char* cpName, int iNumber);
