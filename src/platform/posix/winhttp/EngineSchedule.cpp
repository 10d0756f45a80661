#include "platform/posix/winhttp/EngineSchedule.h"

namespace LumPlatform {

namespace {

/// After so many looks without anything happening the watcher sleeps until it is woken.
constexpr int kMostQuietLooks = 25;

/// One leads, one runs, one watches.
constexpr std::size_t kUsualThreads = 3;

} // namespace

EngineSchedule::Step EngineSchedule::NextStep(const Work& work) const
{
    const bool canLead = leader == Leader::None && work.canDrive;
    if (work.ready == Ready::Complete || (work.ready == Ready::Streaming && !canLead)) {
        return Step::Deliver;
    }
    if (canLead) {
        return Step::Lead;
    }
    return watcher == Watcher::None ? Step::Watch : Step::Rest;
}

/// The leader is woken once for each of its sleeps, however much comes. Without a leader a callback runs, after which
/// its thread leads; the watcher sees to it that this is soon.
EngineSchedule::Wake EngineSchedule::OnCommand()
{
    if (leader == Leader::None) {
        return WakeWatcher();
    }
    if (leader == Leader::Asleep) {
        leader = Leader::Awake;
        return Wake::Leader;
    }
    return Wake::Nobody;
}

EngineSchedule::Wake EngineSchedule::OnReady(Role by)
{
    switch (by) {
    case Role::Leader:
        // It takes the handle up itself, or wakes a runner, when it has driven the transfers.
        return Wake::Nobody;
    case Role::Runner:
        // It takes the handle up itself when its callback returns; the watcher sees to it that this is soon.
        return WakeWatcher();
    default:
        return OnCommand();
    }
}

EngineSchedule::Wake EngineSchedule::OnDeliveryBegins()
{
    ++runners;
    ++deliveries;
    return WakeWatcher();
}

/// Sees that somebody delivers what is ready while this thread leads.
EngineSchedule::Wake EngineSchedule::OnLeadBegins(const Work& work)
{
    // A runner that has taken nothing up since the last time is held up in a callback.
    const bool isSomebodyRunning = runners > 0 && deliveries != deliveriesOfLead;
    leader = Leader::Awake;
    ++leads;
    deliveriesOfLead = deliveries;
    if (work.ready == Ready::None) {
        return Wake::Nobody;
    }
    if (!isSomebodyRunning && followers > 0) {
        return Wake::Follower;
    }
    return runners == 0 && threads < kUsualThreads ? Wake::NewThread : WakeWatcher();
}

bool EngineSchedule::OnDriveBegins(const Work& work)
{
    const bool maySleep = !work.hasCommands && work.ready == Ready::None;
    leader = maySleep ? Leader::Asleep : Leader::Awake;
    return maySleep;
}

void EngineSchedule::OnWatchBegins()
{
    watcher = Watcher::Looking;
    quietLooks = 0;
}

EngineSchedule::Look EngineSchedule::OnLookBegins()
{
    seenLeads = leads;
    seenDeliveries = deliveries;
    if (quietLooks < kMostQuietLooks) {
        return Look::Soon;
    }
    quietLooks = 0;
    watcher = Watcher::Asleep;
    return Look::WhenWoken;
}

bool EngineSchedule::OnLookEnds(const Work& work)
{
    watcher = Watcher::Looking;
    const bool hasLed = leads != seenLeads;
    const bool hasDelivered = deliveries != seenDeliveries;
    quietLooks = hasLed || hasDelivered ? 0 : quietLooks + 1;
    return (!hasDelivered && work.ready != Ready::None) || (!hasLed && HasUnledWork(work));
}

/// Whether there are transfers to drive and nobody does.
bool EngineSchedule::HasUnledWork(const Work& work) const
{
    return leader == Leader::None && (work.hasCommands || work.hasTransfers);
}

bool EngineSchedule::OnRestEnds(bool isWoken, const Work& work)
{
    --followers;
    return isWoken || followers == 0 || work.ready != Ready::None || HasUnledWork(work);
}

void EngineSchedule::OnThreadAdded()
{
    ++threads;
    ++starting;
}

/// Sees that somebody watches.
EngineSchedule::Wake EngineSchedule::WakeWatcher() const
{
    if (watcher != Watcher::None) {
        return watcher == Watcher::Asleep ? Wake::Watcher : Wake::Nobody;
    }
    if (followers > 0) {
        return Wake::Follower;
    }
    return starting == 0 ? Wake::NewThread : Wake::Nobody;
}

} // namespace LumPlatform
