#pragma once

#include "support/ChildProgram.h"

#include <cstddef>
#include <memory>
#include <string>

namespace LumTests {

/// What makes the test program run a scenario instead of its tests: "first-request SCENARIO NUMBER" and
/// "through-proxy SCENARIO". The functions return the exit code of the process: 0, 1 if something was not as expected.
constexpr const char* kFirstRequest = "first-request";
constexpr const char* kThroughProxy = "through-proxy";

/// In a process that has made no request: one that lacks that allocation, and one more that lacks none, which goes as
/// usual. Returns kNoneFailed if the first request makes fewer allocations.
int runFirstRequest(const std::string& name, std::size_t number);
constexpr int kNoneFailed = 77;

/// In a process that has made no request: one through a proxy, with each of its allocations missing in turn.
int runThroughProxy(const std::string& name);

/// Starts these in a process of their own.
std::unique_ptr<ChildProgram> startFirstRequest(const std::string& name, std::size_t number);
std::unique_ptr<ChildProgram> startThroughProxy(const std::string& name);

/// Waits for the end of such a process and returns its exit code. What it printed is printed.
int endOf(ChildProgram& process);

} // namespace LumTests
