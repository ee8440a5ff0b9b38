// Stand-ins for what the library calls in the system. Fixed paths lead into the folder of the test,
// the list of processes is its file "ps", requests to a device are shown on
// standard output, and it is 2001-02-03 09:05:07.
#include "unit.h"

#include <dlfcn.h>
#include <errno.h>
#include <stdarg.h>
#include <sys/stat.h>

int giPid;
bool gbFails;
std::string gszRoot;

static std::string szMoved(std::string szText)
{
    if (szText.starts_with("ps -e -A -o pid,command"))
        szText.replace(0, 23, "cat " + gszRoot + "/ps");
    for (const std::string szPath : {"/etc/", "/proc/scsi/", "/dev/nst", "/tmp/mvk_"}) {
        for (size_t i = 0; (i = szText.find(szPath, i)) != std::string::npos;
             i += gszRoot.size() + 1)
            szText.insert(i, gszRoot);
    }
    return szText;
}

// A function that the program calls instead of the C library's, and that one.
#define STAND_IN(type, f, parameters, value)                                                       \
    extern "C" type f parameters                                                                   \
    {                                                                                              \
        return value;                                                                              \
    }
#define NEXT(f) ((decltype(&f))dlsym(RTLD_NEXT, #f))

STAND_IN(time_t, time, (time_t*) noexcept, 981191107)
STAND_IN(pid_t, getpid, () noexcept, giPid)
STAND_IN(pid_t, getppid, () noexcept, giPid - 1)
STAND_IN(FILE*, fopen, (const char* cpPath, const char* cpMode),
         NEXT(fopen)(szMoved(cpPath).c_str(), cpMode))
STAND_IN(int, stat, (const char* cpPath, struct stat* pStat) noexcept,
         NEXT(stat)(szMoved(cpPath).c_str(), pStat))
STAND_IN(FILE*, popen, (const char* cpCommand, const char* cpMode),
         gbFails ? (errno = EMFILE, nullptr) : NEXT(popen)(szMoved(cpCommand).c_str(), cpMode))

extern "C" int open(const char* cpPath, int iFlags, ...)
{
    va_list vaArguments;
    va_start(vaArguments, iFlags);
    const mode_t uiMode = va_arg(vaArguments, mode_t); // nobody looks at it unless it was given
    va_end(vaArguments);
    return NEXT(open)(szMoved(cpPath).c_str(), iFlags, uiMode);
}

// The file that stands for a tape node holds the two words of its address.
extern "C" int ioctl(int iFD, unsigned long uiRequest, ...) noexcept
{
    va_list vaArguments;
    va_start(vaArguments, uiRequest);
    int* ipArgument = va_arg(vaArguments, int*);
    va_end(vaArguments);
    if (uiRequest == 0x5382)
        return pread(iFD, ipArgument, 8, 0) == 8 ? 0 : -1;
    printf("ioctl %lx %d\n", uiRequest, *ipArgument);
    errno = ENOTTY;
    return gbFails ? -1 : 0;
}
