#include "Windows/networking/WinHttpClientAsync.h"
#include "fuzz/FuzzTargets.h"
#include "platform/posix/winhttp/HttpHandleTable.h"
#include "support/RequestRecorder.h"
#include "support/server/DualListener.h"

#include <array>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <thread>

namespace {

using LumNetworking::HttpRequestResult;
using namespace LumTests;

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

bool isEmptySoon()
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

void expectWhole(const Outcome& outcome)
{
    switch (outcome.result) {
    case HttpRequestResult::SUCCESS:
        LumFuzz::expect(outcome.response && !outcome.error, "a success has a response and no error");
        LumFuzz::expect(outcome.response->statusCode >= 100 && outcome.response->statusCode <= 999,
                        "a status has three digits");
        return;
    case HttpRequestResult::FAILED:
        LumFuzz::expect(!outcome.response && outcome.error, "a failure has an error and no response");
        LumFuzz::expect(outcome.error->getCode() == 13, "what is received fails with code 13");
        return;
    default:
        throw LumFuzz::BrokenPromise("nobody has cancelled");
    }
}

Outcome outcomeOf(const std::string& url)
{
    const RequestRecorder recorder;
    {
        LumNetworking::WinHttpClientAsync client(nullptr);
        LumFuzz::expect(client.Get(url, {}, recorder.Completion(), true, 20) != nullptr, "a request starts");
    }
    Outcome outcome = recorder.WaitForOutcome();
    recorder.WaitForRelease();
    LumFuzz::expect(recorder.CallCount() == 1, "a request is completed once");
    LumFuzz::expect(isEmptySoon(), "every handle is closed");
    return outcome;
}

} // namespace

/// The input is all that a server sends before it closes the connection: as the answer to a request, and as that of a
/// proxy which is asked for a tunnel. One that opens the tunnel is left out: the certificates that are read then take
/// longer than a hundred inputs.
void LumFuzz::response(std::string_view input)
{
    theServer().SetAnswer(input);
    expectWhole(outcomeOf("http://host.invalid/"));
    if (input.find(" 2") != std::string_view::npos) {
        return;
    }
    const Outcome refused = outcomeOf("https://host.invalid/");
    expectWhole(refused);
    expect(refused.result == HttpRequestResult::FAILED, "nothing comes from a server that was not reached");
}
