#pragma once

#include <csignal>

namespace LumPlatform {

/// Blocks the host's signals for the calling thread while it lives, and so for the threads that are started meanwhile:
/// a thread inherits the mask of the one that starts it. What a thread brings upon itself by a fault stays as it is.
class SignalBlock {
public:
    SignalBlock();
    ~SignalBlock();
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

private:
    sigset_t before = {};
};

} // namespace LumPlatform
