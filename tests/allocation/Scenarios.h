#pragma once

#include "allocation/FailingRequest.h"

#include <vector>

namespace LumTests {

/// Requests of the native client to the test servers. Those with https need the servers' authority to be trusted.
std::vector<Scenario> nativeScenarios();

/// Those through a proxy, for a process that has made no request.
std::vector<Scenario> proxiedScenarios();

/// Requests that the managed half carries out.
std::vector<Scenario> socksScenarios();

} // namespace LumTests
