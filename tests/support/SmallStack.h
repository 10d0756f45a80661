#pragma once

#include <functional>

namespace LumTests {

/// Runs the function on a thread whose stack has 256 KiB and waits for its end. False if there is no such thread.
bool runWithSmallStack(const std::function<void()>& function);

} // namespace LumTests
