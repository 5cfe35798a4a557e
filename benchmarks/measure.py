"""What the benchmark scripts share: runs of a command with their cost, and an empty program to compare with."""
import os, re, subprocess

# Python's own memory would count as its child's peak, so the children are started by something smaller.
METER = r"""
#include <fcntl.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
static double now(void) { struct timespec t; clock_gettime(CLOCK_MONOTONIC, &t); return t.tv_sec + t.tv_nsec / 1e9; }
static double cpu(struct timeval t) { return t.tv_sec + t.tv_usec / 1e6; }
int main(int argc, char **argv) {
    const double begin = now();
    const pid_t child = fork();
    if (child == 0) {
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, 1);
        dup2(nowhere, 2);
        execv(argv[1], argv + 1);
        _exit(126);
    }
    int status = 0;
    struct rusage use;
    if (argc < 2 || wait4(child, &status, 0, &use) < 0) return 1;
    printf("%d %f %f %ld\n", status, now() - begin, cpu(use.ru_utime) + cpu(use.ru_stime), use.ru_maxrss);
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
    """Wall seconds, CPU seconds and peak RSS in KiB of one run."""
    out = subprocess.run([meter, *command], capture_output=True, text=True, check=True, env=environment).stdout
    status, wall, cpu, rss = out.split()
    if int(status) != expected_status << 8:
        raise SystemExit(f"{' '.join(command)} ended with wait status {status}")
    return float(wall), float(cpu), int(rss)
