/* Measure: runs one command and appends its wall time, CPU time and peak RSS to a file.
 *
 * Usage: cff_measure RESULT_FILE COMMAND [ARG...]
 * The command inherits every descriptor (the filter's back and side channels stay open) and
 * its own resource usage is read with wait4, so wrappers around this program are not counted.
 * Appends "wall_s cpu_s rss_kib status". This program is kept small because a child's peak
 * RSS starts at its parent's size at fork time. */
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

int main(int argc, char* argv[]) {
    if (argc < 3) {
        fprintf(stderr, "usage: %s RESULT_FILE COMMAND [ARG...]\n", argv[0]);
        return 2;
    }
    struct timespec start, end;
    clock_gettime(CLOCK_MONOTONIC, &start);
    pid_t pid = fork();
    if (pid == 0) {
        execvp(argv[2], argv + 2);
        _exit(127);
    }
    int status = 0;
    struct rusage usage;
    if (pid < 0 || wait4(pid, &status, 0, &usage) != pid) {
        perror("cff_measure");
        return 2;
    }
    clock_gettime(CLOCK_MONOTONIC, &end);
    double wall = (double)(end.tv_sec - start.tv_sec) + (double)(end.tv_nsec - start.tv_nsec) / 1e9;
    double cpu = (double)usage.ru_utime.tv_sec + (double)usage.ru_utime.tv_usec / 1e6 +
                 (double)usage.ru_stime.tv_sec + (double)usage.ru_stime.tv_usec / 1e6;
    int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    FILE* out = fopen(argv[1], "a");
    if (out != NULL) {
        fprintf(out, "%.6f %.6f %ld %d\n", wall, cpu, usage.ru_maxrss, code);
        fclose(out);
    }
    return code;
}
