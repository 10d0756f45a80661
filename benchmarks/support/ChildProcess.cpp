#include "support/ChildProcess.h"

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace LumBench {

namespace {

constexpr const char* kSelf = "/proc/self/exe";

/// Starts a program with its output going to the pipe. The child takes signals as usual, whatever this thread blocks.
pid_t spawn(const std::vector<std::string>& words, int output)
{
    std::vector<char*> pointers;
    for (const std::string& word : words) {
        pointers.push_back(const_cast<char*>(word.c_str()));
    }
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);

    pid_t child = -1;
    const int failure = posix_spawnp(&child, pointers.front(), &actions, &attributes, pointers.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0) {
        throw std::system_error(failure, std::generic_category(), "posix_spawn");
    }
    return child;
}

std::string readAll(int input)
{
    std::string text;
    std::array<char, 4096> buffer{};
    ssize_t count = 0;
    while ((count = read(input, buffer.data(), buffer.size())) > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return text;
}

} // namespace

std::string RunProgram(const std::vector<std::string>& words)
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    const pid_t child = spawn(words, ends[1]);
    close(ends[1]);
    std::string output = readAll(ends[0]);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("a measuring process failed: " + output);
    }
    return output;
}

std::string RunSelf(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), kSelf);
    return RunProgram(arguments);
}

} // namespace LumBench
