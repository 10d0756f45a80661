#include "support/server/SilentServer.h"

namespace LumTestServer {

SilentServer::SilentServer()
    : listener([this](Socket connection) {
          const std::lock_guard<std::mutex> lock(mutex);
          connections.push_back(std::move(connection));
      })
{
}

std::size_t SilentServer::ConnectionCount()
{
    const std::lock_guard<std::mutex> lock(mutex);
    return connections.size();
}

void SilentServer::CloseConnections()
{
    const std::lock_guard<std::mutex> lock(mutex);
    connections.clear();
}

} // namespace LumTestServer
