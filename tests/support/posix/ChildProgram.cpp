#include "support/ChildProgram.h"

#include <cerrno>
#include <csignal>
#include <optional>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace LumTests {

namespace {

void throwIf(int error)
{
    if (error != 0) {
        throw std::system_error(error, std::generic_category());
    }
}

/// A pipe whose ends no other program inherits.
struct Pipe {
    Pipe() { throwIf(pipe2(ends, O_CLOEXEC) == 0 ? 0 : errno); }
    ~Pipe()
    {
        closeEnd(0);
        closeEnd(1);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    void closeEnd(int index)
    {
        if (ends[index] >= 0) {
            close(ends[index]);
            ends[index] = -1;
        }
    }

    int ends[2] = {-1, -1};
};

} // namespace

struct ChildProgram::System {
    void keepExitCode(int status) { exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status); }

    pid_t process = -1;
    std::optional<int> exitCode;
    Pipe input;
    Pipe output;
};

ChildProgram::ChildProgram(const std::string& program, const std::vector<std::string>& arguments)
    : system(std::make_unique<System>())
{
    std::vector<char*> words{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    throwIf(posix_spawn_file_actions_init(&actions));
    posix_spawn_file_actions_adddup2(&actions, system->input.ends[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, system->output.ends[1], STDOUT_FILENO);
    const int error = posix_spawn(&system->process, program.c_str(), &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    throwIf(error);
    system->input.closeEnd(0);
    system->output.closeEnd(1);
}

ChildProgram::~ChildProgram()
{
    if (!system->exitCode) {
        kill();
        wait();
    }
}

unsigned long ChildProgram::processId() const
{
    return static_cast<unsigned long>(system->process);
}

std::string ChildProgram::readLine()
{
    std::string line;
    char next = 0;
    while (read(system->output.ends[0], &next, 1) == 1 && next != '\n') {
        line += next;
    }
    return line;
}

void ChildProgram::closeInput()
{
    system->input.closeEnd(1);
}

void ChildProgram::kill()
{
    if (!system->exitCode) {
        ::kill(system->process, SIGKILL);
    }
}

int ChildProgram::waitFor(std::chrono::milliseconds limit)
{
    closeInput();
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!system->exitCode) {
        int status = 0;
        if (waitpid(system->process, &status, WNOHANG) == system->process) {
            system->keepExitCode(status);
        } else if (std::chrono::steady_clock::now() >= end) {
            kill();
            wait();
            return -1;
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    return *system->exitCode;
}

int ChildProgram::wait()
{
    closeInput();
    if (!system->exitCode) {
        int status = 0;
        while (waitpid(system->process, &status, 0) < 0 && errno == EINTR) {
        }
        system->keepExitCode(status);
    }
    return *system->exitCode;
}

} // namespace LumTests
