#pragma once

#include "support/server/DualListener.h"
#include "support/server/Exchange.h"

#include <condition_variable>
#include <mutex>
#include <set>

namespace LumTestServer {

/// An HTTP server that does what a request's path and query say; a thread for each connection.
class ScriptedHttpServer {
public:
    ScriptedHttpServer();
    ScriptedHttpServer(const ScriptedHttpServer&) = delete;
    ScriptedHttpServer& operator=(const ScriptedHttpServer&) = delete;

    /// Ends all connections, wherever they are.
    ~ScriptedHttpServer();

    std::uint16_t Port() const { return listener.Port(); }
    std::uint16_t SilentPort() const { return services.silent.Port(); }

private:
    void OnAccepted(Socket socket);
    void ServeAndClose(Socket& socket);

    Services services;
    std::mutex mutex;
    std::condition_variable connectionEnded;
    std::set<const Socket*> connections;
    DualListener listener;
};

} // namespace LumTestServer
