#include "support/posix/ChildProcess.h"

#include <chrono>
#include <thread>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace LumTests {

int endOfChild(pid_t child)
{
    for (int wait = 0; wait < 2000; ++wait) {
        int status = 0;
        if (waitpid(child, &status, WNOHANG) == child) {
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    return -1;
}

int runProgram(const std::vector<std::string>& arguments)
{
    std::vector<char*> values;
    for (const std::string& argument : arguments) {
        values.push_back(const_cast<char*>(argument.c_str()));
    }
    values.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        execv(values.front(), values.data());
        _exit(127);
    }
    return endOfChild(child);
}

} // namespace LumTests
