/* Makes the system calls of "mvk ID i" and nothing else: the yardstick for the cost of a run.
 * Arguments: root file, kq.ini, debug.ini, semaphore file, trace file, device, trace level. */
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

static char** names;
static char buffer[4096];
static int level;

/* Reads lines until one begins with the key; all of them without a key. */
static void read_file(const char* name, const char* key)
{
    FILE* file = fopen(name, "r");
    if (file == NULL)
        return;
    while (fgets(buffer, sizeof(buffer), file) != NULL) {
        if (key != NULL && strncmp(buffer, key, strlen(key)) == 0)
            break;
    }
    fclose(file);
}

static void look_up(const char* key)
{
    read_file(names[1], "KQ_INI=");
    read_file(names[2], key);
}

static void trace_line(void)
{
    time_t now = time(NULL);
    FILE* file = fopen(names[5], "a");
    fprintf(file, "%2d:%02d# a line of the trace log\n", localtime(&now)->tm_hour, 0);
    fclose(file);
}

/* The levels in debug.ini: KQ_MVK, then STDERR when it is on; KQ_SEM is off. */
static void set_log(int on)
{
    look_up("gv_rw_lgc=");
    look_up("gv_rw_ini=");
    read_file(names[3], on ? "KQ_MVK=" : "KQ_SEM=");
    if (on) {
        FILE* pipe = popen("ps -e -A -o pid,command | tr -s ' ' | grep -v grep | grep -w 1", "r");
        fgets(buffer, sizeof(buffer), pipe);
        pclose(pipe);
        trace_line();
        look_up("gv_rw_ini=");
        read_file(names[3], "STDERR=");
    }
    look_up("lang=");
}

static void semaphore(void)
{
    if (level)
        trace_line();
    set_log(0);
    look_up("gv_rw_work=");
}

static void command(void)
{
    static char request[42] = {42, 1, 0, 0, 35, 1};
    int fd, timeout = 2000;
    request[36] = 0x12;
    request[40] = (char)0xff;
    read_file("/proc/scsi/scsi", NULL);
    readlink("/sys/class/scsi_generic/sg1/device", buffer, sizeof(buffer));
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
