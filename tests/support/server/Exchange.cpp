#include "support/server/Exchange.h"

namespace LumTestServer {

std::string statusLine(std::uint64_t status)
{
    return "HTTP/1.1 " + std::to_string(status) + " Status " + std::to_string(status) + "\r\n";
}

bool Exchange::ReadBody(const std::function<void(const std::string&)>& use)
{
    while (unread > 0) {
        const std::string piece = reader.ReadSome(unread);
        if (piece.empty()) {
            return false;
        }
        unread -= piece.size();
        use(piece);
    }
    return true;
}

std::string Exchange::ReadBody()
{
    std::string body;
    ReadBody([&](const std::string& piece) { body += piece; });
    return body;
}

Next Exchange::Send(std::string_view bytes) const
{
    return socket.Send(bytes) ? Next::KeepAlive : Next::Close;
}

Next Exchange::Respond(int status, const HeaderList& headers, std::string_view body) const
{
    std::string response = statusLine(static_cast<std::uint64_t>(status));
    for (const auto& [name, value] : headers) {
        response += name + ": " + value + "\r\n";
    }
    response += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n";
    response += body;
    return Send(response);
}

void Exchange::WaitForRelease() const
{
    const std::chrono::seconds limit(request.Number("seconds", 30));
    services.gate.Wait(request.Text("key"), limit);
}

} // namespace LumTestServer
