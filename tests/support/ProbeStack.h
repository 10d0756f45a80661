#pragma once

#include <cstddef>

namespace LumTests {

constexpr std::size_t kProbeStackSize = std::size_t{1} << 20U;

/// Runs the function on a stack of its own, and when it has returned hands what that stack holds to the other one.
/// False if there is no such stack.
bool runOnProbeStack(void (*run)(), void (*look)(const unsigned char* memory, std::size_t size));

} // namespace LumTests
