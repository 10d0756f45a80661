#pragma once

#include "platform/posix/winhttp/HttpMessage.h"
#include "platform/posix/winhttp/HttpSession.h"

#include <atomic>
#include <optional>
#include <string>
#include <vector>

namespace LumPlatform {

class HttpTransfer;

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

    bool IsStreaming() const override
    {
        const TransferState now = transferState;
        return now == TransferState::Streaming || now == TransferState::Paused;
    }
    void Close() override;

    /// The engine's, guarded by its mutex: what is to be done for this request, and the next with something to do.
    HttpCommands commands;
    std::shared_ptr<HttpRequest> nextCommanded;

    /// The driver's: the transfer that carries the request, and the next request that waits for one.
    HttpTransfer* transfer = nullptr;
    std::shared_ptr<HttpRequest> nextWaiting;

    // The engine's side, called by the thread that drives the transfers.

    const HttpMessage& Message() const { return message; }

    /// Copies a part of the body, as much as there is and the buffer holds. Nothing if the owner has closed the handle,
    /// after which the body may be gone.
    std::optional<std::size_t> ReadBody(std::size_t offset, char* buffer, std::size_t size);

    /// The request has gone out. Calls after the first have no effect.
    void OnSent();

    /// The response has begun. The block has CRLF line ends and ends in an empty line.
    void OnHeaders(DWORD status, std::string block);

    /// A part of the body has come. False if the reader has too much to read already: the transfer then pauses, and the
    /// engine is told when to bring the same part again.
    bool OnData(const char* data, std::size_t size);

    /// The transfer has ended, with 0 or an error number. It is the last call from the engine, and the request's body
    /// is not read after it.
    void OnFinished(DWORD error);

    bool HasFinished();

protected:
    void BeforeCreated() override;
    void OnClosed() override;

private:
    /// What the owner has had, and what it waits for.
    enum class OwnerState { Opened, Sending, Sent, Receiving, Received, QueryingData, ReadingData };

    /// How far the engine is.
    enum class TransferState {
        NotStarted,
        UnderWay,
        /// More of the body has come than a small response has.
        Streaming,
        /// It holds the transfer up until the owner has read what is there.
        Paused,
        /// The owner has closed the handle.
        Aborting,
        Ended,
    };

    void CompleteSend();
    void CompleteReceive();
    void CompletePending();
    void FailPending(DWORD error);
    void TakeArrived();
    void Release();
    bool HasHead() const { return statusCode != 0; }
    bool HasData() const { return readOffset < reading.size() || !arriving.empty(); }
    bool HasEnded() const { return transferState == TransferState::Ended; }
    bool AwaitsData() const { return ownerState == OwnerState::QueryingData || ownerState == OwnerState::ReadingData; }

    const std::shared_ptr<HttpConnection> connection;
    HttpMessage message;
    DWORD_PTR context = 0;

    OwnerState ownerState = OwnerState::Opened;
    /// Guarded by the mutex, but for IsStreaming.
    std::atomic<TransferState> transferState{TransferState::NotStarted};
    void* readBuffer = nullptr;
    DWORD readSize = 0;

    DWORD finishError = 0;
    /// 0 until the head has arrived.
    DWORD statusCode = 0;
    std::string headerBlock;
    std::size_t received = 0;

    /// What the engine has brought and the owner has not yet asked for.
    std::vector<char> arriving;
    /// What the owner was told to be available; only the owner's calls touch it.
    std::vector<char> reading;
    std::size_t readOffset = 0;
};

} // namespace LumPlatform
