#pragma once

#include <atomic>

#include <csignal>
#include <sys/time.h>

namespace LumTests {

/// Interrupts this process every so often, without its calls being taken up again by the system.
class SignalStorm {
public:
    SignalStorm()
    {
        struct sigaction action = {};
        action.sa_handler = [](int) { ++count; };
        sigaction(SIGALRM, &action, &before);
        const itimerval often = {{0, 500}, {0, 500}};
        setitimer(ITIMER_REAL, &often, nullptr);
    }
    ~SignalStorm()
    {
        const itimerval never = {};
        setitimer(ITIMER_REAL, &never, nullptr);
        sigaction(SIGALRM, &before, nullptr);
    }
    SignalStorm(const SignalStorm&) = delete;
    SignalStorm& operator=(const SignalStorm&) = delete;

    static int signals() { return count; }

private:
    static inline std::atomic<int> count{0};
    struct sigaction before = {};
};

} // namespace LumTests
