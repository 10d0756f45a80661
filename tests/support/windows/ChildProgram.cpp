#include "support/ChildProgram.h"

#include <stdexcept>

#include <windows.h>

namespace LumTests {

namespace {

/// A pipe of which the child inherits one end.
struct Pipe {
    explicit Pipe(int inheritedEnd)
    {
        SECURITY_ATTRIBUTES attributes = {sizeof(attributes), nullptr, TRUE};
        if (!CreatePipe(&ends[0], &ends[1], &attributes, 0) ||
            !SetHandleInformation(ends[1 - inheritedEnd], HANDLE_FLAG_INHERIT, 0)) {
            throw std::runtime_error("there is no pipe");
        }
    }
    ~Pipe()
    {
        closeEnd(0);
        closeEnd(1);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    void closeEnd(int index)
    {
        if (ends[index] != nullptr) {
            CloseHandle(ends[index]);
            ends[index] = nullptr;
        }
    }

    HANDLE ends[2] = {nullptr, nullptr};
};

std::string quoted(const std::string& word)
{
    return "\"" + word + "\"";
}

} // namespace

struct ChildProgram::System {
    ~System()
    {
        if (process != nullptr) {
            CloseHandle(process);
        }
    }

    HANDLE process = nullptr;
    bool hasEnded = false;
    Pipe input{0};
    Pipe output{1};
};

ChildProgram::ChildProgram(const std::string& program, const std::vector<std::string>& arguments)
    : system(std::make_unique<System>())
{
    std::string command = quoted(program);
    for (const std::string& argument : arguments) {
        command += " " + quoted(argument);
    }
    STARTUPINFOA start = {};
    start.cb = sizeof(start);
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = system->input.ends[0];
    start.hStdOutput = system->output.ends[1];
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION made = {};
    if (!CreateProcessA(program.c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &made)) {
        throw std::runtime_error("cannot start " + program + ": " + std::to_string(GetLastError()));
    }
    CloseHandle(made.hThread);
    system->process = made.hProcess;
    system->input.closeEnd(0);
    system->output.closeEnd(1);
}

ChildProgram::~ChildProgram()
{
    if (!system->hasEnded) {
        kill();
        wait();
    }
}

unsigned long ChildProgram::processId() const
{
    return GetProcessId(system->process);
}

std::string ChildProgram::readLine()
{
    std::string line;
    char next = 0;
    DWORD count = 0;
    while (ReadFile(system->output.ends[0], &next, 1, &count, nullptr) && count == 1 && next != '\n') {
        if (next != '\r') {
            line += next;
        }
    }
    return line;
}

void ChildProgram::closeInput()
{
    system->input.closeEnd(1);
}

void ChildProgram::kill()
{
    TerminateProcess(system->process, 1);
}

int ChildProgram::waitFor(std::chrono::milliseconds limit)
{
    closeInput();
    if (WaitForSingleObject(system->process, static_cast<DWORD>(limit.count())) == WAIT_OBJECT_0) {
        return wait();
    }
    kill();
    wait();
    return -1;
}

int ChildProgram::wait()
{
    closeInput();
    WaitForSingleObject(system->process, INFINITE);
    DWORD code = 1;
    GetExitCodeProcess(system->process, &code);
    system->hasEnded = true;
    return static_cast<int>(code);
}

} // namespace LumTests
