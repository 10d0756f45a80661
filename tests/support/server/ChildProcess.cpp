#include "support/server/ChildProcess.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <thread>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace LumTestServer {

namespace {

constexpr std::chrono::milliseconds kTimeToEnd{5000};
constexpr std::chrono::milliseconds kPollInterval{5};
constexpr int kCannotStart = 127;

sigset_t awaitedSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGCHLD}) {
        sigaddset(&signals, number);
    }
    return signals;
}

std::vector<char*> argumentPointers(const std::vector<std::string>& command)
{
    std::vector<char*> pointers;
    for (const std::string& argument : command) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

[[noreturn]] void runProgram(char* const* arguments, pid_t parent)
{
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const sigset_t signals = awaitedSignals();
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
    if (getppid() == parent) {
        execvp(arguments[0], arguments);
        std::fprintf(stderr, "lum_test_server: cannot run %s: %s\n", arguments[0], std::strerror(errno));
    }
    _exit(kCannotStart);
}

} // namespace

void blockSignals()
{
    const sigset_t signals = awaitedSignals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
}

int waitForSignal()
{
    const sigset_t signals = awaitedSignals();
    int number = 0;
    sigwait(&signals, &number);
    return number;
}

ChildProcess::ChildProcess(const std::vector<std::string>& command)
{
    const std::vector<char*> arguments = argumentPointers(command);
    const pid_t parent = getpid();
    process = fork();
    if (process < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (process == 0) {
        runProgram(arguments.data(), parent);
    }
    setpgid(process, process);
}

ChildProcess::~ChildProcess()
{
    if (!HasEnded()) {
        Signal(SIGTERM);
        if (!WaitFor(kTimeToEnd)) {
            Signal(SIGKILL);
            Wait();
        }
    }
}

bool ChildProcess::HasEnded()
{
    int status = 0;
    if (!hasEnded && waitpid(process, &status, WNOHANG) == process) {
        TakeStatus(status);
    }
    return hasEnded;
}

int ChildProcess::Wait()
{
    int status = 0;
    if (!hasEnded && waitpid(process, &status, 0) == process) {
        TakeStatus(status);
    }
    return exitCode;
}

void ChildProcess::Signal(int number) const
{
    if (!hasEnded) {
        kill(-process, number);
    }
}

bool ChildProcess::WaitFor(std::chrono::milliseconds limit)
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!HasEnded() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(kPollInterval);
    }
    return hasEnded;
}

void ChildProcess::TakeStatus(int status)
{
    hasEnded = true;
    exitCode = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace LumTestServer
