#pragma once

#include "support/server/ClosedPort.h"
#include "support/server/FullPort.h"
#include "support/server/HostileServer.h"
#include "support/server/NginxServer.h"
#include "support/server/ScriptedHttpServer.h"
#include "support/server/SocksProxies.h"

#include <string>
#include <utility>
#include <vector>

namespace LumTestServer {

/// The variables that tell a test program where the servers are; see main.cpp.
using Environment = std::vector<std::pair<std::string, std::string>>;

Environment makeEnvironment(const ScriptedHttpServer& scripted, const ClosedPort& closed, const FullPort& full,
                            const NginxServer& nginx, const HostileServer& hostile);

/// Adds where the proxies are.
void addProxies(Environment& environment, const SocksProxies& proxies);

/// Sets the variables for the programs that this process starts.
void exportEnvironment(const Environment& environment);

/// Prints a line NAME=value for each.
void printEnvironment(const Environment& environment);

} // namespace LumTestServer
