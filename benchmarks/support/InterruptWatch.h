#pragma once

#include <atomic>
#include <functional>
#include <thread>

namespace LumLocalServer {

/// Lets a program clean up when it is interrupted (SIGINT, SIGTERM or SIGHUP) or its alarm goes off.
///
///     HoldInterrupts();  // before any thread is started
///     ... start what must be stopped ...
///     const InterruptWatch interrupts([&] { server.Stop(); });
///
/// A signal runs the clean-up on a thread of its own and then ends the program with the exit code that a shell gives
/// for the signal. Declare the watch after all that the clean-up uses: its destructor does not return once the clean-up
/// has begun, so nothing is cleaned up twice.
class InterruptWatch {
public:
    explicit InterruptWatch(std::function<void()> newCleanUp);
    ~InterruptWatch();
    InterruptWatch(const InterruptWatch&) = delete;
    InterruptWatch& operator=(const InterruptWatch&) = delete;

private:
    void Wait();

    const std::function<void()> cleanUp;
    std::atomic<bool> isOver{false};
    std::thread thread;
};

/// From now on the signals wait until there is a watch, on this thread and those that it starts.
void HoldInterrupts();

} // namespace LumLocalServer
