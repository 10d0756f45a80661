#pragma once

#include <set>
#include <string>

namespace LumTests {

/// What the system says that its processors can do and programs may use, by the names that Linux has for it; on Windows
/// only what concerns vectors of bytes. Empty where processors have other features than these.
std::set<std::string> processorFlags();

} // namespace LumTests
