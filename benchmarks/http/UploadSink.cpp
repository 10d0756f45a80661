#include "UploadSink.h"

#include <cerrno>
#include <string_view>
#include <system_error>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace LumBench {

namespace {

constexpr std::size_t kReadSize = std::size_t{256} << 10U;
constexpr std::string_view kAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";
constexpr std::string_view kEndOfHead = "\r\n\r\n";

void require(bool succeeded, const char* what)
{
    if (!succeeded) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

std::uint64_t lengthOf(const std::string& head)
{
    constexpr std::string_view kField = "\r\nContent-Length: ";
    const std::size_t place = head.find(kField);
    return place == std::string::npos ? 0 : std::stoull(head.substr(place + kField.size()));
}

/// Reads one request and answers it; false if the connection has ended.
bool answerRequest(int connection, std::vector<char>& buffer)
{
    std::string head;
    std::size_t end = std::string::npos;
    while (end == std::string::npos) {
        const ssize_t count = recv(connection, buffer.data(), buffer.size(), 0);
        if (count <= 0) {
            return false;
        }
        head.append(buffer.data(), static_cast<std::size_t>(count));
        end = head.find(kEndOfHead);
    }
    const std::uint64_t length = lengthOf(head);
    for (std::uint64_t received = head.size() - end - kEndOfHead.size(); received < length;) {
        const ssize_t count = recv(connection, buffer.data(), buffer.size(), 0);
        if (count <= 0) {
            return false;
        }
        received += static_cast<std::uint64_t>(count);
    }
    return send(connection, kAnswer.data(), kAnswer.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(kAnswer.size());
}

} // namespace

UploadSink::UploadSink() : listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    require(listener >= 0, "socket");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    require(bind(listener, generic, size) == 0 && listen(listener, 16) == 0, "bind");
    require(getsockname(listener, generic, &size) == 0, "getsockname");
    port = ntohs(address.sin_port);
    server = std::thread([this] { Serve(); });
}

UploadSink::~UploadSink()
{
    // Ends the accept.
    shutdown(listener, SHUT_RDWR);
    server.join();
    close(listener);
}

void UploadSink::Serve() const
{
    std::vector<char> buffer(kReadSize);
    for (int connection = accept(listener, nullptr, nullptr); connection >= 0;
         connection = accept(listener, nullptr, nullptr)) {
        while (answerRequest(connection, buffer)) {
        }
        close(connection);
    }
}

} // namespace LumBench
