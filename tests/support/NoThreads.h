#pragma once

#include <memory>

namespace LumTests {

/// While it lives the library cannot start a thread: the system refuses it, for want of resources.
class NoThreads {
public:
    NoThreads();
    ~NoThreads();
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

private:
    struct System;
    std::unique_ptr<System> system;
};

} // namespace LumTests
