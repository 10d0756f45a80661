#pragma once

#include "platform/posix/Descriptor.h"
#include "platform/posix/winhttp/HttpTransfer.h"

#include <chrono>
#include <cstdint>
#include <vector>

namespace LumPlatform {

/// Drives transfers on one curl multi handle; curl must be initialised while it lives. One thread at a time calls it,
/// but for Wake, which any thread may call.
class HttpDriver {
public:
    HttpDriver();
    ~HttpDriver();
    HttpDriver(const HttpDriver&) = delete;
    HttpDriver& operator=(const HttpDriver&) = delete;

    void Execute(const std::shared_ptr<HttpRequest>& request, const HttpCommands& commands);

    /// Waits until something happens on a socket, a timer ends, Wake is called or the limit (milliseconds, -1: none) is
    /// over, and carries the transfers on.
    void Drive(int limit);

    /// Carries on what is due now, such as transfers that have just been started, without looking at the sockets.
    void RunTimer();

    /// Ends the wait of Drive.
    void Wake();

    /// The number of transfers under way.
    std::size_t ActiveCount() const { return active.size(); }

private:
    using Clock = std::chrono::steady_clock;

    /// The events of one socket, as epoll has them: what curl wants now, and what epoll was told last.
    struct Registration {
        std::uint32_t wanted = 0;
        std::uint32_t registered = 0;
        /// A connection tells when it is closed; the sockets that curl uses for look-ups do not.
        bool isConnection = false;
    };

    static int OnSocket(CURL* easy, curl_socket_t socket, int what, void* self, void* socketData);
    static curl_socket_t OpenSocket(void* self, const curl_sockaddr& address);
    static int OnCloseSocket(void* self, curl_socket_t socket);
    static int OnTimer(CURLM* multi, long milliseconds, void* self);

    void Start(const std::shared_ptr<HttpRequest>& request);
    void Resume(const HttpRequest& request);
    void Abort(const HttpRequest& request);
    std::unique_ptr<HttpTransfer> TakeTransfer();
    HttpTransfer* Find(const HttpRequest& request) const;
    std::unique_ptr<HttpTransfer> Release(HttpTransfer& transfer);
    int WaitLimit(int limit) const;
    Registration* RegistrationOf(curl_socket_t socket);
    Registration& MakeRegistration(curl_socket_t socket);
    void RunAction(curl_socket_t socket, int events);
    void FailAll();
    void Watch(curl_socket_t socket, std::uint32_t wanted);
    void Unregister(Registration& registration, curl_socket_t socket);
    void OnReady(curl_socket_t socket, int events);
    void FinishEnded();
    void FollowRedirect(HttpTransfer& transfer);
    void AddToMulti(HttpTransfer& transfer);
    void AnnounceSent();

    const Descriptor epoll;
    const Descriptor wakeEvent;
    /// By socket. Closing connections needs it: it outlives what follows.
    std::vector<Registration> registrations;
    const std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> multi;
    bool hasTimer = false;
    Clock::time_point timerEnd;
    /// Whether there may be requests whose going out is not announced, and when to look.
    bool hasUnannounced = false;
    Clock::time_point announcementTime;
    /// In no order; each knows its place.
    std::vector<std::unique_ptr<HttpTransfer>> active;
    std::vector<std::unique_ptr<HttpTransfer>> idle;
};

} // namespace LumPlatform
