#pragma once

#include <string>
#include <vector>

namespace LumTests {

/// Runs the program, the first of the arguments, and returns its exit code, or 128 and the signal; -1 if it has not
/// ended after 20 s.
int runProgram(const std::vector<std::string>& arguments);

} // namespace LumTests
