#pragma once

#include <atomic>
#include <functional>
#include <thread>

namespace LumLocalServer {

/// Lets a program clean up when it is interrupted (SIGINT, SIGTERM or SIGHUP) or its alarm goes off.
///
///     InterruptWatch interrupts;  // first thing in main, before any thread is started
///     ... start what must be stopped ...
///     interrupts.Start([&] { server.Stop(); });
///
/// From construction on, the signals wait; from Start on, a signal runs the clean-up on a thread of its own and ends
/// the program with the exit code that a shell gives for the signal.
class InterruptWatch {
public:
    InterruptWatch();
    ~InterruptWatch();
    InterruptWatch(const InterruptWatch&) = delete;
    InterruptWatch& operator=(const InterruptWatch&) = delete;

    void Start(std::function<void()> newCleanUp);

private:
    void Wait();

    std::function<void()> cleanUp;
    std::atomic<bool> isOver{false};
    std::thread thread;
};

} // namespace LumLocalServer
