#include "support/InterruptWatch.h"

#include <utility>

#include <csignal>
#include <unistd.h>

namespace LumLocalServer {

namespace {

sigset_t interruptSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGHUP);
    sigaddset(&signals, SIGALRM);
    return signals;
}

constexpr int kShellSignalBase = 128;

} // namespace

void HoldInterrupts()
{
    const sigset_t signals = interruptSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

InterruptWatch::InterruptWatch(std::function<void()> newCleanUp)
    : cleanUp(std::move(newCleanUp)), thread(&InterruptWatch::Wait, this)
{
}

InterruptWatch::~InterruptWatch()
{
    isOver.store(true);
    pthread_kill(thread.native_handle(), SIGTERM);
    thread.join();
}

void InterruptWatch::Wait()
{
    const sigset_t signals = interruptSignals();
    int signalNumber = 0;
    while (sigwait(&signals, &signalNumber) != 0) {
    }
    if (isOver.load()) {
        return;
    }
    cleanUp();
    // Not exit(): the other threads still use what static destructors would destroy.
    _exit(kShellSignalBase + signalNumber);
}

} // namespace LumLocalServer
