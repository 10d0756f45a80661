#include "fuzz/AnswerSource.h"

#include "platform/posix/winhttp/HttpHandleTable.h"
#include "support/server/DualListener.h"

#include <array>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace LumFuzz {

namespace {

/// Answers every connection with the bytes that it was given last, whatever is asked, and closes it.
class AnswerServer {
public:
    AnswerServer() : listener([this](LumTestServer::Socket socket) { Answer(socket); }) {}

    std::uint16_t Port() const { return listener.Port(); }

    void SetAnswer(std::string_view newAnswer)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        answer = newAnswer;
    }

private:
    /// The request is read to its end: closing before would reset the connection, and the answer would be lost.
    static void ReadHead(const LumTestServer::Socket& socket)
    {
        std::string head;
        std::array<char, 4096> buffer{};
        while (head.find("\r\n\r\n") == std::string::npos) {
            const std::size_t count = socket.Receive(buffer.data(), buffer.size());
            if (count == 0) {
                return;
            }
            head.append(buffer.data(), count);
        }
    }

    void Answer(const LumTestServer::Socket& socket)
    {
        ReadHead(socket);
        std::string bytes;
        {
            const std::lock_guard<std::mutex> lock(mutex);
            bytes = answer;
        }
        socket.Send(bytes);
    }

    std::mutex mutex;
    std::string answer;
    LumTestServer::DualListener listener;
};

/// The server stands in for every other: it is the process's proxy, so no redirect leads anywhere else.
AnswerServer& startServer()
{
    auto& server = *new AnswerServer;
    const std::string proxy = "http://127.0.0.1:" + std::to_string(server.Port());
    for (const char* const variable : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
        setenv(variable, proxy.c_str(), 1);
    }
    unsetenv("no_proxy");
    unsetenv("NO_PROXY");
    return server;
}

AnswerServer& theServer()
{
    static AnswerServer& server = startServer();
    return server;
}

} // namespace

const bool AnswerSource::kIsProxy = true;

std::string AnswerSource::UrlOf(std::string_view answer)
{
    theServer().SetAnswer(answer);
    return "http://host.invalid/";
}

bool AnswerSource::IsForgottenSoon()
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(10);
    while (LumPlatform::HttpHandleTable::Instance().Count() > 0) {
        if (Clock::now() > end) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

} // namespace LumFuzz
