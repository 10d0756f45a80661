#include "support/PlainRequest.h"

#include <stdexcept>

#include <winsock2.h>

namespace LumTests {

namespace {

/// The sockets of this process, from their first use to its end.
struct Sockets {
    Sockets()
    {
        constexpr WORD kVersion = 0x0202;
        WSADATA data = {};
        if (WSAStartup(kVersion, &data) != 0) {
            throw std::runtime_error("there are no sockets");
        }
    }
};

class Connection {
public:
    explicit Connection(std::uint16_t port) : handle(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(handle, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
            const int error = WSAGetLastError();
            closesocket(handle);
            throw std::runtime_error("cannot connect: " + std::to_string(error));
        }
    }
    ~Connection() { closesocket(handle); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    const SOCKET handle;
};

} // namespace

void requestPlainly(std::uint16_t port, const std::string& pathAndQuery)
{
    static const Sockets sockets;
    const Connection connection(port);
    const std::string request = "GET " + pathAndQuery + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
    const auto size = static_cast<int>(request.size());
    char answer = 0;
    if (send(connection.handle, request.data(), size, 0) != size || recv(connection.handle, &answer, 1, 0) != 1) {
        throw std::runtime_error("the server does not answer");
    }
}

} // namespace LumTests
