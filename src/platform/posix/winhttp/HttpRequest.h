#pragma once

#include "platform/posix/winhttp/HttpSession.h"

#include <atomic>
#include <string>
#include <vector>

namespace LumPlatform {

/// What the engine has to send for a request. It does not change once the request is submitted.
struct HttpMessage {
    std::string verb;
    /// The absolute URL, percent-encoded.
    std::string url;
    /// One "Name: value" each, without line ends.
    std::vector<std::string> headerLines;
    /// Owned by whoever sent the request, until it has been completed.
    const char* body = nullptr;
    DWORD bodyLength = 0;
    DWORD connectTimeout = 60000;
    bool followsRedirects = true;
};

/// What the engine is still to do for a request, in this order.
struct HttpCommands {
    bool start = false;
    bool resume = false;
    bool abort = false;

    bool HasAny() const { return start || resume || abort; }
};

/// A request: the calls of its owner on one side, the engine's transfer on the other. The engine's side never calls the
/// owner; it queues notifications.
class HttpRequest : public HttpHandle {
public:
    /// Counted as a child of the connection by whoever opens it.
    HttpRequest(std::shared_ptr<HttpConnection> connection, std::string verb, const std::string& objectName,
                bool isSecure);

    // The owner's side. Each returns 0, or the error number with which the call fails.

    DWORD SetConnectTimeout(DWORD milliseconds);
    DWORD SetFollowsRedirects(bool followsRedirects);
    DWORD Send(std::vector<std::string> headerLines, const void* body, DWORD bodyLength, DWORD_PTR context);
    DWORD ReceiveResponse();
    DWORD QueryDataAvailable();
    DWORD Read(void* buffer, DWORD size);
    DWORD QueryStatus(DWORD& status);

    /// Writes the raw header block and a NUL. The size is in bytes and becomes what was written, without the NUL, or
    /// what is needed, with it, if the buffer is null or too small.
    DWORD QueryRawHeaders(WCHAR* buffer, DWORD& size);

    bool IsStreaming() const override { return isStreaming; }
    void Close() override;

    /// The engine's, guarded by its mutex: what is to be done for this request, and the next with something to do.
    HttpCommands commands;
    std::shared_ptr<HttpRequest> nextCommanded;

    // The engine's side, called by the thread that drives the transfers.

    const HttpMessage& Message() const { return message; }

    /// The request has gone out: its body is not read any more, but for a redirect that repeats it.
    void OnSent();

    /// The response has begun. The block has CRLF line ends and ends in an empty line.
    void OnHeaders(DWORD status, std::string block);

    /// A part of the body has come. False if the reader has too much to read already: the transfer then pauses, and the
    /// engine is told when to bring the same part again.
    bool OnData(const char* data, std::size_t size);

    /// The transfer has ended, with 0 or an error number. It is the last call from the engine, and the request's body
    /// is not read after it.
    void OnFinished(DWORD error);

protected:
    void BeforeCreated() override;
    void OnClosed() override;

private:
    enum class State { Opened, Sending, Sent, Receiving, Received };
    enum class Pending { Nothing, QueryData, ReadData };

    void CompleteSend();
    void CompleteReceive();
    void CompletePending();
    void FailPending(DWORD error);
    bool HasData() const { return readOffset < reading.size() || !arriving.empty(); }
    void TakeArrived();
    DWORD RequireReceived() const;

    const std::shared_ptr<HttpConnection> connection;
    HttpMessage message;
    DWORD_PTR context = 0;

    State state = State::Opened;
    Pending pending = Pending::Nothing;
    void* readBuffer = nullptr;
    DWORD readSize = 0;

    bool isSubmitted = false;
    bool hasHeaders = false;
    bool isFinished = false;
    bool isPaused = false;
    std::atomic<bool> isStreaming{false};
    std::size_t received = 0;
    bool isClosing = false;
    DWORD finishError = 0;

    DWORD statusCode = 0;
    std::string headerBlock;

    /// What the engine has brought and the owner has not yet asked for.
    std::vector<char> arriving;
    /// What the owner was told to be available; only the owner's calls touch it.
    std::vector<char> reading;
    std::size_t readOffset = 0;
};

} // namespace LumPlatform
