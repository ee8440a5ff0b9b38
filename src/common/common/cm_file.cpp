// How the library opens its text files. The ground: stands on nothing but the C library.
#include "cm_file.h"

#include <errno.h>
#include <sys/stat.h>

FILE* fpOpenFile(const char* cpPath, const char* cpMode)
{
    struct stat strStatus;
    if (stat(cpPath, &strStatus) == 0 && S_ISFIFO(strStatus.st_mode)) {
        errno = ENXIO;
        return nullptr;
    }
    return fopen(cpPath, cpMode);
}

FILE* fpOpenText(const char* cpPath, char (&cBuffer)[iTEXT_BUFFER_SIZE])
{
    FILE* fpText = fpOpenFile(cpPath, "r");
    if (fpText != nullptr)
        setvbuf(fpText, cBuffer, _IOFBF, sizeof(cBuffer));
    return fpText;
}

FILE* fpOpenLog(const char* cpPath)
{
    FILE* fpLog = fpOpenFile(cpPath, "a");
    if (fpLog != nullptr)
        setvbuf(fpLog, nullptr, _IONBF, 0);
    return fpLog;
}
