#pragma once

#include "support/server/Socket.h"

#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

namespace LumTestServer {

/// Listens on one free port of 127.0.0.1 and of ::1 and hands every connection to a function, on threads of its own.
class DualListener {
public:
    using Acceptor = std::function<void(Socket)>;

    explicit DualListener(Acceptor newAcceptor);
    DualListener(const DualListener&) = delete;
    DualListener& operator=(const DualListener&) = delete;
    ~DualListener();

    std::uint16_t Port() const { return port; }

    /// Accepts no more; returns when no call of the function is under way.
    void Stop();

private:
    void Bind();
    void Accept(const Socket& listener);

    Acceptor acceptor;
    std::uint16_t port = 0;
    std::vector<Socket> listeners;
    std::vector<std::thread> threads;
};

} // namespace LumTestServer
