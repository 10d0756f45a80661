#pragma once

#include "platform/posix/winhttp/HttpDriver.h"
#include "platform/posix/winhttp/LinkedQueue.h"

#include <condition_variable>
#include <cstdint>
#include <list>
#include <thread>

namespace LumPlatform {

/// The process's one engine: the transfers of all requests, and the threads that drive them and deliver their
/// notifications.
///
/// Each thread is in one of these roles:
/// - one leads: it drives the transfers, and sleeps while nothing happens on their sockets;
/// - some run: each delivers the notifications of one handle after the other;
/// - one watches: it looks every few milliseconds whether the others get on, and steps in when all of them are held up
/// in
///   callbacks, so a callback may take its time;
/// - the others rest, and end when they have rested for long.
///
/// The leader lets go of its role and delivers the notifications of a finished transfer itself: a small response is
/// never handed from thread to thread. Those of a body that is still arriving are left to a runner, while the leader
/// goes on.
class HttpEngine {
public:
    /// Throws std::bad_alloc if it has to be made and cannot be; after that never.
    static HttpEngine& Instance();

    /// Starts the transfer of the request. Returns 0, or the error number if it cannot be started: the engine has
    /// stopped, or the system lacks memory, descriptors or threads.
    DWORD Submit(std::shared_ptr<HttpRequest> request);

    /// The reader of a request whose transfer paused wants more.
    void Resume(std::shared_ptr<HttpRequest> request);

    /// The request was closed: its transfer ends.
    void Abort(std::shared_ptr<HttpRequest> request);

    /// Has a thread call the handle's Deliver soon.
    void Schedule(std::shared_ptr<HttpHandle> handle);

    /// The process is a copy of another, without its threads and with its connections: nothing may be done to them.
    void OnForked();

    /// Ends all threads; no callback starts any more. Requests under way are never completed. Waits for callbacks that
    /// run, but not for ever, and not for the one that calls.
    void Stop();

private:
    using Lock = std::unique_lock<std::mutex>;

    struct Worker {
        std::thread thread;
        bool hasEnded = false;
    };

    HttpEngine();

    DWORD Prepare();
    void Enqueue(std::shared_ptr<HttpRequest> request, bool HttpCommands::*command);
    void WakeForWork();
    void EnsureWatched();
    void AddThread();
    std::list<Worker> TakeEndedWorkers();

    void ThreadMain(Worker& self);
    bool TakeStep(Lock& lock);
    void RunOne(Lock& lock);
    void Lead(Lock& lock);
    void ExecuteCommands(Lock& lock);
    void WakeRunner();
    void Watch(Lock& lock);
    bool Rest(Lock& lock);
    bool HasUnledWork() const;

    std::mutex mutex;
    std::condition_variable resting;
    std::condition_variable watching;
    std::condition_variable ended;

    /// Made with the first request: what fails here fails that.
    std::unique_ptr<HttpDriver> driver;
    LinkedQueue<HttpRequest, &HttpRequest::nextCommanded> commanded;
    LinkedQueue<HttpHandle, &HttpHandle::nextReady> ready;

    std::list<Worker> workers;
    std::size_t threadCount = 0;
    std::size_t startingCount = 0;
    std::size_t restingCount = 0;
    std::size_t runningCount = 0;
    bool isLed = false;
    bool isLeaderAsleep = false;
    bool isWatched = false;
    bool isWatcherAsleep = false;
    bool isStopping = false;
    bool isForked = false;

    /// How often a thread has led, and how often one has run a handle: the watcher compares them from one look to the
    /// next.
    std::uint64_t leadCount = 0;
    std::uint64_t runCount = 0;
    /// The number of runs when the leader last looked.
    std::uint64_t runCountOfLead = 0;
};

} // namespace LumPlatform
