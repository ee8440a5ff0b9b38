// What the files share that catch the C library's calls.
#ifndef MVK_SIM_CATCH_H
#define MVK_SIM_CATCH_H

#include "files.h"

#include <dlfcn.h>

#define CAUGHT extern "C" __attribute__((visibility("default")))

// The function of this name that the program would have called without us; a name takes no
// parentheses. NOLINTBEGIN(bugprone-macro-parentheses)
#define NEXT(f)                                                                                    \
    ([]() {                                                                                        \
        static void* vp;                                                                           \
        if (vp == nullptr)                                                                         \
            vp = dlsym(RTLD_NEXT, #f);                                                             \
        return (decltype(&f))vp;                                                                   \
    }())
// NOLINTEND(bugprone-macro-parentheses)

// links.cpp: which calls are caught

// The simulator's own file calls are under way: they are not caught.
extern bool gbInside;

// Ends what is done inside: turns a result with a negative error number into the C library's way,
// and puts errno back otherwise.
ssize_t iDone(ssize_t iResult, int iErrno);

// Whether a call on this path is to be caught; *pPlace tells what the path names.
bool bCatch(const char* cpPath, PLACE* pPlace);

// The same for a path that may lead to one of ours through links, or in a roundabout way.
bool bCatchLink(const char* cpPath, PLACE* pPlace);

// descriptors.cpp

// Whether a descriptor is one of ours, and the number of its node.
bool bOpenNumber(int iFd, DEVICE_NUMBER* pNumber);

#endif
