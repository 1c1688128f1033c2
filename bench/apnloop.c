/* apnloop TERMINAL
   The shortest way to write an access point name: open, configure, write, wait, write.
   Does it for each line on the standard input, and prints "begun" and when it began: nanoseconds of
   the monotonic clock. */

#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

static long long now(void)
{
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1000000000LL + time.tv_nsec;
}

static int exchange(int port, const char *command)
{
    char answer[100];
    size_t size = 0;
    if (write(port, command, strlen(command)) != (ssize_t)strlen(command))
        return -1;
    for (;;) {
        struct pollfd state = {port, POLLIN, 0};
        ssize_t count;
        if (poll(&state, 1, 5000) <= 0)
            return -1;
        count = read(port, answer + size, sizeof answer - 1 - size);
        if (count <= 0)
            return -1;
        size += (size_t)count;
        answer[size] = '\0';
        if (strstr(answer, "\r\nOK\r\n"))
            return 0;
    }
}

static int write_apn(const char *terminal)
{
    struct termios line;
    int result;
    const int port = open(terminal, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (port < 0 || tcgetattr(port, &line) != 0)
        return -1;
    cfmakeraw(&line);
    cfsetspeed(&line, B9600);
    if (tcsetattr(port, TCSANOW, &line) != 0)
        return -1;
    result = exchange(port, "AT\r");
    if (result == 0)
        result = exchange(port, "AT+CGDCONT=1,\"IP\",\"internet\"\r");
    close(port);
    return result;
}

int main(int argc, char *argv[])
{
    char word[16];
    if (argc != 2)
        return 2;
    while (fgets(word, sizeof word, stdin)) {
        const long long start = now();
        if (write_apn(argv[1]) != 0)
            return 1;
        printf("begun %lld\n", start);
        fflush(stdout);
    }
    return 0;
}
