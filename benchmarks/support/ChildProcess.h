#pragma once

#include <string>
#include <vector>

namespace LumBench {

/// Runs the program that the first word names, looked up as a shell does, with the others and returns what it prints.
/// Throws std::runtime_error if it does not exit with 0.
std::string RunProgram(const std::vector<std::string>& words);

/// Runs this program again with the given arguments, as RunProgram does.
std::string RunSelf(std::vector<std::string> arguments);

} // namespace LumBench
