// The commands of the cases: each calls a routine with the fields of the case and prints what came
// of it.
#include "unit.h"

#include "changer.h"
#include "cm_hal_semaphor.h"
#include "cm_hal_unix.h"
#include "cm_kernel.h"
#include "mvk.h"
#include "scsi.h"
#include "scsi_device.h"
#include "scsi_exec_alt.h"
#include "scsi_sense.h"
#include "scsi_shell.h"
#include "scsi_tape_node.h"
#include "tape.h"

#include <fcntl.h>
#include <signal.h>
#include <string.h>

// A command of the shell, in the folder.
COMMAND(sh)
{
    if (chdir(gszRoot.c_str()) == 0)
        execl("/bin/sh", "sh", "-c", cpArg(1), nullptr);
}

// Where routines leave their answers, and how they are shown. "-" stands for a null pointer.
#define ANSWER szValue, 1024, szMsg, 1024
static char szValue[1024] = "old";
static char szMsg[1024];

static void vShow(int iResult)
{
    printf("%d %s%s", iResult, szValue, iResult == 1 ? "" : szMsg);
}

static const char* cpOrNull(const char* cpText)
{
    return strcmp(cpText, "-") == 0 ? nullptr : cpText;
}

// Section, key, text of the file, size of the buffers, another file.
COMMAND(ini)
{
    const std::string szFile = szFields.size() > 5 ? cpArg(5) : gszRoot + "/a";
    const int iSize = szFields.size() > 4 ? iArg(4) : 1024;
    vWrite("a", cpArg(3));
    szValue[0] = '\0';
    vShow(i_GetPrivateProfileString(cpOrNull(szFile.c_str()), cpOrNull(cpArg(1)), cpArg(2), szValue,
                                    iSize, szMsg, iSize));
}

// Texts of the file that TARVO_INI names ("-" not set) and of the two fixed files.
COMMAND(root)
{
    if (cpOrNull(cpArg(1)) == nullptr)
        unsetenv("TARVO_INI");
    vWrite("root.ini", cpArg(1));
    vWrite("etc/opt/tarvo/tarvo.ini", cpArg(2));
    vWrite("etc/tarvo2000.ini", cpArg(3));
    vShow(i_GET_ROOT_FOR_INI("KQ_INI", ANSWER));
}

// Identifier, key of [Pathes].
COMMAND(key)
{
    vShow(i_READ_INI(cpOrNull(cpArg(1)), "[Pathes]", cpArg(2), ANSWER));
}

COMMAND(path)
{
    v_COPY(szValue, sizeof(szValue), cpArg(1));
    vShow(resolve_path(szValue, sizeof(szValue)));
}

// Service, name, text of the file "v" or value for "w", language.
COMMAND(glbv)
{
    eLang = (LANGUAGES)iArg(4);
    v_COPY(szValue, sizeof(szValue), cpArg(1)[0] == 'w' ? cpArg(3) : "old");
    if (cpArg(1)[0] != 'w' && cpArg(3)[0] != '\0')
        vWrite("glbv/v.sgv", cpArg(3));
    printf("%s", glbv(cpArg(1)[0], szFields[2].data(), szValue));
}

// The library takes formats that are checked where it is called; these come from the cases.
static void (*const vTrace)(str_log*, const char*, ...) = WRITE_TRACE;
static void (*const vProt)(const char*, ...) = PROT;

// Format and its argument. Shows what the protocol file gets.
COMMAND(prot)
{
    vWrite("prot", "");
    vProt(cpArg(1), cpArg(2));
    printf("%s", szRead("prot").c_str());
}

// Request, time zone.
COMMAND(time)
{
    setenv("TZ", cpArg(2), 1);
    v_COPY(szValue, iTIME_SIZE, cpArg(1));
    printf("%s", time_get(szValue));
}

static str_log strRecord(int iVerify)
{
    str_log strResult = {"", 1, iVerify, ""};
    v_COPY(strResult.szFile, sizeof(strResult.szFile), (gszRoot + "/t").c_str());
    return strResult;
}

// Text of debug.ini. Sets two records up, the second by a whole path. Shows the language, the level
// and echo of the first, and the texts of both trace files.
COMMAND(logs)
{
    str_log strFirst = strRecord(1);
    str_log strSecond = strFirst;
    vWrite("ini/debug.ini", cpArg(1));
    v_set_log_main("a", "kq_mvk", &strFirst);
    v_set_log_main((gszRoot + "/lgc/b").c_str(), "KQ_SEM", &strSecond);
    printf("%d %d %d ", eLang, strFirst.iFlg, strFirst.iVerify);
    printf("%s<%s", szRead("lgc/a").c_str(), szRead("lgc/b").c_str());
}

// List of processes, "x" for a pipe that fails, language.
COMMAND(parent)
{
    vWrite("ps", cpArg(1));
    gbFails = cpArg(2)[0] == 'x';
    eLang = (LANGUAGES)iArg(3);
    vShow(get_parent_info(szValue, 16));
}

// Whether lines are echoed, a line, a file to copy, another line. Shows the trace.
COMMAND(trace)
{
    str_log strTrace = strRecord(iArg(1));
    vTrace(&strTrace, cpArg(2), "arg");
    vTrace(&strTrace, "COPY_FILE", cpArg(3));
    vTrace(&strTrace, cpArg(4), "arg");
    printf("%s", szRead("t").c_str());
}

// Openings and closings. Shows the indentation after each.
COMMAND(nest)
{
    str_log strTrace = strRecord(0);
    for (const char* cp = cpArg(1); *cp != '\0'; cp++) {
        vTrace(&strTrace, *cp == '+' ? "+" : "-");
        printf("%zu ", strlen(strTrace.szIns));
    }
}

// Services on semaphore "s" one after the other, description of the caller. Shows the result and
// the text of each, what stands in the file, and "!" when programs that are started then inherit
// it.
COMMAND(sema)
{
    SCT_SEMA strSema = {"s", "", "", 0};
    v_COPY(strSema.szCaller, sizeof(strSema.szCaller), cpArg(2));
    for (const char* cp = cpArg(1); *cp != '\0'; cp++) {
        printf("%d ", i_SEMA(*cp, &strSema, {}));
        printf("%s[%s]", strSema.szMsg, szRead("work/sem/s.sem").c_str());
        printf(strSema.hSema > 0 && fcntl(strSema.hSema, F_GETFD) == 0 ? "! " : " ");
    }
}

// Starts process 4242, which holds the semaphore until it is killed, or, with a number, lets go of
// it after as many microseconds, having written the file "let_go".
COMMAND(hold)
{
    const pid_t iHolder = fork();
    if (iHolder == 0) {
        SCT_SEMA strSema = {"s", "holder", "", 0};
        giPid = 4242;
        alarm(20);
        i_SEMA('S', &strSema, {});
        usleep(szFields.size() > 1 ? (unsigned)iArg(1) : 20000000);
        vWrite("let_go", "gone");
        i_SEMA('R', &strSema, {});
        _exit(0);
    }
    vWrite("holder", std::to_string(iHolder));
    while (!szRead("work/sem/s.sem").starts_with("4242"))
        usleep(1000);
}

// Kills that process and waits for its end.
COMMAND(kill)
{
    struct flock strLock = {F_WRLCK, SEEK_SET, 0, 0, 0};
    kill(i_DECIMAL(szRead("holder").c_str()), SIGKILL);
    fcntl(open((gszRoot + "/work/sem/s.sem").c_str(), O_RDWR), F_SETLKW, &strLock);
}

static std::string szBytes(const std::string& szHex)
{
    std::string sz;
    for (size_t i = 0; i + 1 < szHex.size(); i += 2)
        sz += (char)std::stoi(szHex.substr(i, 2), nullptr, 16);
    return sz;
}

// Report level, code, first bytes.
COMMAND(sense)
{
    std::string sz = szBytes(szFields.size() > 3 ? cpArg(3) : "70");
    sz.resize(12);
    sz += szBytes(cpArg(2)) + szBytes("0000");
    const std::vector<unsigned char> cSense(sz.begin(), sz.end()); // no byte more than there are
    vScsiSenseData(cSense.data(), iArg(1));
}

// Status, trace level.
COMMAND(state)
{
    strLog.iFlg = iArg(2);
    strLog.iVerify = 1;
    printf("report\n");
    printf("%d", iReturnState(iArg(1)));
}

// Selects a device by ID and path and makes the file "sg", which stands for one: the request of
// uiRequest bytes overwrites its start. The answer follows: result, first sense byte, data.
static void vDevice(const char* cpID, const std::string& szDev, size_t uiRequest,
                    const std::string& szAnswer)
{
    std::string sz(uiRequest + 36, '\0');
    v_COPY(gszID, sizeof(gszID), cpID);
    v_COPY(gszDev, sizeof(gszDev), szDev.c_str());
    sz[uiRequest + 12] = szAnswer[0];
    sz[uiRequest + 20] = szAnswer[1];
    vWrite("sg", sz + szAnswer.substr(2));
}

// Shows a status and the bytes of the request that are not zero.
static void vShowRequest(int iStatus, size_t uiRequest)
{
    const std::string sz = szRead("sg");
    printf("%d:", iStatus);
    for (size_t i = 0; i < uiRequest; i++) {
        if (sz[i] != 0)
            printf(" %zu=%02x", i, (unsigned char)sz[i]);
    }
}

// Type of the device, last byte of the answer, report level.
COMMAND(request)
{
    vDevice("", gszRoot + "/sg", 42, szBytes("000070" + std::string(34, '0') + cpArg(2)));
    v_COPY(gszTyp, sizeof(gszTyp), cpArg(1));
    vShowRequest(iScsiRequestSense(iArg(3)), 42);
}

// ID, device, "x" for a timeout that fails, command, size of the request, answer.
COMMAND(execute)
{
    unsigned char cBuf[] = "dat";
    unsigned char cSense[iSENSE_SIZE];
    const std::string sz = szBytes(cpArg(4));
    const size_t uiRequest = (size_t)iArg(5);
    vDevice(cpArg(1), cpArg(2), uiRequest, szBytes(cpArg(6)));
    gbFails = cpArg(3)[0] == 'x';
    vShowRequest(iXLinuxScsiCmd((const unsigned char*)sz.data(), (int)sz.size(), cBuf, 3, 1, cSense,
                                sizeof(cSense), 2),
                 uiRequest);
}

// Report level. Looks for the drive 1052, and asks some nodes whether they are it.
COMMAND(tapes)
{
    v_COPY(szValue, 32, "1052");
    vLinuxScanTape(6, szValue, iArg(1));
    printf("%s", szValue);
    for (const char* cpNode : {"/dev/nst0", "/dev/nst1", "/dev/nst2"})
        printf(" %d", iLinuxGetTapeBusInfo(cpNode, "1052", 0));
}
