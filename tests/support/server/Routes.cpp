#include "support/server/Routes.h"

#include "support/BodyPattern.h"

namespace LumTestServer {

namespace {

Next echo(Exchange& exchange)
{
    return exchange.Respond(exchange.request.head + exchange.ReadBody());
}

/// Length and checksum of the request's body.
Next checksumOfBody(Exchange& exchange)
{
    std::uint64_t length = 0;
    std::uint64_t value = LumTests::kChecksumStart;
    exchange.ReadBody([&](const std::string& piece) {
        length += piece.size();
        value = LumTests::checksum(piece.data(), piece.size(), value);
    });
    return exchange.Respond(std::to_string(length) + " " + std::to_string(value));
}

Next release(Exchange& exchange)
{
    exchange.services.gate.Release(exchange.request.Text("key"));
    return exchange.Respond("released");
}

Next countArrived(Exchange& exchange)
{
    return exchange.Respond(std::to_string(exchange.services.gate.ArrivedCount(exchange.request.Text("key"))));
}

Next countSent(Exchange& exchange)
{
    return exchange.Respond(std::to_string(exchange.services.gate.SentCount(exchange.request.Text("key"))));
}

Next statistics(Exchange& exchange)
{
    const Statistics& numbers = exchange.services.statistics;
    return exchange.Respond("connections " + std::to_string(numbers.connections) + "\nrequests " +
                            std::to_string(numbers.requests) + "\n");
}

Next listUnknown(Exchange& exchange)
{
    return exchange.Respond(exchange.services.unknown.Lines());
}

Next closeSilent(Exchange& exchange)
{
    exchange.services.silent.CloseConnections();
    return exchange.Respond("closed");
}

Next countSilent(Exchange& exchange)
{
    return exchange.Respond(std::to_string(exchange.services.silent.ConnectionCount()));
}

const RouteTable& routeTable()
{
    static const RouteTable table = [] {
        RouteTable routes = {{"/", {echo, true}},
                             {"/echo", {echo, true}},
                             {"/echo/", {echo, true}},
                             {"/checksum", {checksumOfBody, true}},
                             {"/release", {release}},
                             {"/count", {countArrived}},
                             {"/sent", {countSent}},
                             {"/stats", {statistics}},
                             {"/unknown", {listUnknown}},
                             {"/silent/close", {closeSilent}},
                             {"/silent/count", {countSilent}}};
        addBodyRoutes(routes);
        addHeaderRoutes(routes);
        addFaultRoutes(routes);
        return routes;
    }();
    return table;
}

/// The table's entry for the path, or for its first segment if the rest is a value, as in /status/404.
const Route* findRoute(const std::string& path)
{
    const RouteTable& routes = routeTable();
    auto found = routes.find(path);
    const std::size_t segmentEnd = path.find('/', 1);
    if (found == routes.end() && segmentEnd != std::string::npos) {
        found = routes.find(path.substr(0, segmentEnd + 1));
    }
    return found == routes.end() ? nullptr : &found->second;
}

} // namespace

Next answer(Exchange& exchange)
{
    const Route* const route = findRoute(exchange.request.path);
    const bool takesBody = route != nullptr && route->takesBody;
    if (!takesBody && !exchange.ReadBody([](const std::string&) {})) {
        return Next::Close;
    }
    if (route == nullptr) {
        exchange.services.unknown.Add(exchange.request.head);
        const Next next = exchange.Respond(404, {}, "no such path");
        // Some clients would go on with the tunnel that they were refused, and wait.
        return exchange.request.method == "CONNECT" ? Next::Close : next;
    }
    return route->handle(exchange);
}

} // namespace LumTestServer
