#include "platform/posix/winhttp/HttpEngine.h"

#include "platform/posix/HeldOverFork.h"

#include <chrono>
#include <new>
#include <system_error>
#include <utility>

#include <pthread.h>

namespace LumPlatform {

namespace {

/// How long the others may be held up before the watcher steps in.
constexpr std::chrono::milliseconds kLookInterval{2};

/// After so many looks without anything happening the watcher sleeps until it is woken.
constexpr int kMostQuietLooks = 25;

/// A thread that has rested for so long ends.
constexpr std::chrono::seconds kLongestRest{5};

/// One leads, one runs, one watches.
constexpr std::size_t kUsualThreads = 3;

/// As many callbacks may be held up at the same time.
constexpr std::size_t kMostThreads = 512;

/// How long the end of the process waits for callbacks that run.
constexpr std::chrono::seconds kLongestStop{5};

enum class Role { Outsider, Leader, Runner };
thread_local Role role = Role::Outsider;
thread_local bool isEngineThread = false;

/// For a copy of the process, which must not wait for the engine to be made by a thread that it does not have.
HttpEngine* theEngine = nullptr;

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
    holdOverFork(mutex);
    theEngine = this;
    pthread_atfork(nullptr, nullptr, [] { theEngine->OnForked(); });
}

void HttpEngine::OnForked()
{
    const std::lock_guard<std::mutex> lock(mutex);
    isForked = true;
    isStopping = true;
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
    if (isStopping) {
        return ERROR_WINHTTP_SHUTDOWN;
    }
    try {
        if (!driver) {
            driver = std::make_unique<HttpDriver>();
        }
    } catch (const std::exception&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    if (threadCount == 0) {
        AddThread();
    }
    return threadCount == 0 ? ERROR_NOT_ENOUGH_MEMORY : 0;
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
    if (isStopping) {
        return;
    }
    HttpCommands& commands = request->commands;
    const bool isQueued = commands.HasAny();
    commands.*command = true;
    if (!isQueued) {
        commanded.Push(std::move(request));
    }
    WakeForWork();
}

void HttpEngine::Schedule(std::shared_ptr<HttpHandle> handle)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (isStopping) {
        return;
    }
    ready.Push(std::move(handle));
    if (role == Role::Outsider) {
        WakeForWork();
    } else if (role == Role::Runner) {
        // It takes the handle up itself when its callback returns; the watcher sees to it that this is soon.
        EnsureWatched();
    }
}

/// Has new work taken up; the mutex is held. The leader is woken once for each of its sleeps, however much comes.
/// Without a leader a callback runs, after which its thread leads; the watcher sees to it that this is soon.
void HttpEngine::WakeForWork()
{
    if (!isLed) {
        EnsureWatched();
    } else if (isLeaderAsleep) {
        isLeaderAsleep = false;
        driver->Wake();
    }
}

void HttpEngine::EnsureWatched()
{
    if (isWatched) {
        if (isWatcherAsleep) {
            watching.notify_one();
        }
    } else if (restingCount > 0) {
        resting.notify_one();
    } else if (startingCount == 0) {
        AddThread();
    }
}

/// Adds a thread if the system has one; otherwise those that there are go on alone.
void HttpEngine::AddThread()
{
    if (threadCount == kMostThreads) {
        return;
    }
    std::list<Worker> added;
    try {
        added.emplace_back();
        Worker& worker = added.back();
        worker.thread = std::thread([this, &worker] { ThreadMain(worker); });
    } catch (const std::exception&) {
        return;
    }
    workers.splice(workers.end(), added);
    ++threadCount;
    ++startingCount;
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
    --startingCount;
    bool goesOn = true;
    while (goesOn && !isStopping) {
        goesOn = TakeStep(lock);
    }
    // A thread that ends is in nobody's way: it joins those before it.
    std::list<Worker> before = TakeEndedWorkers();
    --threadCount;
    self.hasEnded = true;
    ended.notify_all();
    lock.unlock();
    joinAll(before);
}

/// Does the next thing that there is to do; false if the thread may end.
bool HttpEngine::TakeStep(Lock& lock)
{
    const bool canLead = !isLed && driver;
    if (!ready.IsEmpty() && (!canLead || !ready.Front().IsStreaming())) {
        RunOne(lock);
        return true;
    }
    if (canLead) {
        Lead(lock);
        return true;
    }
    if (!isWatched) {
        Watch(lock);
        return true;
    }
    return Rest(lock);
}

void HttpEngine::RunOne(Lock& lock)
{
    std::shared_ptr<HttpHandle> handle = ready.Pop();
    ++runningCount;
    ++runCount;
    EnsureWatched();
    lock.unlock();
    role = Role::Runner;
    handle->Deliver();
    handle.reset();
    role = Role::Outsider;
    lock.lock();
    --runningCount;
}

void HttpEngine::Lead(Lock& lock)
{
    if (!ready.IsEmpty()) {
        WakeRunner();
    }
    runCountOfLead = runCount;
    isLed = true;
    ++leadCount;
    role = Role::Leader;
    ExecuteCommands(lock);
    const bool mayWait = commanded.IsEmpty() && ready.IsEmpty();
    isLeaderAsleep = mayWait;
    lock.unlock();
    driver->Drive(mayWait ? -1 : 0);
    role = Role::Outsider;
    lock.lock();
    isLeaderAsleep = false;
    isLed = false;
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
    driver->RunTimer();
    lock.lock();
}

/// Sees that somebody runs what is ready while this thread leads.
void HttpEngine::WakeRunner()
{
    // One that has taken nothing up since the last time is held up in a callback.
    const bool isSomebodyRunning = runningCount > 0 && runCount != runCountOfLead;
    if (!isSomebodyRunning && restingCount > 0) {
        resting.notify_one();
    } else if (runningCount == 0 && threadCount < kUsualThreads) {
        AddThread();
    } else {
        EnsureWatched();
    }
}

/// Looks whether work lies there that no thread takes up, because all are held up in callbacks.
void HttpEngine::Watch(Lock& lock)
{
    isWatched = true;
    int quietLooks = 0;
    bool isHeldUp = false;
    while (!isHeldUp && !isStopping) {
        const std::uint64_t leadsBefore = leadCount;
        const std::uint64_t runsBefore = runCount;
        isWatcherAsleep = quietLooks == kMostQuietLooks;
        if (isWatcherAsleep) {
            watching.wait(lock);
            quietLooks = 0;
        } else {
            watching.wait_for(lock, kLookInterval);
        }
        isWatcherAsleep = false;
        const bool hasLed = leadCount != leadsBefore;
        const bool hasRun = runCount != runsBefore;
        quietLooks = hasLed || hasRun ? 0 : quietLooks + 1;
        isHeldUp = (!hasRun && !ready.IsEmpty()) || (!hasLed && HasUnledWork());
    }
    isWatched = false;
}

/// Whether there are transfers to drive and nobody does.
bool HttpEngine::HasUnledWork() const
{
    return !isLed && driver && (!commanded.IsEmpty() || driver->ActiveCount() > 0);
}

bool HttpEngine::Rest(Lock& lock)
{
    ++restingCount;
    const bool isWoken = resting.wait_for(lock, kLongestRest) == std::cv_status::no_timeout;
    --restingCount;
    return isWoken || restingCount == 0 || !ready.IsEmpty() || HasUnledWork();
}

void HttpEngine::Stop()
{
    Lock lock(mutex);
    if (isForked) {
        // The threads are not here, and what the connections still say belongs to the process that they are in.
        return;
    }
    isStopping = true;
    resting.notify_all();
    watching.notify_all();
    if (driver) {
        driver->Wake();
    }
    const std::size_t remaining = isEngineThread ? 1 : 0;
    ended.wait_for(lock, kLongestStop, [&] { return threadCount <= remaining; });
    std::list<Worker> endedWorkers = TakeEndedWorkers();
    for (Worker& worker : workers) {
        worker.thread.detach();
    }
    lock.unlock();
    joinAll(endedWorkers);
    lock.lock();
    if (!isLed) {
        driver.reset();
        curl_global_cleanup();
    }
}

} // namespace LumPlatform
