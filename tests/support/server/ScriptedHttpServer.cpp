#include "support/server/ScriptedHttpServer.h"

#include "support/server/Connection.h"

#include <memory>
#include <system_error>

namespace LumTestServer {

ScriptedHttpServer::ScriptedHttpServer() : listener([this](Socket socket) { OnAccepted(std::move(socket)); }) {}

ScriptedHttpServer::~ScriptedHttpServer()
{
    listener.Stop();
    services.gate.ReleaseAll();
    std::unique_lock<std::mutex> lock(mutex);
    for (const Socket* connection : connections) {
        connection->Shutdown();
    }
    connectionEnded.wait(lock, [this] { return connections.empty(); });
}

void ScriptedHttpServer::OnAccepted(Socket socket)
{
    ++services.statistics.connections;
    const auto connection = std::make_shared<Socket>(std::move(socket));
    const std::lock_guard<std::mutex> lock(mutex);
    try {
        std::thread([this, connection] { ServeAndClose(*connection); }).detach();
        connections.insert(connection.get());
    } catch (const std::system_error&) {
        // No thread is to be had: the peer sees the connection close.
    }
}

void ScriptedHttpServer::ServeAndClose(Socket& socket)
{
    const Next next = Connection(socket, services).Serve();
    const std::lock_guard<std::mutex> lock(mutex);
    if (next == Next::Reset) {
        socket.Reset();
    } else {
        socket.Close();
    }
    connections.erase(&socket);
    connectionEnded.notify_all();
}

} // namespace LumTestServer
