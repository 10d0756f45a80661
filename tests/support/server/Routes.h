#pragma once

#include "support/server/Exchange.h"

#include <map>
#include <string>

namespace LumTestServer {

struct Route {
    Next (*handle)(Exchange& exchange);

    /// Whether the route reads the request's body itself; else it is read and dropped before.
    bool takesBody = false;
};

using RouteTable = std::map<std::string, Route>;

/// Answers the request as its path says; 404 for an unknown one.
Next answer(Exchange& exchange);

void addBodyRoutes(RouteTable& routes);
void addHeaderRoutes(RouteTable& routes);
void addFaultRoutes(RouteTable& routes);

} // namespace LumTestServer
