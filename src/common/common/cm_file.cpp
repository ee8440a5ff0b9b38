// How the library opens its text files. The ground: stands on nothing but the C library.
#include "cm_file.h"

FILE* fpOpenText(const char* cpPath, char (&cBuffer)[iTEXT_BUFFER_SIZE])
{
    FILE* fpText = fopen(cpPath, "r");
    if (fpText != nullptr)
        setvbuf(fpText, cBuffer, _IOFBF, sizeof(cBuffer));
    return fpText;
}

FILE* fpOpenLog(const char* cpPath)
{
    FILE* fpLog = fopen(cpPath, "a");
    if (fpLog != nullptr)
        setvbuf(fpLog, nullptr, _IONBF, 0);
    return fpLog;
}
