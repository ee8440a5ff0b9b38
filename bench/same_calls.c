/* Makes the system calls of "mvk ID i" and nothing else: the yardstick for the cost of a run.
 * Arguments: root file, kq.ini, debug.ini, semaphore file, trace file, device, trace level. */
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

static char** names;
static char buffer[4096];
static int level;

static void read_file(const char* name, int to_end)
{
    struct stat status;
    int fd = open(name, O_RDONLY);
    if (fd < 0)
        return;
    fstat(fd, &status);
    while (read(fd, buffer, sizeof(buffer)) > 0 && to_end)
        ;
    close(fd);
}

static void look_up(void)
{
    read_file(names[1], 0);
    read_file(names[2], 0);
}

static void trace_line(void)
{
    struct stat status;
    int fd = open(names[5], O_WRONLY | O_CREAT | O_APPEND, 0666);
    fstat(fd, &status);
    write(fd, " 9:05:07# a line of the trace log as mvk writes it\n", 51);
    close(fd);
}

/* The levels in debug.ini: KQ_MVK, then STDERR when it is on; KQ_SEM is off. */
static void set_log(int on)
{
    look_up();
    look_up();
    read_file(names[3], 0);
    if (on) {
        FILE* pipe = popen("ps -e -A -o pid,command | tr -s ' ' | grep -v grep | grep -w 1", "r");
        fgets(buffer, sizeof(buffer), pipe);
        pclose(pipe);
        read_file("/etc/localtime", 1);
        trace_line();
        look_up();
        read_file(names[3], 0);
    }
    look_up();
}

static void semaphore(void)
{
    if (level)
        trace_line();
    set_log(0);
    look_up();
}

static void command(void)
{
    static char request[42] = {42, 1, 0, 0, 35, 1};
    int fd, timeout = 2000;
    request[36] = 0x12;
    request[40] = (char)0xff;
    read_file("/proc/scsi/scsi", 1);
    if (level)
        trace_line();
    fd = open(names[6], O_RDWR);
    ioctl(fd, 0x2201, &timeout);
    write(fd, request, sizeof(request));
    read(fd, buffer, 291);
    close(fd);
}

int main(int argc, char** argv)
{
    struct flock lock = {.l_type = F_WRLCK};
    int fd;
    (void)argc;
    names = argv;
    level = atoi(argv[7]);
    for (fd = 0; fd < 3; fd++)
        fcntl(fd, F_GETFD);
    set_log(level);
    if (level)
        trace_line(); /* the library's revision */
    semaphore();
    fd = open(names[4], O_RDWR);
    read(fd, buffer, 512);
    fcntl(fd, F_SETLK, &lock);
    close(fd);
    semaphore();
    fd = open(names[4], O_WRONLY | O_CREAT, 0644);
    fcntl(fd, F_SETLKW, &lock);
    ftruncate(fd, 0);
    write(fd, "12345 mvk", 9);
    fcntl(fd, F_SETFD, fcntl(fd, F_GETFD) | FD_CLOEXEC);
    command();
    command();
    semaphore();
    ftruncate(fd, 0);
    close(fd);
    memset(buffer, ' ', 67);
    write(1, buffer, 67);
    if (level)
        trace_line();
    write(2, "STATUS=SUCCESS MSG=\"OK\"\n", 24);
    return 0;
}
