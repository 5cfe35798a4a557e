#include "child_process.h"

#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

static constexpr auto kGrace = std::chrono::seconds(2); // between SIGTERM and SIGKILL
static constexpr int kNotStarted = 127;                 // as a shell has it

[[noreturn]] static void becomeProgram(const Command &command, char *const *words, pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) // it died before that
        _exit(kNotStarted);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const int output = open(command.output.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    const int input = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const bool isReady = dup2(input, STDIN_FILENO) >= 0 && dup2(output, STDOUT_FILENO) >= 0 &&
                         dup2(output, STDERR_FILENO) >= 0 && chdir(command.folder.c_str()) == 0;
    if (isReady)
        execv(words[0], words);
    _exit(kNotStarted);
}

Child startChild(const Command &command, Clock::duration limit)
{
    std::vector<std::string> texts = command.words;
    std::vector<char *> words;
    words.reserve(texts.size() + 1);
    for (std::string &text : texts)
        words.push_back(text.data());
    words.push_back(nullptr);
    const pid_t self = getpid();
    Child child;
    child.process = fork();
    if (child.process == 0)
        becomeProgram(command, words.data(), self);
    child.deadline = Clock::now() + limit;
    return child;
}

std::optional<int> pollChild(Child &child)
{
    int status = 0;
    if (waitpid(child.process, &status, WNOHANG) != 0) {
        child.process = -1;
        return status;
    }
    if (Clock::now() < child.deadline)
        return std::nullopt;
    kill(child.process, child.isLate ? SIGKILL : SIGTERM);
    child.isLate = true;
    child.deadline = Clock::now() + kGrace;
    return std::nullopt;
}

void stopChild(Child &child)
{
    if (child.process <= 0)
        return;
    child.deadline = Clock::now();
    while (!pollChild(child).has_value())
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

std::string describeStatus(int status)
{
    return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                               : "exit status " + std::to_string(WEXITSTATUS(status));
}

bool isSuccess(int status)
{
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
