#include "posix/process/UnaskedTlsBytes.h"

#include "Windows/networking/WinHttpClientAsync.h"
#include "support/RecordingLogger.h"
#include "support/RequestRecorder.h"
#include "support/ScratchFolder.h"
#include "support/TrustedAuthority.h"
#include "support/posix/ChildProcess.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace LumTests {

namespace {

using namespace LumNetworking;

void require(bool succeeded, const char* what)
{
    if (!succeeded) {
        throw std::runtime_error(what);
    }
}

/// A port of 127.0.0.1 that was free a moment ago.
std::string freePort()
{
    const int probe = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    socklen_t size = sizeof(address);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    require(bind(probe, reinterpret_cast<const sockaddr*>(&address), size) == 0 &&
                getsockname(probe, reinterpret_cast<sockaddr*>(&address), &size) == 0,
            "a free port");
    close(probe);
    return std::to_string(ntohs(address.sin_port));
}

/// One connection after the other, each of which is sent what `Send` is given and nothing else.
class TlsServer {
public:
    explicit TlsServer(const std::filesystem::path& folder)
        : certificate(folder / "certificate.pem"), key(folder / "key.pem"), port(freePort())
    {
        const std::string command = "openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=127.0.0.1 -addext "
                                    "subjectAltName=IP:127.0.0.1 -keyout " +
                                    key.string() + " -out " + certificate.string() + " 2>/dev/null";
        require(std::system(command.c_str()) == 0, "a certificate");
        require(pipe(toServer) == 0 && pipe(fromServer) == 0, "pipes");
        process = fork();
        if (process == 0) {
            Run();
        }
        close(toServer[0]);
        close(fromServer[1]);
        require(waitUntil([this] { return Accepts(); }, std::chrono::seconds(20)), "the server does not listen");
    }
    ~TlsServer()
    {
        kill(process, SIGKILL);
        endOfChild(process);
        close(toServer[1]);
        close(fromServer[0]);
    }
    TlsServer(const TlsServer&) = delete;
    TlsServer& operator=(const TlsServer&) = delete;

    std::string Certificate() const { return certificate.string(); }
    std::string Url(const std::string& path) const { return "https://127.0.0.1:" + port + path; }

    /// Waits until a request has been received whole.
    void WaitForRequest()
    {
        std::string received;
        char byte = 0;
        while (received.find("\r\n\r\n") == std::string::npos) {
            require(read(fromServer[0], &byte, 1) == 1, "the server ends");
            received += byte;
        }
    }

    void Send(const std::string& body)
    {
        const std::string answer =
            "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
        require(write(toServer[1], answer.data(), answer.size()) == static_cast<ssize_t>(answer.size()), "write");
    }

private:
    bool Accepts() const
    {
        const int probe = socket(AF_INET, SOCK_STREAM, 0);
        const sockaddr_in address = AddressOf(static_cast<std::uint16_t>(std::stoi(port)));
        const bool isAccepted = connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
        close(probe);
        return isAccepted;
    }

    static sockaddr_in AddressOf(std::uint16_t number)
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(number);
        return address;
    }

    [[noreturn]] void Run() const
    {
        dup2(toServer[0], STDIN_FILENO);
        dup2(fromServer[1], STDOUT_FILENO);
        close(toServer[1]);
        close(fromServer[0]);
        const std::string address = "127.0.0.1:" + port;
        execlp("openssl", "openssl", "s_server", "-quiet", "-accept", address.c_str(), "-cert", certificate.c_str(),
               "-key", key.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }

    const std::filesystem::path certificate;
    const std::filesystem::path key;
    const std::string port;
    int toServer[2] = {};
    int fromServer[2] = {};
    pid_t process = 0;
};

/// The body of the answer, or what failed.
std::string textOf(const Outcome& outcome)
{
    return outcome.response ? outcome.response->body : outcome.error->getDescription();
}

} // namespace

bool keepUnaskedTlsBytesFromTheNextRequest()
{
    const ScratchFolder folder;
    std::signal(SIGPIPE, SIG_IGN);
    TlsServer server(folder.path());
    const TrustedAuthority trusted(server.Certificate());
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    const auto fetch = [&](const std::string& path) {
        const RequestRecorder recorder;
        client.Get(server.Url(path), {}, recorder.Completion(), true, 30);
        server.WaitForRequest();
        server.Send("answer to " + path);
        return textOf(recorder.WaitForOutcome());
    };
    const std::string first = fetch("/one");
    server.Send("an answer too many");
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    const std::string second = fetch("/two");
    std::cerr << first << "; " << second << '\n';
    return first == "answer to /one" && second == "answer to /two";
}

} // namespace LumTests
