#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <sys/types.h>

namespace LumTestServer {

/// A program that was started. It leads a process group of its own and is told to end when this process ends.
///
/// To be used on the main thread only, with the signals of blockSignals() blocked.
class ChildProcess {
public:
    /// Starts the program with its output where this process has its own. Throws if it cannot be started.
    explicit ChildProcess(const std::vector<std::string>& command);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Ends the process group: asked first, killed if it is still there after the given time.
    ~ChildProcess();

    /// Whether it has ended; does not wait.
    bool HasEnded();

    /// The exit code, or 128 and the signal; only after it has ended.
    int ExitCode() const { return exitCode; }

    /// Waits for the end of a program that ends by itself.
    int Wait();

    /// Sends the signal to the process group.
    void Signal(int number) const;

    /// Waits for the end, at most for the given time.
    bool WaitFor(std::chrono::milliseconds limit);

private:
    void TakeStatus(int status);

    pid_t process = -1;
    bool hasEnded = false;
    int exitCode = 0;
};

/// Blocks the signals that end or notify this process, in this thread and those it starts: they are waited for.
void blockSignals();

/// Waits for one of them and returns its number.
int waitForSignal();

} // namespace LumTestServer
