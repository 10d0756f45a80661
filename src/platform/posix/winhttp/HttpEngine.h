#pragma once

#include "platform/posix/winhttp/EngineSchedule.h"
#include "platform/posix/winhttp/HttpDriver.h"
#include "platform/posix/winhttp/LinkedQueue.h"

#include <condition_variable>
#include <list>
#include <thread>

namespace LumPlatform {

/// The process's one engine: the transfers of all requests, and the threads that drive them and deliver their
/// notifications, each as EngineSchedule says.
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

    enum class Life { Running, Stopping, Forked };

    HttpEngine();

    DWORD Prepare();
    void Enqueue(std::shared_ptr<HttpRequest> request, bool HttpCommands::*command);
    EngineSchedule::Work Work() const;
    void Wake(EngineSchedule::Wake whom);
    void AddThread();
    std::list<Worker> TakeEndedWorkers();

    void ThreadMain(Worker& self);
    bool TakeStep(Lock& lock);
    void DeliverOne(Lock& lock);
    void Lead(Lock& lock);
    void ExecuteCommands(Lock& lock);
    void Watch(Lock& lock);
    bool Rest(Lock& lock);

    std::mutex mutex;
    std::condition_variable resting;
    std::condition_variable watching;
    std::condition_variable ended;

    Life life = Life::Running;
    EngineSchedule schedule;
    /// Made with the first request: what fails here fails that.
    std::unique_ptr<HttpDriver> driver;
    LinkedQueue<HttpRequest, &HttpRequest::nextCommanded> commanded;
    LinkedQueue<HttpHandle, &HttpHandle::nextReady> ready;
    std::list<Worker> workers;
};

} // namespace LumPlatform
