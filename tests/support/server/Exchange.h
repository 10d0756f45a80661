#pragma once

#include "support/server/Gate.h"
#include "support/server/Request.h"
#include "support/server/RequestReader.h"
#include "support/server/SilentServer.h"
#include "support/server/UnknownRequests.h"

#include <atomic>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace LumTestServer {

struct Statistics {
    std::atomic<std::size_t> connections{0};
    std::atomic<std::size_t> requests{0};
};

/// What all connections share.
struct Services {
    Gate gate;
    Statistics statistics;
    SilentServer silent;
    UnknownRequests unknown;
};

/// What becomes of the connection after a request.
enum class Next { KeepAlive, Close, Reset };

using HeaderList = std::vector<std::pair<std::string, std::string>>;

/// One request and the means to answer it.
class Exchange {
public:
    Exchange(const Request& newRequest, RequestReader& newReader, const Socket& newSocket, Services& newServices)
        : request(newRequest), services(newServices), reader(newReader), socket(newSocket),
          unread(newRequest.contentLength)
    {
    }

    const Request& request;
    Services& services;

    /// Reads what is left of the request's body, piece by piece. False if it ends before its length.
    bool ReadBody(const std::function<void(const std::string&)>& use);
    std::string ReadBody();

    /// Sends bytes as they are; KeepAlive, or Close if the peer has gone.
    Next Send(std::string_view bytes) const;

    /// Sends a whole response with a Content-Length.
    Next Respond(int status, const HeaderList& headers, std::string_view body) const;
    Next Respond(std::string_view body) const { return Respond(200, {}, body); }

    /// Waits for the key that the query names, at most as many seconds as it says (30 if it says nothing).
    void WaitForRelease() const;

private:
    RequestReader& reader;
    const Socket& socket;
    std::uint64_t unread;
};

std::string statusLine(std::uint64_t status);

} // namespace LumTestServer
