// Semaphores between processes.
#include "fixture.h"

#include "cm_common.h"
#include "cm_hal_semaphor.h"

#include <fcntl.h>
#include <filesystem>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

static const std::string szLOCK = "work/sem/s.sem";

static mode_t iModeOf(const std::string& szFile)
{
    return (mode_t)std::filesystem::status(szFile).permissions();
}

class Semaphore : public Product {
protected:
    SCT_SEMA strSema = {"s", "me", "", 0};
    pid_t iHolder = 0;

    // The real getpid: the lock file holds the number of the process that EXPECT_EXIT forks.
    Semaphore() { giPid = 0; }
    ~Semaphore() override
    {
        if (iHolder > 0) {
            kill(iHolder, SIGKILL);
            waitpid(iHolder, nullptr, 0);
        }
    }
    int iServe(char cFunction) { return i_SEMA(cFunction, &strSema, {}); }

    // Starts process 4242, which holds the semaphore until it is killed.
    void vHold()
    {
        iHolder = fork();
        if (iHolder == 0) {
            giPid = 4242;
            iServe('S');
            alarm(20);
            pause();
            _exit(1);
        }
        for (int i = 0; i < 5000 && szRead(szLOCK) != "4242 me"; i++)
            usleep(1000);
        ASSERT_EQ(szRead(szLOCK), "4242 me");
    }

    // A service that ends the process; its line goes where EXPECT_EXIT looks for it.
    int iEnd(char cFunction)
    {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        return iServe(cFunction);
    }
};

static const testing::ExitedWithCode Fatal(3);

TEST_F(Semaphore, IsAcquiredAndReleased)
{
    for (const char* cpServices : {"+-", "*R", "SR"}) {
        EXPECT_EQ(iServe(cpServices[0]), 1);
        EXPECT_EQ(szRead(szLOCK), std::to_string(getpid()) + " me");
        EXPECT_EQ(fcntl(strSema.hSema, F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(iServe(cpServices[1]), 1);
        EXPECT_EQ(szRead(szLOCK), "");
        EXPECT_EQ(strSema.hSema, 0);
    }
    EXPECT_EQ(iModeOf(szLOCK), 0644U);
    EXPECT_EQ(iModeOf("work/sem"), 0775U);
}

TEST_F(Semaphore, NameStaysInItsFolder)
{
    v_COPY(strSema.szSema, sizeof(strSema.szSema), "0/../../s");
    vWrite("ini/debug.ini", "KQ_SEM=1\n");
    vWrite("ps", "");
    EXPECT_EQ(iServe('+'), 1);
    EXPECT_TRUE(std::filesystem::exists("work/sem/0!..!..!s.sem"));
    EXPECT_TRUE(std::filesystem::exists("lgc/kq_sem_0!..!..!s.lgc"));
    EXPECT_EQ(iServe('-'), 1);
}

// A folder, and the modes of a lock file that is made there and of one that was there with 0604.
struct SHARED {
    mode_t iFolder;
    mode_t iMade;
    mode_t iHealed;
};

TEST_F(Semaphore, BelongsToWhomItsFolderBelongs)
{
    umask(027);
    for (const auto& [iFolder, iMade, iHealed] : {SHARED{02770, 0660, 0660},
                                                  {02730, 0620, 0620},
                                                  {02750, 0640, 0604},
                                                  {0770, 0640, 0604}}) {
        std::filesystem::remove_all("work/sem");
        EXPECT_EQ(mkdir("work/sem", 0700) + chmod("work/sem", iFolder), 0);
        EXPECT_TRUE(iServe('+') && iServe('-'));
        EXPECT_EQ(iModeOf(szLOCK), iMade);
        chmod(szLOCK.c_str(), 0604);
        EXPECT_TRUE(iServe('+') && iServe('-'));
        EXPECT_EQ(iModeOf(szLOCK), iHealed);
        if (geteuid() != 0) // cannot give a file away
            continue;
        EXPECT_EQ(chown(szLOCK.c_str(), -1, 1) + chmod(szLOCK.c_str(), 0604), 0);
        EXPECT_TRUE(iServe('+') && iServe('-'));
        EXPECT_EQ(iModeOf(szLOCK), 0604U) << "a file of another group";
    }
    EXPECT_EQ(umask(0), 027U);
}

TEST_F(Semaphore, LiveHolder)
{
    vHold();
    EXPECT_EQ(iServe('?'), 1);
    EXPECT_STREQ(strSema.szMsg, "4242 me");
    vWrite(szLOCK, "1 \x1B[2J\t\xC3\xA4\nline");
    EXPECT_EQ(iServe('?'), 1);
    EXPECT_STREQ(strSema.szMsg, "1 ?[2J?\xC3\xA4");
    vWrite(szLOCK, "");
    EXPECT_EQ(iServe('?'), 1);
    EXPECT_STREQ(strSema.szMsg, "semaphore is locked but no process information available");
}

TEST_F(Semaphore, DirectoryIsMissing)
{
    std::filesystem::remove("work");
    EXPECT_EXIT(iEnd('+'), Fatal, "^STATUS=FATAL MSG=failed to open lock file: \\(2\\) No");
    EXPECT_TRUE(std::filesystem::is_empty("lgc"));
}

TEST_F(Semaphore, FileCannotBeEmptied)
{
    strSema.hSema = 99; // no open file
    EXPECT_EXIT(iEnd('-'), Fatal, "MSG=failed to truncate lock file: \\(9\\) ");
}

TEST_F(Semaphore, PlantedFile)
{
    std::filesystem::create_directory("work/sem");
    vWrite("target", "text");
    // Nothing may wait for the other end of a pipe.
    alarm(20);
    for (const std::string szPlant : {"ln -s ../../target ", "ln target ", "mkfifo "}) {
        EXPECT_EQ(system((szPlant + szLOCK).c_str()), 0);
        EXPECT_EXIT((alarm(9), iEnd('+')), Fatal, "MSG=failed to open lock");
        EXPECT_EQ(iServe('?'), 1);
        EXPECT_EQ(strSema.szMsg, "failed to open semaphore file " + szLOCK);
        EXPECT_EQ(szRead("target"), "text");
        std::filesystem::remove(szLOCK);
    }
    alarm(0);
}

TEST_F(Semaphore, WaitIsInterrupted)
{
    vHold();
    struct sigaction strAction = {};
    strAction.sa_handler = [](int) {};
    EXPECT_EXIT((sigaction(SIGALRM, &strAction, nullptr), ualarm(50000, 50000), iEnd('+')), Fatal,
                "MSG=file lock with fcntl\\(\\) failed: \\(4\\) ");
}

TEST_F(Semaphore, DescriptionDoesNotFit)
{
    const struct rlimit strLimit = {600, 600};
    memset(strSema.szCaller, 'x', sizeof(strSema.szCaller) - 1);
    signal(SIGXFSZ, SIG_IGN);
    EXPECT_EXIT((setrlimit(RLIMIT_FSIZE, &strLimit), iEnd('+')), Fatal,
                "MSG=writing pid into lock file failed: \\(0\\) ");
}
