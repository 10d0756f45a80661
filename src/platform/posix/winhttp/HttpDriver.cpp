#include "platform/posix/winhttp/HttpDriver.h"

#include "platform/posix/winhttp/ConnectionLimit.h"

#include <algorithm>
#include <new>

namespace LumPlatform {

namespace {

/// Transfers that are kept for the next request.
constexpr std::size_t kMostIdleTransfers = 64;

/// That a request has gone out is only announced by itself if the answer takes longer than this; else it is announced
/// with the answer, which spares a hand-over between threads.
constexpr std::chrono::milliseconds kAnswerDelay{20};

/// Curl looks for dead connections once a second at most.
constexpr std::chrono::milliseconds kPruningInterval{1100};

CURLM* newMultiHandle()
{
    CURLM* const multi = curl_multi_init();
    if (multi == nullptr) {
        throw std::bad_alloc();
    }
    return multi;
}

} // namespace

HttpDriver::HttpDriver()
    : mostTransfers(connectionLimit()), now(Time::clock::now()), multi(newMultiHandle(), curl_multi_cleanup),
      pruner(multi.get())
{
    idle.reserve(kMostIdleTransfers);
    const auto mostConnections = static_cast<long>(mostTransfers);
    curl_multi_setopt(multi.get(), CURLMOPT_SOCKETFUNCTION, OnSocket);
    curl_multi_setopt(multi.get(), CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(multi.get(), CURLMOPT_TIMERFUNCTION, OnTimer);
    curl_multi_setopt(multi.get(), CURLMOPT_TIMERDATA, this);
    curl_multi_setopt(multi.get(), CURLMOPT_MAXCONNECTS, mostConnections);
    // Has curl close a kept connection where it would else have one more; the pruner's never comes to be.
    curl_multi_setopt(multi.get(), CURLMOPT_MAX_TOTAL_CONNECTIONS, mostConnections + 1);
}

HttpDriver::~HttpDriver()
{
    for (const std::unique_ptr<HttpTransfer>& transfer : active) {
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
    if (active.size() < mostTransfers) {
        StartTransfer(request);
    } else {
        waiting.Push(request);
    }
}

void HttpDriver::StartTransfer(std::shared_ptr<HttpRequest> request)
{
    try {
        std::unique_ptr<HttpTransfer> transfer = TakeTransfer();
        transfer->Begin(request, active.size());
        active.push_back(std::move(transfer));
    } catch (const std::bad_alloc&) {
        request->OnFinished(ERROR_NOT_ENOUGH_MEMORY);
        return;
    }
    request->transfer = active.back().get();
    AddToMulti(*active.back());
    alarmOfAnnouncement.SetBy(now + kAnswerDelay);
    alarmOfOverdue.SetBy(now + TransferClock::kLongestSilence);
}

void HttpDriver::StartWaiting()
{
    while (!waiting.IsEmpty() && active.size() < mostTransfers) {
        std::shared_ptr<HttpRequest> request = waiting.Pop();
        // It may have been closed meanwhile.
        if (!request->HasFinished()) {
            StartTransfer(std::move(request));
        }
    }
}

std::unique_ptr<HttpTransfer> HttpDriver::TakeTransfer()
{
    if (!idle.empty()) {
        std::unique_ptr<HttpTransfer> transfer = std::move(idle.back());
        idle.pop_back();
        return transfer;
    }
    return std::make_unique<HttpTransfer>(sockets, now);
}

void HttpDriver::Resume(const HttpRequest& request)
{
    HttpTransfer* const transfer = request.transfer;
    if (transfer == nullptr) {
        return;
    }
    transfer->OnResumed();
    // It hands over what the pause has kept, which may fail; curl then leaves the transfer as it is.
    const CURLcode result = curl_easy_pause(transfer->Easy(), CURLPAUSE_CONT);
    if (result != CURLE_OK) {
        Release(*transfer)->Finish(result);
    } else {
        alarmOfOverdue.SetBy(transfer->Due());
    }
}

void HttpDriver::Abort(HttpRequest& request)
{
    if (request.transfer != nullptr) {
        Release(*request.transfer)->Fail(ERROR_WINHTTP_OPERATION_CANCELLED);
    } else if (!request.HasFinished()) {
        request.OnFinished(ERROR_WINHTTP_OPERATION_CANCELLED);
    }
}

/// Takes the transfer out of the multi handle; its request is still in it.
std::unique_ptr<HttpTransfer> HttpDriver::Release(HttpTransfer& transfer)
{
    curl_multi_remove_handle(multi.get(), transfer.Easy());
    sockets.Keep(transfer.Socket(), now);
    transfer.Request().transfer = nullptr;
    const std::size_t place = transfer.Place();
    std::unique_ptr<HttpTransfer> released = std::move(active[place]);
    active[place] = std::move(active.back());
    active.pop_back();
    if (place < active.size()) {
        active[place]->SetPlace(place);
    }
    return released;
}

/// Has curl drive the transfer. What it cannot take up fails.
void HttpDriver::AddToMulti(HttpTransfer& transfer)
{
    if (curl_multi_add_handle(multi.get(), transfer.Easy()) != CURLM_OK) {
        Release(transfer)->Fail(ERROR_NOT_ENOUGH_MEMORY);
    }
}

void HttpDriver::Drive(int limit)
{
    SocketWatch::ReadySockets ready;
    const std::size_t count = sockets.Wait(WaitLimit(limit), ready);
    now = Time::clock::now();
    for (std::size_t index = 0; index < count; ++index) {
        RunAction(ready[index].socket, ready[index].events);
    }
    RunDue();
}

void HttpDriver::RunDue()
{
    now = Time::clock::now();
    if (alarmOfCurl.Rings(now)) {
        RunAction(CURL_SOCKET_TIMEOUT, 0);
    }
    FinishEnded();
    RingAlarms();
    StartWaiting();
}

void HttpDriver::RingAlarms()
{
    if (alarmOfAnnouncement.Rings(now)) {
        AnnounceSent();
    }
    if (alarmOfOverdue.Rings(now)) {
        FailOverdue();
    }
    if (sockets.NextRetirement() <= now) {
        sockets.RetireOld(now);
    }
    if (alarmOfPruning.Rings(now)) {
        CloseRetired();
    } else if (sockets.RetiredCount() > 0 && !alarmOfPruning.IsSet()) {
        alarmOfPruning.Set(now + kPruningInterval);
    }
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

/// How long to wait in milliseconds: not past the next alarm.
int HttpDriver::WaitLimit(int limit) const
{
    const Time end = std::min({alarmOfCurl.At(), alarmOfAnnouncement.At(), alarmOfOverdue.At(), alarmOfPruning.At(),
                               sockets.NextRetirement()});
    if (limit == 0 || end == Time::max()) {
        return limit;
    }
    if (end == Time::min()) {
        return 0;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Time::clock::now()).count();
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
        if (pruner.IsCarriedBy(message->easy_handle)) {
            pruner.OnEnded();
            continue;
        }
        const CURLcode result = message->data.result;
        void* ended = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &ended);
        FinishOne(*static_cast<HttpTransfer*>(ended), result);
    }
}

void HttpDriver::FinishOne(HttpTransfer& ended, CURLcode result)
{
    const HttpTransfer::Conclusion conclusion = ended.Conclude(result);
    if (conclusion != HttpTransfer::Conclusion::Finish) {
        GoOn(ended, conclusion);
        return;
    }
    std::unique_ptr<HttpTransfer> transfer = Release(ended);
    transfer->Finish(result);
    // What has failed may have left anything behind in its handle.
    if (result == CURLE_OK && idle.size() < kMostIdleTransfers) {
        idle.push_back(std::move(transfer));
    }
}

void HttpDriver::GoOn(HttpTransfer& transfer, HttpTransfer::Conclusion conclusion)
{
    curl_multi_remove_handle(multi.get(), transfer.Easy());
    sockets.Keep(transfer.Socket(), now);
    try {
        const bool isRedirect = conclusion == HttpTransfer::Conclusion::FollowRedirect;
        const DWORD error = isRedirect ? transfer.FollowRedirect() : transfer.BeginAgain();
        if (error != 0) {
            Release(transfer)->Fail(error);
            return;
        }
    } catch (const std::bad_alloc&) {
        Release(transfer)->Fail(ERROR_NOT_ENOUGH_MEMORY);
        return;
    }
    AddToMulti(transfer);
    alarmOfAnnouncement.SetBy(now + kAnswerDelay);
}

/// Looks again as long as there are requests that may still go out.
void HttpDriver::AnnounceSent()
{
    for (const std::unique_ptr<HttpTransfer>& transfer : active) {
        if (!transfer->AnnounceIfSent()) {
            alarmOfAnnouncement.Set(now + kAnswerDelay);
        }
    }
}

/// Fails the transfers that wait for too long, and looks again when the next one may.
void HttpDriver::FailOverdue()
{
    for (std::size_t place = active.size(); place > 0; --place) {
        HttpTransfer& transfer = *active[place - 1];
        if (transfer.Due() <= now) {
            Release(transfer)->Fail(ERROR_WINHTTP_TIMEOUT);
        }
    }
    if (!active.empty()) {
        alarmOfOverdue.Set(now + TransferClock::kLongestSilence);
    }
    for (const std::unique_ptr<HttpTransfer>& transfer : active) {
        alarmOfOverdue.SetBy(transfer->Due());
    }
}

/// Curl may have looked less than a second ago, and then closes nothing: it is asked until nothing is left.
void HttpDriver::CloseRetired()
{
    if (sockets.RetiredCount() > 0) {
        pruner.Start();
        alarmOfPruning.Set(now + kPruningInterval);
    }
}

int HttpDriver::OnSocket(CURL* easy, curl_socket_t socket, int what, void* self, void* /*socketData*/)
{
    auto& driver = *static_cast<HttpDriver*>(self);
    void* transfer = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &transfer);
    if (transfer != nullptr && what != CURL_POLL_REMOVE) {
        static_cast<HttpTransfer*>(transfer)->SetSocket(socket);
    }
    try {
        driver.sockets.Want(socket, what);
    } catch (const std::bad_alloc&) {
        // Connections have their place since they were opened. What is left are look-ups, which curl looks at from time
        // to time anyway.
        return 0;
    }
    return 0;
}

int HttpDriver::OnTimer(CURLM* /*multi*/, long milliseconds, void* self)
{
    Alarm& alarm = static_cast<HttpDriver*>(self)->alarmOfCurl;
    if (milliseconds < 0) {
        alarm.Clear();
    } else if (milliseconds == 0) {
        // Most alarms ring at once: those need no look at the clock.
        alarm.Set(Alarm::Time::min());
    } else {
        alarm.Set(Alarm::Time::clock::now() + std::chrono::milliseconds(milliseconds));
    }
    return 0;
}

} // namespace LumPlatform
