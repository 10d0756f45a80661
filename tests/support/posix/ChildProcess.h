#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace LumTests {

/// Waits for the child and returns its exit code, or 128 and the signal; -1 if it has not ended after 20 s, when it is
/// killed.
int endOfChild(pid_t child);

/// Runs the program, the first of the arguments, to its end.
int runProgram(const std::vector<std::string>& arguments);

} // namespace LumTests
