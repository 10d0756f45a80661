#include "support/BodyPattern.h"
#include "support/server/Routes.h"

#include <thread>

namespace LumTestServer {

namespace {

/// The peer must have read what was sent before the connection goes, or it may never see it.
constexpr std::chrono::milliseconds kTimeToRead{100};

std::string contentLength(std::uint64_t length)
{
    return "Content-Length: " + std::to_string(length) + "\r\n";
}

/// A connection reset: before the answer, in the middle of its headers, or in the middle of its body.
Next reset(Exchange& exchange)
{
    const std::string place = exchange.request.Text("at", "start");
    if (place == "headers") {
        exchange.Send(statusLine(200) + contentLength(1000) + "X-Unfin");
    } else if (place == "body") {
        exchange.Send(statusLine(200) + contentLength(1000) + "\r\n" + LumTests::makeBodyPattern(100));
    }
    std::this_thread::sleep_for(kTimeToRead);
    return Next::Reset;
}

/// A body that ends, cleanly, before it is complete. The announced length may be as large as it likes.
Next sendShortBody(Exchange& exchange)
{
    const std::string part = LumTests::makeBodyPattern(static_cast<std::size_t>(exchange.request.Number("sent", 10)));
    if (exchange.request.Text("framing") == "chunked") {
        exchange.Send(statusLine(200) + "Transfer-Encoding: chunked\r\n\r\n400\r\n" + part);
    } else {
        exchange.Send(statusLine(200) + contentLength(exchange.request.Number("n", 1000)) + "\r\n" + part);
    }
    return Next::Close;
}

/// Headers that end, cleanly, before the empty line.
Next sendShortHeaders(Exchange& exchange)
{
    exchange.Send(statusLine(200) + contentLength(5) + "X-Unfin");
    return Next::Close;
}

Next sendGarbage(Exchange& exchange)
{
    exchange.Send("this is no HTTP at all\r\nnor is this\r\n\r\nnor what follows");
    return Next::Close;
}

Next closeWithoutAnswer(Exchange& /*exchange*/)
{
    return Next::Close;
}

/// Stops before the headers, or in the middle of the body, until it is released; then goes on, closes or resets.
Next stall(Exchange& exchange)
{
    const std::string start = statusLine(200) + contentLength(10) + "\r\n01234";
    const bool isInBody = exchange.request.Text("at") == "body";
    if (isInBody) {
        exchange.Send(start);
    }
    exchange.WaitForRelease();
    const std::string end = exchange.request.Text("end", "answer");
    if (end != "answer") {
        return end == "reset" ? Next::Reset : Next::Close;
    }
    return exchange.Send((isInBody ? std::string() : start) + "56789");
}

/// Answers an upload before it has been read, reads it and closes.
Next answerEarly(Exchange& exchange)
{
    exchange.Respond(static_cast<int>(exchange.request.Number("status", 413)), {{"Connection", "close"}}, "early");
    exchange.ReadBody([](const std::string&) {});
    return Next::Close;
}

/// Answers, and a moment later sends bytes for which nobody has asked; the connection stays.
Next answerAndSendMore(Exchange& exchange)
{
    exchange.Respond(exchange.request.Text("answer", "answer"));
    std::this_thread::sleep_for(std::chrono::milliseconds(exchange.request.Number("ms", 50)));
    return exchange.Send(exchange.request.Text("bytes"));
}

/// Answers an upload by a redirect before it has been read, and reads it then.
Next redirectEarly(Exchange& exchange)
{
    const auto status = static_cast<int>(exchange.request.Number("status", 307));
    exchange.Respond(status, {{"Location", exchange.request.Text("to")}}, "redirect");
    exchange.ReadBody([](const std::string&) {});
    return Next::KeepAlive;
}

} // namespace

void addFaultRoutes(RouteTable& routes)
{
    routes["/reset"] = {reset};
    routes["/short"] = {sendShortBody};
    routes["/shortheaders"] = {sendShortHeaders};
    routes["/garbage"] = {sendGarbage};
    routes["/close"] = {closeWithoutAnswer};
    routes["/stall"] = {stall};
    routes["/early"] = {answerEarly, true};
    routes["/early-redirect"] = {redirectEarly, true};
    routes["/more"] = {answerAndSendMore};
}

} // namespace LumTestServer
