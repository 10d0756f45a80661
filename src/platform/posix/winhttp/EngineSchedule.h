#pragma once

#include <cstddef>
#include <cstdint>

namespace LumPlatform {

/// Decides what the engine's threads do: a state machine that knows neither threads nor time. The engine tells it each
/// event under its mutex, and does what it answers.
///
/// The threads follow the leader/followers pattern. Each is in one of these roles:
/// - the leader drives the transfers, and sleeps while nothing happens on their sockets. It lets go of its role and
///   delivers the notifications of a finished transfer itself, so that a small response is never handed from thread to
///   thread;
/// - a runner delivers the notifications of one handle after the other. Those of a body that is still arriving are left
///   to runners while the leader goes on;
/// - the watcher looks every few milliseconds whether the others get on, and takes a role up when all of them are held
///   up in callbacks, so a callback may take its time;
/// - followers rest until they are woken, and end when they have rested for long.
///
/// | invariant                                                                                                      |
/// |----------------------------------------------------------------------------------------------------------------|
/// | At most one thread leads, and at most one watches.                                                              |
/// | While the leader sleeps there is no command, and no handle was ready when it went to sleep.                     |
/// | New work wakes the sleeping leader once; without a leader it wakes the watcher, a follower or a new thread.     |
/// | Work that no thread takes up for one look of the watcher is taken up by the watcher.                            |
/// | The watcher sleeps only after looks in which nothing happened, and any work for which nobody leads wakes it.    |
class EngineSchedule {
public:
    /// What a thread does next.
    enum class Step { Deliver, Lead, Watch, Rest };

    /// Whom to wake.
    enum class Wake { Nobody, Leader, Watcher, Follower, NewThread };

    /// Who makes a handle ready.
    enum class Role { Outsider, Leader, Runner };

    /// The handle that is to deliver next.
    enum class Ready { None, Complete, Streaming };

    /// How long the watcher waits for its next look.
    enum class Look { Soon, WhenWoken };

    /// What is to be done.
    struct Work {
        Ready ready = Ready::None;
        /// Whether there is a driver: it is made with the first request.
        bool canDrive = false;
        bool hasCommands = false;
        bool hasTransfers = false;
    };

    Step NextStep(const Work& work) const;

    Wake OnCommand();
    Wake OnReady(Role by);

    Wake OnDeliveryBegins();
    void OnDeliveryEnds() { --runners; }

    Wake OnLeadBegins(const Work& work);
    /// Whether the leader may sleep.
    bool OnDriveBegins(const Work& work);
    void OnLeadEnds() { leader = Leader::None; }

    void OnWatchBegins();
    Look OnLookBegins();
    /// Whether the watcher has seen work that nobody takes up, and gives its role up to do it.
    bool OnLookEnds(const Work& work);
    void OnWatchEnds() { watcher = Watcher::None; }

    void OnRestBegins() { ++followers; }
    /// Whether the thread goes on; otherwise it ends.
    bool OnRestEnds(bool isWoken, const Work& work);

    void OnThreadAdded();
    void OnThreadStarted() { --starting; }
    void OnThreadEnded() { --threads; }
    std::size_t ThreadCount() const { return threads; }
    bool IsLed() const { return leader != Leader::None; }

private:
    enum class Leader { None, Awake, Asleep };
    enum class Watcher { None, Looking, Asleep };

    Wake WakeWatcher() const;
    bool HasUnledWork(const Work& work) const;

    Leader leader = Leader::None;
    Watcher watcher = Watcher::None;
    std::size_t threads = 0;
    /// Threads that were added and have not begun.
    std::size_t starting = 0;
    std::size_t runners = 0;
    std::size_t followers = 0;

    /// How often a thread has led, and how often one has delivered; and both when the watcher last looked.
    std::uint64_t leads = 0;
    std::uint64_t deliveries = 0;
    std::uint64_t seenLeads = 0;
    std::uint64_t seenDeliveries = 0;
    /// The deliveries when the leader last began.
    std::uint64_t deliveriesOfLead = 0;
    int quietLooks = 0;
};

} // namespace LumPlatform
