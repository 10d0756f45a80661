#pragma once

#include <mutex>

namespace LumPlatform {

/// Has the mutex taken for the moment of each fork, so that the copy of the process finds it free: the thread that held
/// it otherwise would not be in the copy. For mutexes that live to the end of the process and are never held while
/// another one of these is taken; there is room for a handful.
void holdOverFork(std::mutex& mutex);

} // namespace LumPlatform
