#include "platform/posix/winhttp/HttpEngine.h"

#include <chrono>
#include <system_error>

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

} // namespace

HttpEngine& HttpEngine::Instance()
{
    // The engine is never destroyed: requests under way when the process ends stay as they are. Only its threads end,
    // at exit or when the library is unloaded.
    static HttpEngine& engine = *new HttpEngine;
    struct Stopper {
        ~Stopper() { engine.Stop(); }
    };
    static const Stopper stopper;
    return engine;
}

bool HttpEngine::Submit(std::shared_ptr<HttpRequest> request)
{
    return Enqueue({HttpDriver::Action::Start, std::move(request)});
}

void HttpEngine::Resume(std::shared_ptr<HttpRequest> request)
{
    Enqueue({HttpDriver::Action::Resume, std::move(request)});
}

void HttpEngine::Abort(std::shared_ptr<HttpRequest> request)
{
    Enqueue({HttpDriver::Action::Abort, std::move(request)});
}

bool HttpEngine::Enqueue(HttpDriver::Command command)
{
    bool wakesLeader = false;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (isStopping) {
            return false;
        }
        commands.push_back(std::move(command));
        wakesLeader = NeedsWakeUp();
    }
    if (wakesLeader) {
        driver->Wake();
    }
    return true;
}

void HttpEngine::Schedule(std::shared_ptr<HttpHandle> handle)
{
    bool wakesLeader = false;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (isStopping) {
            return;
        }
        ready.push_back(std::move(handle));
        // A thread of the engine takes it up itself when it is done with what it does.
        wakesLeader = role == Role::Outsider && NeedsWakeUp();
    }
    if (wakesLeader) {
        driver->Wake();
    }
}

/// Whether the leader must be woken for new work: once for each of its sleeps, however much comes. Without a leader a
/// callback runs, after which its thread leads; the watcher sees to it that this is soon. The mutex is held.
bool HttpEngine::NeedsWakeUp()
{
    if (!isLed) {
        EnsureWatched();
        return false;
    }
    const bool wasAsleep = isLeaderAsleep;
    isLeaderAsleep = false;
    return wasAsleep;
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

void HttpEngine::AddThread()
{
    JoinEndedThreads();
    if (threadCount == kMostThreads) {
        return;
    }
    workers.emplace_back();
    Worker& worker = workers.back();
    try {
        worker.thread = std::thread([this, &worker] { ThreadMain(worker); });
        ++threadCount;
        ++startingCount;
    } catch (const std::system_error&) {
        // The threads that there are go on alone.
        workers.pop_back();
    }
}

void HttpEngine::JoinEndedThreads()
{
    for (auto worker = workers.begin(); worker != workers.end();) {
        if (!worker->hasEnded) {
            ++worker;
            continue;
        }
        worker->thread.join();
        worker = workers.erase(worker);
    }
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
    --threadCount;
    self.hasEnded = true;
    ended.notify_all();
}

/// Does the next thing that there is to do; false if the thread may end.
bool HttpEngine::TakeStep(Lock& lock)
{
    if (!ready.empty() && (isLed || !ready.front()->IsStreaming())) {
        RunOne(lock);
        return true;
    }
    if (!isLed) {
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
    std::shared_ptr<HttpHandle> handle = std::move(ready.front());
    ready.pop_front();
    ++runningCount;
    ++progress;
    EnsureWatched();
    lock.unlock();
    role = Role::Runner;
    handle->Deliver();
    handle.reset();
    role = Role::Outsider;
    lock.lock();
    --runningCount;
    ++progress;
}

void HttpEngine::Lead(Lock& lock)
{
    if (!ready.empty()) {
        WakeRunner();
    }
    executing.swap(commands);
    const bool mayWait = executing.empty();
    isLed = true;
    isLeaderAsleep = mayWait;
    ++progress;
    lock.unlock();
    role = Role::Leader;
    for (const HttpDriver::Command& command : executing) {
        driver->Execute(command);
    }
    // A request may die with its command: never under the lock.
    executing.clear();
    driver->Drive(mayWait ? -1 : 0);
    role = Role::Outsider;
    lock.lock();
    isLeaderAsleep = false;
    isLed = false;
    ++progress;
}

/// Sees that somebody runs what is ready while this thread leads.
void HttpEngine::WakeRunner()
{
    if (runningCount == 0 && restingCount > 0) {
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
        const std::uint64_t progressBefore = progress;
        isWatcherAsleep = quietLooks == kMostQuietLooks;
        if (isWatcherAsleep) {
            watching.wait(lock);
            quietLooks = 0;
        } else {
            watching.wait_for(lock, kLookInterval);
        }
        isWatcherAsleep = false;
        const bool isQuiet = progress == progressBefore;
        quietLooks = isQuiet ? quietLooks + 1 : 0;
        isHeldUp = isQuiet && HasWork();
    }
    isWatched = false;
}

/// Whether there is anything that a further thread could take up.
bool HttpEngine::HasWork() const
{
    return !ready.empty() || (!isLed && (!commands.empty() || driver->ActiveCount() > 0));
}

bool HttpEngine::Rest(Lock& lock)
{
    ++restingCount;
    const bool isWoken = resting.wait_for(lock, kLongestRest) == std::cv_status::no_timeout;
    --restingCount;
    return isWoken || HasWork() || restingCount == 0;
}

void HttpEngine::Stop()
{
    Lock lock(mutex);
    isStopping = true;
    resting.notify_all();
    watching.notify_all();
    driver->Wake();
    const std::size_t remaining = isEngineThread ? 1 : 0;
    ended.wait_for(lock, kLongestStop, [&] { return threadCount <= remaining; });
    JoinEndedThreads();
    for (Worker& worker : workers) {
        worker.thread.detach();
    }
    if (!isLed) {
        driver.reset();
    }
}

} // namespace LumPlatform
