#pragma once

#include "platform/posix/winhttp/Alarm.h"
#include "platform/posix/winhttp/ConnectionPruner.h"
#include "platform/posix/winhttp/HttpTransfer.h"
#include "platform/posix/winhttp/LinkedQueue.h"
#include "platform/posix/winhttp/SocketWatch.h"

#include <memory>
#include <vector>

namespace LumPlatform {

/// Drives transfers on one curl multi handle; curl must be initialised while it lives. One thread at a time calls it,
/// but for Wake, which any thread may call.
///
/// It has as many transfers under way as the process may have connections; further requests wait for their turn.
class HttpDriver {
public:
    HttpDriver();
    ~HttpDriver();
    HttpDriver(const HttpDriver&) = delete;
    HttpDriver& operator=(const HttpDriver&) = delete;

    void Execute(const std::shared_ptr<HttpRequest>& request, const HttpCommands& commands);

    /// Waits up to so many milliseconds, or without a bound for -1, until something is to be done, and does it.
    void Drive(int limit);

    /// Does what is due without looking at the sockets: transfers that were started begin.
    void RunDue();

    /// Ends the wait of Drive.
    void Wake() { sockets.Wake(); }

    /// Whether there are transfers to drive.
    bool HasTransfers() const { return !active.empty(); }

private:
    using Time = Alarm::Time;

    static int OnSocket(CURL* easy, curl_socket_t socket, int what, void* self, void* socketData);
    static int OnTimer(CURLM* multi, long milliseconds, void* self);

    void Start(const std::shared_ptr<HttpRequest>& request);
    void StartTransfer(std::shared_ptr<HttpRequest> request);
    void StartWaiting();
    void Resume(const HttpRequest& request);
    void Abort(HttpRequest& request);
    std::unique_ptr<HttpTransfer> TakeTransfer();
    std::unique_ptr<HttpTransfer> Release(HttpTransfer& transfer);
    void AddToMulti(HttpTransfer& transfer);
    void GoOn(HttpTransfer& transfer, HttpTransfer::Conclusion conclusion);

    int WaitLimit(int limit) const;
    void RunAction(curl_socket_t socket, int events);
    void FinishEnded();
    void FinishOne(HttpTransfer& ended, CURLcode result);
    void FailAll();

    void RingAlarms();
    void AnnounceSent();
    void FailOverdue();
    void CloseRetired();

    const std::size_t mostTransfers;
    Time now;
    /// Closing connections needs it: it outlives what follows.
    SocketWatch sockets;
    const std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> multi;
    ConnectionPruner pruner;

    Alarm alarmOfCurl;
    /// When to look which requests have gone out.
    Alarm alarmOfAnnouncement;
    /// When to look which transfers wait for too long.
    Alarm alarmOfOverdue;
    /// When to have curl close the connections that were retired.
    Alarm alarmOfPruning;

    /// In no order; each knows its place.
    std::vector<std::unique_ptr<HttpTransfer>> active;
    std::vector<std::unique_ptr<HttpTransfer>> idle;
    LinkedQueue<HttpRequest, &HttpRequest::nextWaiting> waiting;
};

} // namespace LumPlatform
