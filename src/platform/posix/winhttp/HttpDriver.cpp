#include "platform/posix/winhttp/HttpDriver.h"

#include <algorithm>
#include <new>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace LumPlatform {

namespace {

/// Connections that are kept open for the next request, to all servers together.
constexpr long kMostIdleConnections = 256;

/// Transfers that are kept for the next request.
constexpr std::size_t kMostIdleTransfers = 64;

/// That a request has gone out is only announced by itself if the answer takes longer than this; else it is announced
/// with the answer, which spares a hand-over between threads.
constexpr std::chrono::milliseconds kAnswerDelay{20};

constexpr int kEventsPerWait = 64;

/// The end of a timer that is over already.
constexpr std::chrono::steady_clock::time_point kNow = std::chrono::steady_clock::time_point::min();

CURLM* newMultiHandle()
{
    CURLM* const multi = curl_multi_init();
    if (multi == nullptr) {
        throw std::bad_alloc();
    }
    return multi;
}

std::uint32_t epollEvents(int what)
{
    switch (what) {
    case CURL_POLL_IN:
        return EPOLLIN;
    case CURL_POLL_OUT:
        return EPOLLOUT;
    case CURL_POLL_INOUT:
        return EPOLLIN | EPOLLOUT;
    default:
        return 0;
    }
}

int curlEvents(std::uint32_t events)
{
    int mask = 0;
    if ((events & (EPOLLIN | EPOLLHUP)) != 0) {
        mask |= CURL_CSELECT_IN;
    }
    if ((events & EPOLLOUT) != 0) {
        mask |= CURL_CSELECT_OUT;
    }
    if ((events & EPOLLERR) != 0) {
        mask |= CURL_CSELECT_ERR;
    }
    return mask;
}

} // namespace

HttpDriver::HttpDriver()
    : epoll(epoll_create1(EPOLL_CLOEXEC)), wakeEvent(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      multi(newMultiHandle(), curl_multi_cleanup)
{
    idle.reserve(kMostIdleTransfers);
    curl_multi_setopt(multi.get(), CURLMOPT_SOCKETFUNCTION, OnSocket);
    curl_multi_setopt(multi.get(), CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(multi.get(), CURLMOPT_TIMERFUNCTION, OnTimer);
    curl_multi_setopt(multi.get(), CURLMOPT_TIMERDATA, this);
    curl_multi_setopt(multi.get(), CURLMOPT_MAXCONNECTS, kMostIdleConnections);
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = wakeEvent.Get();
    epoll_ctl(epoll.Get(), EPOLL_CTL_ADD, wakeEvent.Get(), &event);
}

HttpDriver::~HttpDriver()
{
    for (const std::unique_ptr<HttpTransfer>& transfer : active) {
        // A name that is being looked up must not hold up the end of the process.
        curl_easy_setopt(transfer->Easy(), CURLOPT_QUICK_EXIT, 1L);
        curl_multi_remove_handle(multi.get(), transfer->Easy());
    }
}

void HttpDriver::Execute(const std::shared_ptr<HttpRequest>& request, const HttpCommands& commands)
{
    if (commands.start) {
        Start(request);
    }
    if (commands.resume) {
        Resume(*request);
    }
    if (commands.abort) {
        Abort(*request);
    }
}

void HttpDriver::Start(const std::shared_ptr<HttpRequest>& request)
{
    try {
        std::unique_ptr<HttpTransfer> transfer = TakeTransfer();
        transfer->Begin(request, active.size());
        active.push_back(std::move(transfer));
    } catch (const std::bad_alloc&) {
        request->OnFinished(ERROR_NOT_ENOUGH_MEMORY);
        return;
    }
    AddToMulti(*active.back());
    if (!hasUnannounced) {
        hasUnannounced = true;
        announcementTime = Clock::now() + kAnswerDelay;
    }
}

std::unique_ptr<HttpTransfer> HttpDriver::TakeTransfer()
{
    if (!idle.empty()) {
        std::unique_ptr<HttpTransfer> transfer = std::move(idle.back());
        idle.pop_back();
        return transfer;
    }
    return std::make_unique<HttpTransfer>(SocketCalls{this, OpenSocket, OnCloseSocket});
}

void HttpDriver::Resume(const HttpRequest& request)
{
    HttpTransfer* const transfer = Find(request);
    if (transfer == nullptr) {
        return;
    }
    // It hands over what the pause has kept, which may fail; curl then leaves the transfer as it is.
    const CURLcode result = curl_easy_pause(transfer->Easy(), CURLPAUSE_CONT);
    if (result != CURLE_OK) {
        Release(*transfer)->Finish(result);
    }
}

void HttpDriver::Abort(const HttpRequest& request)
{
    if (HttpTransfer* const transfer = Find(request)) {
        Release(*transfer)->Fail(ERROR_WINHTTP_OPERATION_CANCELLED);
    }
}

/// The request's transfer, or null if it has ended.
HttpTransfer* HttpDriver::Find(const HttpRequest& request) const
{
    const auto found = std::find_if(active.begin(), active.end(), [&](const std::unique_ptr<HttpTransfer>& transfer) {
        return &transfer->Request() == &request;
    });
    return found == active.end() ? nullptr : found->get();
}

/// Takes the transfer out of the multi handle; its request is still in it.
std::unique_ptr<HttpTransfer> HttpDriver::Release(HttpTransfer& transfer)
{
    curl_multi_remove_handle(multi.get(), transfer.Easy());
    const std::size_t place = transfer.Place();
    std::unique_ptr<HttpTransfer> released = std::move(active[place]);
    active[place] = std::move(active.back());
    active.pop_back();
    if (place < active.size()) {
        active[place]->SetPlace(place);
    }
    return released;
}

void HttpDriver::Drive(int limit)
{
    epoll_event events[kEventsPerWait];
    const int count = epoll_wait(epoll.Get(), events, kEventsPerWait, WaitLimit(limit));
    for (int index = 0; index < count; ++index) {
        if (events[index].data.fd == wakeEvent.Get()) {
            eventfd_t ignored = 0;
            eventfd_read(wakeEvent.Get(), &ignored);
        } else {
            OnReady(events[index].data.fd, curlEvents(events[index].events));
        }
    }
    RunTimer();
    if (hasUnannounced && Clock::now() >= announcementTime) {
        AnnounceSent();
    }
}

void HttpDriver::RunTimer()
{
    if (hasTimer && (timerEnd == kNow || Clock::now() >= timerEnd)) {
        hasTimer = false;
        RunAction(CURL_SOCKET_TIMEOUT, 0);
    }
    FinishEnded();
}

/// Has curl do what is due for the socket. If it lacks the memory for that it does not say for whom, and may never go
/// on with that transfer.
void HttpDriver::RunAction(curl_socket_t socket, int events)
{
    int running = 0;
    if (curl_multi_socket_action(multi.get(), socket, events, &running) == CURLM_OUT_OF_MEMORY) {
        FinishEnded();
        FailAll();
    }
}

void HttpDriver::FailAll()
{
    while (!active.empty()) {
        Release(*active.back())->Fail(ERROR_NOT_ENOUGH_MEMORY);
    }
}

void HttpDriver::Wake()
{
    eventfd_write(wakeEvent.Get(), 1);
}

void HttpDriver::OnReady(curl_socket_t socket, int events)
{
    Registration* const registration = RegistrationOf(socket);
    if (registration != nullptr && registration->wanted == 0) {
        // An idle connection that its server closes: nobody looks at it before its next use.
        Unregister(*registration, socket);
        return;
    }
    RunAction(socket, events);
}

/// How long to wait in milliseconds: not past the timer, nor past the next announcement.
int HttpDriver::WaitLimit(int limit) const
{
    if (limit == 0 || (!hasTimer && !hasUnannounced)) {
        return limit;
    }
    Clock::time_point end = Clock::time_point::max();
    if (hasTimer) {
        end = timerEnd;
    }
    if (hasUnannounced) {
        end = std::min(end, announcementTime);
    }
    if (end == kNow) {
        return 0;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    const int bounded = static_cast<int>(std::clamp<std::int64_t>(left, 0, 60000));
    return limit < 0 ? bounded : std::min(limit, bounded);
}

void HttpDriver::FinishEnded()
{
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(multi.get(), &left)) {
        if (message->msg != CURLMSG_DONE) {
            continue;
        }
        const CURLcode result = message->data.result;
        void* self = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &self);
        auto& ended = *static_cast<HttpTransfer*>(self);
        if (ended.EndedInRedirect(result)) {
            FollowRedirect(ended);
            continue;
        }
        std::unique_ptr<HttpTransfer> transfer = Release(ended);
        transfer->Finish(result);
        // What has failed may have left anything behind in its handle.
        if (result == CURLE_OK && idle.size() < kMostIdleTransfers) {
            idle.push_back(std::move(transfer));
        }
    }
}

void HttpDriver::FollowRedirect(HttpTransfer& transfer)
{
    curl_multi_remove_handle(multi.get(), transfer.Easy());
    try {
        transfer.GoOnToRedirect();
    } catch (const std::bad_alloc&) {
        Release(transfer)->Fail(ERROR_NOT_ENOUGH_MEMORY);
        return;
    }
    AddToMulti(transfer);
}

/// Has curl drive the transfer. What it cannot take up fails.
void HttpDriver::AddToMulti(HttpTransfer& transfer)
{
    if (curl_multi_add_handle(multi.get(), transfer.Easy()) != CURLM_OK) {
        Release(transfer)->Fail(ERROR_NOT_ENOUGH_MEMORY);
    }
}

void HttpDriver::AnnounceSent()
{
    hasUnannounced = false;
    for (const std::unique_ptr<HttpTransfer>& transfer : active) {
        if (!transfer->AnnounceIfSent()) {
            hasUnannounced = true;
        }
    }
    announcementTime = Clock::now() + kAnswerDelay;
}

int HttpDriver::OnSocket(CURL* /*easy*/, curl_socket_t socket, int what, void* self, void* /*socketData*/)
{
    auto& driver = *static_cast<HttpDriver*>(self);
    try {
        driver.Watch(socket, epollEvents(what));
    } catch (const std::bad_alloc&) {
        // Connections have their place since they were opened. What is left are look-ups, which curl looks at from time
        // to time anyway.
        return 0;
    }
    return 0;
}

/// Null for a socket that has none.
HttpDriver::Registration* HttpDriver::RegistrationOf(curl_socket_t socket)
{
    const auto index = static_cast<std::size_t>(socket);
    return index < registrations.size() ? &registrations[index] : nullptr;
}

HttpDriver::Registration& HttpDriver::MakeRegistration(curl_socket_t socket)
{
    const auto index = static_cast<std::size_t>(socket);
    if (registrations.size() <= index) {
        registrations.resize(index + 1);
    }
    return registrations[index];
}

/// A connection that is no longer wanted stays registered: it is most likely wanted again by the next request. Any
/// other socket may be closed next, and its number be given to a connection.
void HttpDriver::Watch(curl_socket_t socket, std::uint32_t wanted)
{
    Registration& registration = MakeRegistration(socket);
    registration.wanted = wanted;
    if (wanted == 0 && !registration.isConnection) {
        Unregister(registration, socket);
    }
    if (wanted == 0 || wanted == registration.registered) {
        return;
    }
    epoll_event event = {};
    event.events = wanted;
    event.data.fd = socket;
    epoll_ctl(epoll.Get(), registration.registered == 0 ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, socket, &event);
    registration.registered = wanted;
}

void HttpDriver::Unregister(Registration& registration, curl_socket_t socket)
{
    if (registration.registered != 0) {
        epoll_ctl(epoll.Get(), EPOLL_CTL_DEL, socket, nullptr);
        registration.registered = 0;
    }
}

/// Opens a socket for a connection, or returns CURL_SOCKET_BAD. Throws std::bad_alloc.
curl_socket_t HttpDriver::OpenSocket(void* self, const curl_sockaddr& address)
{
    const int opened = socket(address.family, address.socktype | SOCK_CLOEXEC, address.protocol);
    if (opened < 0) {
        return CURL_SOCKET_BAD;
    }
    try {
        static_cast<HttpDriver*>(self)->MakeRegistration(opened) = {0, 0, true};
    } catch (const std::bad_alloc&) {
        close(opened);
        throw;
    }
    return opened;
}

int HttpDriver::OnCloseSocket(void* self, curl_socket_t socket)
{
    if (Registration* const registration = static_cast<HttpDriver*>(self)->RegistrationOf(socket)) {
        *registration = Registration();
    }
    return close(socket);
}

int HttpDriver::OnTimer(CURLM* /*multi*/, long milliseconds, void* self)
{
    auto& driver = *static_cast<HttpDriver*>(self);
    driver.hasTimer = milliseconds >= 0;
    if (driver.hasTimer) {
        // Most timers end at once: those need no look at the clock.
        driver.timerEnd = milliseconds == 0 ? kNow : Clock::now() + std::chrono::milliseconds(milliseconds);
    }
    return 0;
}

} // namespace LumPlatform
