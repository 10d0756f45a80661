#pragma once

#include "posix/allocation/FailingRequest.h"

#include <vector>

namespace LumTests {

/// Requests of the native client to the test servers. Those with https need the servers' authority to be trusted.
std::vector<Scenario> nativeScenarios();

/// Those through the proxy that the environment names, for a process that has made no request; see setProxy.
std::vector<Scenario> proxiedScenarios();

/// Names the scripted server as the process's proxy.
void setProxy();

/// Requests that the managed half carries out.
std::vector<Scenario> socksScenarios();

} // namespace LumTests
