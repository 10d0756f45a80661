#include "platform/posix/winhttp/HttpEngine.h"

#include "platform/posix/HeldOverFork.h"
#include "platform/posix/winhttp/SignalBlock.h"

#include <chrono>
#include <new>
#include <system_error>
#include <utility>

#include <pthread.h>

namespace LumPlatform {

namespace {

/// How long the others may be held up before the watcher steps in.
constexpr std::chrono::milliseconds kLookInterval{2};

/// A thread that has rested for so long ends.
constexpr std::chrono::seconds kLongestRest{5};

/// As many callbacks may be held up at the same time.
constexpr std::size_t kMostThreads = 512;

/// How long the end of the process waits for callbacks that run.
constexpr std::chrono::seconds kLongestStop{5};

thread_local EngineSchedule::Role role = EngineSchedule::Role::Outsider;
thread_local bool isEngineThread = false;

/// For a copy of the process, which must not wait for the engine to be made by a thread that it does not have.
HttpEngine* theEngine = nullptr;

/// A look-up of a name that nobody waits for any more goes on in a thread of curl's: curl must not be unloaded under
/// it.
void keepCurlLoaded()
{
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<const WCHAR*>(&curl_easy_init), &module);
}

template <typename Workers>
void joinAll(Workers& workers)
{
    for (auto& worker : workers) {
        worker.thread.join();
    }
}

} // namespace

HttpEngine& HttpEngine::Instance()
{
    // The engine is never destroyed: requests under way when the process ends stay as they are. Only its threads end,
    // at exit or when the library is unloaded.
    static HttpEngine& engine = *new HttpEngine;
    // What curl registers for the end of the process comes before this, and so runs after it: the threads end first.
    struct Stopper {
        ~Stopper() { engine.Stop(); }
    };
    static const Stopper stopper;
    return engine;
}

HttpEngine::HttpEngine()
{
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        throw std::bad_alloc();
    }
    keepCurlLoaded();
    holdOverFork(mutex);
    theEngine = this;
    pthread_atfork(nullptr, nullptr, [] { theEngine->OnForked(); });
}

void HttpEngine::OnForked()
{
    const std::lock_guard<std::mutex> lock(mutex);
    life = Life::Forked;
}

DWORD HttpEngine::Submit(std::shared_ptr<HttpRequest> request)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (const DWORD error = Prepare(); error != 0) {
        return error;
    }
    Enqueue(std::move(request), &HttpCommands::start);
    return 0;
}

/// Sees that there is what a transfer needs; the mutex is held.
DWORD HttpEngine::Prepare()
{
    if (life != Life::Running) {
        return ERROR_WINHTTP_SHUTDOWN;
    }
    try {
        if (!driver) {
            driver = std::make_unique<HttpDriver>();
        }
    } catch (const std::exception&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    if (schedule.ThreadCount() == 0) {
        AddThread();
    }
    return schedule.ThreadCount() == 0 ? ERROR_NOT_ENOUGH_MEMORY : 0;
}

void HttpEngine::Resume(std::shared_ptr<HttpRequest> request)
{
    const std::lock_guard<std::mutex> lock(mutex);
    Enqueue(std::move(request), &HttpCommands::resume);
}

void HttpEngine::Abort(std::shared_ptr<HttpRequest> request)
{
    const std::lock_guard<std::mutex> lock(mutex);
    Enqueue(std::move(request), &HttpCommands::abort);
}

/// Notes what the leader is to do; the mutex is held.
void HttpEngine::Enqueue(std::shared_ptr<HttpRequest> request, bool HttpCommands::*command)
{
    if (life != Life::Running) {
        return;
    }
    HttpCommands& commands = request->commands;
    const bool isQueued = commands.HasAny();
    commands.*command = true;
    if (!isQueued) {
        commanded.Push(std::move(request));
    }
    Wake(schedule.OnCommand());
}

void HttpEngine::Schedule(std::shared_ptr<HttpHandle> handle)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (life != Life::Running) {
        return;
    }
    ready.Push(std::move(handle));
    Wake(schedule.OnReady(role));
}

/// What there is to be done; the mutex is held.
EngineSchedule::Work HttpEngine::Work() const
{
    EngineSchedule::Work work;
    if (!ready.IsEmpty()) {
        work.ready = ready.Front().IsStreaming() ? EngineSchedule::Ready::Streaming : EngineSchedule::Ready::Complete;
    }
    work.hasCommands = !commanded.IsEmpty();
    work.canDrive = driver != nullptr;
    // The driver is the leader's while there is one.
    work.hasTransfers = work.canDrive && !schedule.IsLed() && driver->HasTransfers();
    return work;
}

/// The mutex is held.
void HttpEngine::Wake(EngineSchedule::Wake whom)
{
    switch (whom) {
    case EngineSchedule::Wake::Leader:
        driver->Wake();
        break;
    case EngineSchedule::Wake::Watcher:
        watching.notify_one();
        break;
    case EngineSchedule::Wake::Follower:
        resting.notify_one();
        break;
    case EngineSchedule::Wake::NewThread:
        AddThread();
        break;
    default:
        break;
    }
}

/// Adds a thread if the system has one; otherwise those that there are go on alone.
void HttpEngine::AddThread()
{
    if (schedule.ThreadCount() == kMostThreads) {
        return;
    }
    std::list<Worker> added;
    try {
        added.emplace_back();
        Worker& worker = added.back();
        const SignalBlock signals;
        worker.thread = std::thread([this, &worker] { ThreadMain(worker); });
    } catch (const std::exception&) {
        return;
    }
    workers.splice(workers.end(), added);
    schedule.OnThreadAdded();
}

/// The threads that have nothing more to do here. They are joined without the mutex: what they leave behind may be the
/// host's, whose destructors may call the library.
std::list<HttpEngine::Worker> HttpEngine::TakeEndedWorkers()
{
    std::list<Worker> taken;
    for (auto worker = workers.begin(); worker != workers.end();) {
        const auto current = worker++;
        if (current->hasEnded) {
            taken.splice(taken.end(), workers, current);
        }
    }
    return taken;
}

void HttpEngine::ThreadMain(Worker& self)
{
    isEngineThread = true;
    Lock lock(mutex);
    schedule.OnThreadStarted();
    bool goesOn = true;
    while (goesOn && life == Life::Running) {
        goesOn = TakeStep(lock);
    }
    // A thread that ends is in nobody's way: it joins those before it.
    std::list<Worker> before = TakeEndedWorkers();
    schedule.OnThreadEnded();
    self.hasEnded = true;
    ended.notify_all();
    lock.unlock();
    joinAll(before);
}

/// Does the next thing that there is to do; false if the thread may end.
bool HttpEngine::TakeStep(Lock& lock)
{
    switch (schedule.NextStep(Work())) {
    case EngineSchedule::Step::Deliver:
        DeliverOne(lock);
        return true;
    case EngineSchedule::Step::Lead:
        Lead(lock);
        return true;
    case EngineSchedule::Step::Watch:
        Watch(lock);
        return true;
    default:
        return Rest(lock);
    }
}

void HttpEngine::DeliverOne(Lock& lock)
{
    std::shared_ptr<HttpHandle> handle = ready.Pop();
    Wake(schedule.OnDeliveryBegins());
    lock.unlock();
    role = EngineSchedule::Role::Runner;
    handle->Deliver();
    handle.reset();
    role = EngineSchedule::Role::Outsider;
    lock.lock();
    schedule.OnDeliveryEnds();
}

void HttpEngine::Lead(Lock& lock)
{
    Wake(schedule.OnLeadBegins(Work()));
    role = EngineSchedule::Role::Leader;
    ExecuteCommands(lock);
    const bool maySleep = schedule.OnDriveBegins(Work());
    lock.unlock();
    driver->Drive(maySleep ? -1 : 0);
    role = EngineSchedule::Role::Outsider;
    lock.lock();
    schedule.OnLeadEnds();
}

void HttpEngine::ExecuteCommands(Lock& lock)
{
    if (commanded.IsEmpty()) {
        return;
    }
    // What comes meanwhile has its turn the next time.
    const HttpRequest* const last = &commanded.Back();
    bool isLast = false;
    while (!isLast) {
        std::shared_ptr<HttpRequest> request = commanded.Pop();
        const HttpCommands commands = std::exchange(request->commands, {});
        isLast = request.get() == last;
        lock.unlock();
        driver->Execute(request, commands);
        // It may die with its command: never under the lock.
        request.reset();
        lock.lock();
    }
    lock.unlock();
    driver->RunDue();
    lock.lock();
}

/// Looks whether work lies there that no thread takes up, because all are held up in callbacks.
void HttpEngine::Watch(Lock& lock)
{
    schedule.OnWatchBegins();
    bool isHeldUp = false;
    while (!isHeldUp && life == Life::Running) {
        if (schedule.OnLookBegins() == EngineSchedule::Look::WhenWoken) {
            watching.wait(lock);
        } else {
            watching.wait_for(lock, kLookInterval);
        }
        isHeldUp = schedule.OnLookEnds(Work());
    }
    schedule.OnWatchEnds();
}

bool HttpEngine::Rest(Lock& lock)
{
    schedule.OnRestBegins();
    const bool isWoken = resting.wait_for(lock, kLongestRest) == std::cv_status::no_timeout;
    return schedule.OnRestEnds(isWoken, Work());
}

void HttpEngine::Stop()
{
    Lock lock(mutex);
    if (life == Life::Forked) {
        // The threads are not here, and what the connections still say belongs to the process that they are in.
        return;
    }
    life = Life::Stopping;
    resting.notify_all();
    watching.notify_all();
    if (driver) {
        driver->Wake();
    }
    const std::size_t remaining = isEngineThread ? 1 : 0;
    ended.wait_for(lock, kLongestStop, [&] { return schedule.ThreadCount() <= remaining; });
    std::list<Worker> endedWorkers = TakeEndedWorkers();
    for (Worker& worker : workers) {
        worker.thread.detach();
    }
    lock.unlock();
    joinAll(endedWorkers);
    lock.lock();
    if (!schedule.IsLed()) {
        driver.reset();
        curl_global_cleanup();
    }
}

} // namespace LumPlatform
