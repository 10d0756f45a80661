#pragma once

#include <string>

namespace LumTests {

/// Loads the plug-in, has it fetch and start requests, and unloads it, several times. Says on the error stream what is
/// left and returns false if anything is.
bool loadAndUnload(const std::string& plugin);

} // namespace LumTests
