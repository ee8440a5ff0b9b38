// The folder of a test, and stand-ins for the calls of the system that the linker wraps.
#include "fixture.h"

#include "cm_trace.h"

#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

std::string szRead(const std::string& szFile)
{
    std::ifstream File(szFile);
    return {std::istreambuf_iterator<char>(File), {}};
}

void vWrite(const std::string& szFile, const std::string& szText)
{
    std::ofstream(szFile) << szText;
}

Product::Product()
{
    std::string szFolder = testing::TempDir() + "unit_XXXXXX";
    std::filesystem::current_path(mkdtemp(szFolder.data()));
    for (const char* cpDirectory : {"ini", "lgc", "work", "glbv"})
        std::filesystem::create_directory(cpDirectory);
    vWrite("root.ini", "[root]\nKQ_INI=kq.ini\n");
    vWrite("kq.ini", "[Pathes]\ngv_rw_ini=ini/\ngv_rw_lgc=lgc/\ngv_rw_work=work/\n"
                     "gv_rw_glbv=glbv/\n[SETUP]\nlang=en\n");
    vWrite("glbv/gv_prot.sgv", "prot");
    setenv("TARVO_INI", "root.ini", 1);
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    umask(0);
    giPid = 4711;
    gbNoPipe = gbNoDate = gbNoMemory = false;
    guiAddress = 0;
    eLang = LANG_EN;
}

Product::~Product()
{
    const auto Folder = std::filesystem::current_path();
    std::filesystem::current_path("/");
    std::filesystem::remove_all(Folder);
}

// Leads the fixed paths and the list of processes into the folder.
static std::string szMoved(std::string szText)
{
    for (const std::string szFixed : {"/etc/opt/tarvo/", "/etc/"})
        if (szText.starts_with(szFixed))
            szText.erase(0, szFixed.size());
    if (szText.starts_with("ps -e -A -o pid,command"))
        szText.replace(0, 23, "cat ps");
    return szText;
}

extern "C" {
FILE* __real_fopen(const char* cpFile, const char* cpMode);
FILE* __real_popen(const char* cpCommand, const char* cpMode);
struct tm* __real_localtime(const time_t* pTime);

time_t __wrap_time(time_t*) { return 981187507; }
pid_t __real_getpid();
pid_t __wrap_getpid() { return giPid != 0 ? giPid : __real_getpid(); }
pid_t __wrap_getppid() { return giPid - 1; }
struct tm* __wrap_localtime(const time_t* p) { return gbNoDate ? nullptr : __real_localtime(p); }

void* __real_calloc(size_t uiCount, size_t uiSize);
void* __wrap_calloc(size_t uiCount, size_t uiSize)
{
    return gbNoMemory ? nullptr : __real_calloc(uiCount, uiSize);
}

FILE* __wrap_fopen(const char* cpFile, const char* cpMode)
{
    return __real_fopen(szMoved(cpFile).c_str(), cpMode);
}

int __wrap_ioctl(int, unsigned long, unsigned int* pWord)
{
    errno = ENOTTY;
    *pWord = guiAddress;
    return guiAddress != 0 ? 0 : -1;
}

FILE* __wrap_popen(const char* cpCommand, const char* cpMode)
{
    errno = EMFILE;
    return gbNoPipe ? nullptr : __real_popen(szMoved(cpCommand).c_str(), cpMode);
}
}
