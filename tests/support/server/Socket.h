#pragma once

#include <cstddef>
#include <string_view>

namespace LumTestServer {

/// An owned TCP socket. Sending to a peer that has gone fails; it raises no signal.
class Socket {
public:
    Socket() = default;
    explicit Socket(int openDescriptor) : descriptor(openDescriptor) {}
    Socket(Socket&& other) noexcept;
    Socket& operator=(Socket&& other) noexcept;
    ~Socket();

    int Descriptor() const { return descriptor; }
    bool IsOpen() const { return descriptor >= 0; }

    /// False if the peer has gone.
    bool Send(std::string_view bytes) const;

    /// The number of bytes received; 0 at the end of the stream and on failure.
    std::size_t Receive(char* buffer, std::size_t size) const;

    /// Ends both directions, which wakes a thread that is blocked on the socket; it stays open.
    void Shutdown() const;

    void Close();

    /// Closes so that the peer sees a reset, whatever it has not read yet.
    void Reset();

private:
    int descriptor = -1;
};

} // namespace LumTestServer
