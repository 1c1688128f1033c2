/* crowd NUMBER
   Keeps that many processes asleep until its standard input ends, and prints how many
   there are. They end with it, however it ends. */

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

int main(int argc, char *argv[])
{
    const int number = argc == 2 ? atoi(argv[1]) : 0;
    pid_t *children = calloc((size_t)number + 1, sizeof *children);
    int count = 0;
    char end;
    while (children && count < number) {
        const pid_t child = fork();
        if (child < 0)
            break;
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (;;)
                pause();
        }
        children[count++] = child;
    }
    printf("%d\n", count);
    fflush(stdout);
    while (read(STDIN_FILENO, &end, 1) > 0) {
    }
    for (int i = 0; i < count; ++i)
        kill(children[i], SIGKILL);
    while (wait(NULL) > 0) {
    }
    free(children);
    return 0;
}
