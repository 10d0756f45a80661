#pragma once

#include <string>
#include <vector>

namespace LumBench {

/// Runs this program again with the given arguments and returns what it prints. Throws std::runtime_error if it does
/// not exit with 0.
std::string RunSelf(const std::vector<std::string>& arguments);

} // namespace LumBench
