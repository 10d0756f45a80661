#pragma once

#include "support/server/Exchange.h"

namespace LumTestServer {

/// One connection to the scripted server: answers its requests one after the other.
class Connection {
public:
    Connection(Socket& openSocket, Services& sharedServices)
        : socket(openSocket), services(sharedServices), reader(openSocket)
    {
    }

    /// Returns what is to be done with the socket when the last request has been answered: Close or Reset.
    Next Serve();

private:
    Next ServeRequest(std::string head);

    Socket& socket;
    Services& services;
    RequestReader reader;
};

} // namespace LumTestServer
