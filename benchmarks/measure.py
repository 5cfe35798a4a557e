"""What the benchmark scripts share: runs of a command with their cost, and an empty program to compare with."""
import os, re, subprocess

# Python's own memory would count as its child's peak, so the children are started by something smaller. The kernel counts
# the peak in batches of pages, too coarse for a small program; what is resident at its end is exact, so both are told.
METER = r"""
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
static double now(void) { struct timespec t; clock_gettime(CLOCK_MONOTONIC, &t); return t.tv_sec + t.tv_nsec / 1e9; }
static double cpu(struct timeval t) { return t.tv_sec + t.tv_usec / 1e6; }
static long resident(pid_t pid) {
    char line[256];
    long size = 0;
    snprintf(line, sizeof line, "/proc/%d/smaps_rollup", (int)pid);
    FILE *file = fopen(line, "r");
    while (file != NULL && fgets(line, sizeof line, file) != NULL)
        if (sscanf(line, "Rss: %ld", &size) == 1) break;
    if (file != NULL) fclose(file);
    return size;
}
int main(int argc, char **argv) {
    const double begin = now();
    const pid_t child = fork();
    if (child == 0) {
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, 1);
        dup2(nowhere, 2);
        ptrace(PTRACE_TRACEME, 0, NULL, NULL);
        execv(argv[1], argv + 1);
        _exit(126);
    }
    int status = 0;
    long last = 0;
    struct rusage use;
    if (argc < 2 || waitpid(child, &status, 0) < 0) return 1;
    ptrace(PTRACE_SETOPTIONS, child, NULL, PTRACE_O_TRACEEXIT);
    ptrace(PTRACE_CONT, child, NULL, NULL);
    while (wait4(child, &status, 0, &use) == child && WIFSTOPPED(status)) {
        const int atExit = status >> 8 == (SIGTRAP | PTRACE_EVENT_EXIT << 8);
        if (atExit) last = resident(child);
        ptrace(PTRACE_CONT, child, NULL, atExit ? 0 : WSTOPSIG(status));
    }
    printf("%d %f %f %ld %ld\n", status, now() - begin, cpu(use.ru_utime) + cpu(use.ru_stime), use.ru_maxrss, last);
}
"""


def compile_c(source, output, *options):
    subprocess.run(["cc", "-O2", "-x", "c", "-", "-x", "none", "-o", output, *options], input=source.encode(), check=True)


def compile_empty_program(executable, output):
    """Linked, and so loaded, like the executable."""
    listed = subprocess.run(["ldd", executable], capture_output=True, text=True, check=True).stdout
    platform = re.search(r"libplatform_services\S* => (\S+)", listed).group(1)
    compile_c("int main(void) { return 0; }", output, "-Wl,--no-as-needed,-z,relro,-z,now", platform,
              "-Wl,-rpath," + os.path.dirname(platform))


def measure(meter, command, expected_status=0, environment=None):
    """Wall seconds, CPU seconds, and in KiB the peak RSS and what is resident at the end, of one run."""
    out = subprocess.run([meter, *command], capture_output=True, text=True, check=True, env=environment).stdout
    status, wall, cpu, peak, last = out.split()
    if int(status) != expected_status << 8:
        raise SystemExit(f"{' '.join(command)} ended with wait status {status}")
    return float(wall), float(cpu), int(peak), int(last)
