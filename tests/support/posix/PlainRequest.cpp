#include "support/PlainRequest.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace LumTests {

namespace {

class Connection {
public:
    explicit Connection(std::uint16_t port) : descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
            const int error = errno;
            close(descriptor);
            throw std::system_error(error, std::generic_category(), "connect");
        }
    }
    ~Connection() { close(descriptor); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    const int descriptor;
};

} // namespace

void requestPlainly(std::uint16_t port, const std::string& pathAndQuery)
{
    const Connection connection(port);
    const std::string request = "GET " + pathAndQuery + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
    char answer = 0;
    if (send(connection.descriptor, request.data(), request.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(request.size()) ||
        recv(connection.descriptor, &answer, 1, 0) != 1) {
        throw std::runtime_error("the server does not answer");
    }
}

} // namespace LumTests
