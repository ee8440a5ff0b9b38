// Runs the cases of cases.txt, which explains itself: each section is a test in a folder of its
// own, each case a command in a process of its own.
#include "unit.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sys/stat.h>
#include <sys/wait.h>

static std::map<std::string, std::string> szSections; // the cases of a section by its name
static std::map<std::string, std::string> szWords;    // what a word such as "$R" stands for
std::vector<std::string> szFields;

const char* cpArg(size_t n)
{
    return n < szFields.size() ? szFields[n].c_str() : "";
}

int iArg(size_t n)
{
    return i_DECIMAL(cpArg(n));
}

std::string szRead(const std::string& szName)
{
    std::ifstream File(gszRoot + "/" + szName);
    return {std::istreambuf_iterator<char>(File), {}};
}

void vWrite(const std::string& szName, const std::string& szText)
{
    std::ofstream(gszRoot + "/" + szName) << szText;
}

static std::string szFilled(std::string szText)
{
    for (const auto& [szWord, szMeaning] : szWords) {
        for (size_t i = 0; (i = szText.find(szWord, i)) != std::string::npos; i += szMeaning.size())
            szText.replace(i, szWord.size(), szMeaning);
    }
    for (size_t i = 0; (i = szText.find('{', i)) != std::string::npos; i++) {
        const size_t uiEnd = szText.find('}', i);
        szText.replace(i, uiEnd + 1 - i, std::stoul(szText.substr(i + 1)), szText[uiEnd - 1]);
    }
    return szText;
}

static std::vector<std::string> szSplit(const std::string& szText, const std::string& szDivider)
{
    std::vector<std::string> szParts;
    for (size_t i = 0, uiEnd = 0; uiEnd != std::string::npos; i = uiEnd + szDivider.size()) {
        uiEnd = szText.find(szDivider, i);
        szParts.push_back(szText.substr(i, uiEnd - i));
    }
    return szParts;
}

// Reads the sections and words, and returns the names of the sections.
static std::vector<std::string> szReadCases()
{
    std::vector<std::string> szNames;
    std::ifstream File(MVK_CASES);
    GTEST_FLAG_SET(catch_exceptions, false); // a bad case must not let its process go on
    for (const char* cpWord : {"n\n", "r\r", "t\t", "s ", "x\xA9"})
        szWords[std::string("\\") + cpWord[0]] = cpWord + 1;
    for (std::string szLine; std::getline(File, szLine);) {
        if (szLine.starts_with('['))
            szNames.push_back(szLine.substr(1, szLine.size() - 2));
        else if (szLine.starts_with('$'))
            szWords[szLine.substr(0, 2)] = szLine.substr(3);
        else if (szLine.starts_with("    "))
            szSections[szNames.back()] += szLine.substr(4);
        else if (!szLine.empty() && !szLine.starts_with('#'))
            szSections[szNames.back()] +=
                (szSections[szNames.back()].empty() ? "" : " ; ") + szLine;
    }
    return szNames.empty() ? std::vector<std::string>{"NoCases"} : szNames; // which fails
}

// Runs a case in a child process. Returns what it printed, and "<exit n>" when it ended with
// another status than 0. A child that hangs ends by itself.
static std::string szRun(const std::string& szCase)
{
    int iStatus = 0;
    vWrite("out", "");
    fflush(nullptr);
    const pid_t iPid = fork();
    if (iPid == 0) {
        const int iOut = open((gszRoot + "/out").c_str(), O_WRONLY | O_APPEND);
        dup2(iOut, STDOUT_FILENO);
        dup2(iOut, STDERR_FILENO);
        alarm(20);
        umask(0);
        for (const std::string& szField : szSplit(szCase, "|"))
            szFields.push_back(szFilled(szField));
        ((void (*)())dlsym(RTLD_DEFAULT, ("v_" + szFields[0]).c_str()))();
        exit(0);
    }
    waitpid(iPid, &iStatus, 0);
    return szRead("out") + (iStatus == 0 ? "" : "<exit " + std::to_string(iStatus >> 8) + ">");
}

class Unit : public testing::TestWithParam<std::string> {
protected:
    Unit()
    {
        char szTemplate[] = "/tmp/unit_XXXXXX";
        szWords["$R"] = gszRoot = mkdtemp(szTemplate);
        giPid = 4711;
        setenv("TZ", "UTC", 1);
        setenv("TARVO_INI", (gszRoot + "/root.ini").c_str(), 1);
        szRun("sh|mkdir -p ini lgc work glbv proc/scsi etc/opt/tarvo dev/nst1 tmp");
        vWrite("root.ini", szFilled("[root]\nKQ_INI=$R/kq.ini\n"));
        vWrite("kq.ini", szFilled("[Pathes]\ngv_rw_ini=$R/ini/\ngv_rw_lgc=$R/lgc/\n"
                                  "gv_rw_work=$R/work/\ngv_rw_glbv=$R/glbv/\n[SETUP]\nlang=en\n"));
    }
    ~Unit() override
    {
        std::filesystem::remove_all(gszRoot);
    }
};

TEST_P(Unit, Cases)
{
    for (const std::string& szCase : szSplit(szSections[GetParam()], " ; ")) {
        const std::vector<std::string> szSides = szSplit(szCase + " =>", " =>");
        EXPECT_EQ(szRun(szSides[0]), szFilled(szSides[1].substr(!szSides[1].empty()))) << szCase;
    }
}

INSTANTIATE_TEST_SUITE_P(Mvk, Unit, testing::ValuesIn(szReadCases()),
                         [](const auto& Info) { return Info.param; });
