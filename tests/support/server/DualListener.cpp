#include "support/server/DualListener.h"

#include "support/server/Ports.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

namespace LumTestServer {

namespace {

constexpr int kBacklog = 4096;
constexpr int kMostTries = 50;

} // namespace

DualListener::DualListener(Acceptor newAcceptor) : acceptor(std::move(newAcceptor))
{
    Bind();
    for (const Socket& listener : listeners) {
        if (listen(listener.Descriptor(), kBacklog) != 0) {
            throw std::system_error(errno, std::generic_category(), "listen");
        }
    }
    for (const Socket& listener : listeners) {
        threads.emplace_back([this, &listener] { Accept(listener); });
    }
}

DualListener::~DualListener()
{
    Stop();
}

void DualListener::Stop()
{
    for (const Socket& listener : listeners) {
        listener.Shutdown();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    threads.clear();
    listeners.clear();
}

/// A port that is free for both families.
void DualListener::Bind()
{
    for (int attempt = 0; attempt < kMostTries; ++attempt) {
        Socket ipv4 = bindIpv4(0);
        port = boundPort(ipv4);
        Socket ipv6 = bindIpv6(port);
        if (ipv6.IsOpen()) {
            listeners.push_back(std::move(ipv4));
            listeners.push_back(std::move(ipv6));
            return;
        }
    }
    throw std::runtime_error("no port is free on both 127.0.0.1 and ::1");
}

void DualListener::Accept(const Socket& listener)
{
    while (true) {
        Socket accepted(accept4(listener.Descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
        if (accepted.IsOpen()) {
            const int yes = 1;
            setsockopt(accepted.Descriptor(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes));
            acceptor(std::move(accepted));
        } else if (errno == EMFILE || errno == ENFILE) {
            // Out of descriptors: connections that end free some.
            poll(nullptr, 0, 10);
        } else if (errno != EINTR && errno != ECONNABORTED) {
            return;
        }
    }
}

} // namespace LumTestServer
