#include "support/server/Connection.h"

#include "support/server/Routes.h"

namespace LumTestServer {

namespace {

/// Requests that only ask for a key are not counted under it.
bool isControl(const Request& request)
{
    return request.path == "/release" || request.path == "/count" || request.path == "/sent";
}

} // namespace

Next Connection::Serve()
{
    Next next = Next::KeepAlive;
    std::string head;
    while (next == Next::KeepAlive) {
        next = reader.ReadHead(head) ? ServeRequest(std::move(head)) : Next::Close;
    }
    return next;
}

Next Connection::ServeRequest(std::string head)
{
    const Request request = parseRequest(std::move(head));
    ++services.statistics.requests;
    if (request.Has("key") && !isControl(request)) {
        services.gate.Arrive(request.Text("key"));
    }
    Exchange exchange(request, reader, socket, services);
    const Next next = answer(exchange);
    const bool closes = request.wantsClose || request.Has("close");
    return next == Next::KeepAlive && closes ? Next::Close : next;
}

} // namespace LumTestServer
