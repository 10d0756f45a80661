#include "support/BodyPattern.h"
#include "support/server/Routes.h"

#include <algorithm>
#include <sstream>
#include <thread>

namespace LumTestServer {

namespace {

constexpr std::uint64_t kPieceSize = std::uint64_t{64} << 10U;

std::string chunk(const std::string& bytes)
{
    std::ostringstream stream;
    stream << std::hex << bytes.size() << "\r\n" << bytes << "\r\n";
    return stream.str();
}

/// Sends the pattern piece by piece, and counts what the peer's side has taken.
Next sendPattern(const Exchange& exchange, std::uint64_t length, bool isChunked)
{
    for (std::uint64_t position = 0; position < length; position += kPieceSize) {
        std::string piece(static_cast<std::size_t>(std::min(kPieceSize, length - position)), '\0');
        LumTests::fillWithBodyPattern(piece.data(), piece.size(), position);
        if (exchange.Send(isChunked ? chunk(piece) : piece) == Next::Close) {
            return Next::Close;
        }
        if (exchange.request.Has("key")) {
            exchange.services.gate.NoteSent(exchange.request.Text("key"), piece.size());
        }
    }
    return Next::KeepAlive;
}

Next sendBytes(Exchange& exchange)
{
    const std::uint64_t length = exchange.request.Number("n", 0);
    const std::string framing = exchange.request.Text("framing", "length");
    if (framing == "chunked") {
        exchange.Send(statusLine(200) + "Transfer-Encoding: chunked\r\n\r\n");
        sendPattern(exchange, length, true);
        return exchange.Send("0\r\n\r\n");
    }
    if (framing == "close") {
        exchange.Send(statusLine(200) + "Connection: close\r\n\r\n");
        sendPattern(exchange, length, false);
        return Next::Close;
    }
    exchange.Send(statusLine(200) + "Content-Length: " + std::to_string(length) + "\r\n\r\n");
    return sendPattern(exchange, length, false);
}

/// Bytes one by one, each followed by a pause.
Next sendSlowly(Exchange& exchange)
{
    const std::uint64_t length = exchange.request.Number("n", 10);
    const std::chrono::milliseconds pause(exchange.request.Number("ms", 20));
    Next next = exchange.Send(statusLine(200) + "Content-Length: " + std::to_string(length) + "\r\n\r\n");
    for (std::uint64_t position = 0; position < length && next == Next::KeepAlive; ++position) {
        const char byte = LumTests::bodyPatternByte(position);
        next = exchange.Send(std::string_view(&byte, 1));
        std::this_thread::sleep_for(pause);
    }
    return next;
}

/// Bytes one by one, each followed by a pause, until the key is released: a body that ends when the peer says so.
Next trickle(Exchange& exchange)
{
    const std::string key = exchange.request.Text("key");
    const std::chrono::milliseconds pause(exchange.request.Number("ms", 1));
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(exchange.request.Number("seconds", 30));
    Next next = exchange.Send(statusLine(200) + "Transfer-Encoding: chunked\r\n\r\n");
    while (next == Next::KeepAlive && !exchange.services.gate.Wait(key, pause)) {
        next = std::chrono::steady_clock::now() < end ? exchange.Send(chunk("a")) : Next::Close;
    }
    return next == Next::KeepAlive ? exchange.Send("0\r\n\r\n") : Next::Close;
}

} // namespace

void addBodyRoutes(RouteTable& routes)
{
    routes["/bytes"] = {sendBytes};
    routes["/slow"] = {sendSlowly};
    routes["/trickle"] = {trickle};
}

} // namespace LumTestServer
