#include "support/server/Routes.h"

namespace LumTestServer {

namespace {

bool hasNoBody(std::uint64_t status)
{
    return status == 204 || status == 304;
}

Next sendStatus(Exchange& exchange)
{
    const std::string& path = exchange.request.path;
    const std::string status = path.substr(path.rfind('/') + 1);
    const int number = std::atoi(status.c_str());
    if (hasNoBody(static_cast<std::uint64_t>(number))) {
        return exchange.Send(statusLine(static_cast<std::uint64_t>(number)) + "X-Status: " + status + "\r\n\r\n");
    }
    return exchange.Respond(number, {{"X-Status", status}}, "status " + status);
}

/// Interim responses before the final one.
Next sendInterim(Exchange& exchange)
{
    const std::string fields = exchange.request.Has("bare") ? "" : "X-Interim: yes\r\n";
    const std::string interim = statusLine(exchange.request.Number("status", 103)) + fields + "\r\n";
    for (std::uint64_t count = exchange.request.Number("count", 1); count > 0; --count) {
        exchange.Send(interim);
    }
    return exchange.Respond(200, {{"X-Final", "yes"}}, "final");
}

Next redirectTo(const Exchange& exchange, const std::string& target)
{
    HeaderList headers = {{"Location", target}};
    if (exchange.request.Has("cookie")) {
        headers.emplace_back("Set-Cookie", exchange.request.Text("cookie"));
    }
    const auto status = static_cast<int>(exchange.request.Number("status", 302));
    return exchange.Respond(status, headers, "redirect");
}

Next redirect(Exchange& exchange)
{
    return redirectTo(exchange, exchange.request.Text("to", "/echo"));
}

/// As many redirects as the query says, then a response.
Next redirectChain(Exchange& exchange)
{
    const std::uint64_t left = exchange.request.Number("n", 0);
    if (left == 0) {
        return exchange.Respond("end of chain");
    }
    return redirectTo(exchange,
                      "/chain?n=" + std::to_string(left - 1) + "&status=" + exchange.request.Text("status", "302"));
}

Next redirectForever(Exchange& exchange)
{
    return redirectTo(exchange, "/loop");
}

/// As many headers as the query says, with values that are longer by as much as it says.
Next sendManyHeaders(Exchange& exchange)
{
    HeaderList headers;
    const std::string rest(static_cast<std::size_t>(exchange.request.Number("length", 0)), 'a');
    for (std::uint64_t index = 0; index < exchange.request.Number("n", 300); ++index) {
        headers.emplace_back("X-Header-" + std::to_string(index), "value-" + std::to_string(index) + rest);
    }
    return exchange.Respond(200, headers, "many");
}

Next sendLargeHeader(Exchange& exchange)
{
    const auto size = static_cast<std::size_t>(exchange.request.Number("n", std::uint64_t{60} << 10U));
    return exchange.Respond(200, {{"X-Large", std::string(size, 'a')}}, "large");
}

Next sendRepeatedHeaders(Exchange& exchange)
{
    return exchange.Respond(200, {{"X-Repeated", "first"}, {"X-Repeated", "second"}, {"X-Other", "other"}}, "repeated");
}

/// Header lines that are sent as they stand here, before a short body.
Next sendHeaderLines(const Exchange& exchange, const std::string& lines)
{
    return exchange.Send(statusLine(200) + lines + "Content-Length: 5\r\n\r\nlines");
}

Next sendFoldedHeader(Exchange& exchange)
{
    return sendHeaderLines(exchange, "X-Folded: first\r\n   second\r\nX-After: after\r\n");
}

Next sendHeaderWithoutValue(Exchange& exchange)
{
    return sendHeaderLines(exchange, "X-Empty:\r\nX-Blank:   \r\nX-After: after\r\n");
}

Next sendHeaderWithoutColon(Exchange& exchange)
{
    return sendHeaderLines(exchange, "X-Before: before\r\nthis line has no separator\r\nX-After: after\r\n");
}

Next sendHeaderBytes(Exchange& exchange)
{
    return sendHeaderLines(exchange, "X-Latin: caf\xE9\r\nX-Utf8: caf\xC3\xA9\r\nX-After: after\r\n");
}

Next sendHeaderSpaces(Exchange& exchange)
{
    return sendHeaderLines(exchange, "X-Spaces: \t value with  spaces \t \r\nX-Colons:a:b: c\r\n");
}

/// The bytes that the query holds, and nothing else.
Next sendRaw(Exchange& exchange)
{
    exchange.Send(exchange.request.Text("bytes"));
    return Next::Close;
}

} // namespace

void addHeaderRoutes(RouteTable& routes)
{
    routes["/status/"] = {sendStatus};
    routes["/interim"] = {sendInterim};
    routes["/redirect"] = {redirect};
    routes["/chain"] = {redirectChain};
    routes["/loop"] = {redirectForever};
    routes["/headers/many"] = {sendManyHeaders};
    routes["/headers/large"] = {sendLargeHeader};
    routes["/headers/repeated"] = {sendRepeatedHeaders};
    routes["/headers/folded"] = {sendFoldedHeader};
    routes["/headers/novalue"] = {sendHeaderWithoutValue};
    routes["/headers/nocolon"] = {sendHeaderWithoutColon};
    routes["/headers/bytes"] = {sendHeaderBytes};
    routes["/headers/spaces"] = {sendHeaderSpaces};
    routes["/raw"] = {sendRaw};
}

} // namespace LumTestServer
