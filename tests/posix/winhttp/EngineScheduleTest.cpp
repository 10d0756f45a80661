#include "platform/posix/winhttp/EngineSchedule.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

using LumPlatform::EngineSchedule;
using Step = EngineSchedule::Step;
using Wake = EngineSchedule::Wake;
using Ready = EngineSchedule::Ready;

/// The engine without threads and time: what its threads would do is done step by step, in an order that is drawn.
class EngineModel {
public:
    explicit EngineModel(unsigned int seed) : dice(seed) {}

    /// Events from outside and steps of threads in any order; then the threads alone, until nothing is left to do.
    void Run()
    {
        for (int step = 0; step < 2000; ++step) {
            const unsigned int roll = Draw(12);
            if (roll == 0) {
                Submit();
            } else if (roll == 1) {
                MakeReady(EngineSchedule::Role::Outsider);
            } else {
                StepOfAny();
            }
            CheckRoles();
        }
        for (int step = 0; step < 5000; ++step) {
            StepOfAny();
            CheckRoles();
        }
        EXPECT_EQ(commands, 0) << "a command was never taken up";
        EXPECT_EQ(ready, 0) << "a handle was never delivered";
        EXPECT_EQ(done, asked);
    }

private:
    enum class Place { Free, Delivering, Driving, Sleeping, Looking, LookingAsleep, Resting };

    struct Thread {
        Place place = Place::Free;
        bool isWoken = false;
        bool hasStarted = false;
    };

    unsigned int Draw(unsigned int count) { return std::uniform_int_distribution<unsigned int>(0, count - 1)(dice); }

    EngineSchedule::Work Work() const
    {
        EngineSchedule::Work work;
        work.ready = ready == 0 ? Ready::None : isStreaming ? Ready::Streaming : Ready::Complete;
        work.canDrive = true;
        work.hasCommands = commands > 0;
        work.hasTransfers = !schedule.IsLed() && transfers > 0;
        return work;
    }

    void Submit()
    {
        ++commands;
        ++asked;
        if (threads.empty()) {
            Do(Wake::NewThread);
        }
        Do(schedule.OnCommand());
    }

    void MakeReady(EngineSchedule::Role by)
    {
        if (threads.empty()) {
            return;
        }
        ++ready;
        isStreaming = Draw(4) == 0;
        Do(schedule.OnReady(by));
    }

    void Do(Wake whom)
    {
        switch (whom) {
        case Wake::NewThread:
            threads.emplace_back();
            schedule.OnThreadAdded();
            break;
        case Wake::Leader:
            WakeOne(Place::Sleeping);
            break;
        case Wake::Watcher:
            WakeOne(Place::LookingAsleep);
            break;
        case Wake::Follower:
            WakeOne(Place::Resting);
            break;
        default:
            break;
        }
    }

    void WakeOne(Place place)
    {
        const auto sleeper = std::find_if(threads.begin(), threads.end(), [&](const Thread& thread) {
            return thread.place == place && !thread.isWoken;
        });
        if (sleeper != threads.end()) {
            sleeper->isWoken = true;
        }
    }

    void StepOfAny()
    {
        if (!threads.empty()) {
            StepOf(Draw(static_cast<unsigned int>(threads.size())));
        }
    }

    void StepOf(std::size_t index)
    {
        switch (threads[index].place) {
        case Place::Free:
            Begin(index);
            break;
        case Place::Delivering:
            EndDelivery(index);
            break;
        case Place::Driving:
            EndDrive(index);
            break;
        case Place::Sleeping:
            // A transfer may end at any time, which ends the sleep too.
            if (threads[index].isWoken || transfers > 0) {
                EndDrive(index);
            }
            break;
        case Place::Looking:
            EndLook(index);
            break;
        case Place::LookingAsleep:
            if (threads[index].isWoken) {
                EndLook(index);
            }
            break;
        case Place::Resting:
            if (threads[index].isWoken || Draw(16) == 0) {
                EndRest(index);
            }
            break;
        }
    }

    void Begin(std::size_t index)
    {
        if (!threads[index].hasStarted) {
            threads[index].hasStarted = true;
            schedule.OnThreadStarted();
        }
        switch (schedule.NextStep(Work())) {
        case Step::Deliver:
            --ready;
            threads[index].place = Place::Delivering;
            Do(schedule.OnDeliveryBegins());
            break;
        case Step::Lead:
            Lead(index);
            break;
        case Step::Watch:
            schedule.OnWatchBegins();
            Look(index);
            break;
        default:
            schedule.OnRestBegins();
            threads[index].place = Place::Resting;
            break;
        }
    }

    void Lead(std::size_t index)
    {
        Do(schedule.OnLeadBegins(Work()));
        transfers += commands;
        commands = 0;
        const EngineSchedule::Work work = Work();
        const bool maySleep = schedule.OnDriveBegins(work);
        EXPECT_EQ(maySleep, !work.hasCommands && work.ready == Ready::None);
        threads[index].place = maySleep ? Place::Sleeping : Place::Driving;
    }

    void EndDrive(std::size_t index)
    {
        if (transfers > 0 && Draw(2) == 0) {
            --transfers;
            ++done;
            MakeReady(EngineSchedule::Role::Leader);
        }
        schedule.OnLeadEnds();
        Free(index);
    }

    void EndDelivery(std::size_t index)
    {
        if (Draw(4) == 0) {
            return; // The callback takes its time.
        }
        if (Draw(8) == 0) {
            MakeReady(EngineSchedule::Role::Runner);
        }
        schedule.OnDeliveryEnds();
        Free(index);
    }

    void Look(std::size_t index)
    {
        const bool isAsleep = schedule.OnLookBegins() == EngineSchedule::Look::WhenWoken;
        threads[index].place = isAsleep ? Place::LookingAsleep : Place::Looking;
        threads[index].isWoken = false;
    }

    void EndLook(std::size_t index)
    {
        if (schedule.OnLookEnds(Work())) {
            schedule.OnWatchEnds();
            Free(index);
        } else {
            Look(index);
        }
    }

    void EndRest(std::size_t index)
    {
        if (schedule.OnRestEnds(threads[index].isWoken, Work())) {
            Free(index);
        } else {
            schedule.OnThreadEnded();
            threads.erase(threads.begin() + static_cast<std::ptrdiff_t>(index));
        }
    }

    void Free(std::size_t index)
    {
        threads[index].place = Place::Free;
        threads[index].isWoken = false;
    }

    std::size_t CountOf(Place first, Place second) const
    {
        return static_cast<std::size_t>(std::count_if(threads.begin(), threads.end(), [&](const Thread& thread) {
            return thread.place == first || thread.place == second;
        }));
    }

    void CheckRoles()
    {
        EXPECT_LE(CountOf(Place::Driving, Place::Sleeping), 1U) << "several lead";
        EXPECT_LE(CountOf(Place::Looking, Place::LookingAsleep), 1U) << "several watch";
        const auto sleeper = std::find_if(threads.begin(), threads.end(),
                                          [](const Thread& thread) { return thread.place == Place::Sleeping; });
        if (sleeper != threads.end() && commands > 0) {
            EXPECT_TRUE(sleeper->isWoken) << "the leader sleeps though there is a command";
        }
    }

    std::mt19937 dice;
    EngineSchedule schedule;
    std::vector<Thread> threads;
    int commands = 0;
    int transfers = 0;
    int ready = 0;
    int asked = 0;
    int done = 0;
    bool isStreaming = false;
};

TEST(EngineScheduleTest, TakesUpEverythingInAnyOrderOfEvents)
{
    for (unsigned int seed = 0; seed < 300; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        EngineModel(seed).Run();
        if (::testing::Test::HasFailure()) {
            return;
        }
    }
}

/// A schedule whose leader is in a callback that does not return, and that has no other thread.
class HeldUpTest : public ::testing::Test {
protected:
    HeldUpTest()
    {
        schedule.OnThreadAdded();
        schedule.OnThreadStarted();
    }

    static EngineSchedule::Work WorkWith(Ready ready, bool hasCommands, bool hasTransfers)
    {
        return {ready, true, hasCommands, hasTransfers};
    }

    EngineSchedule schedule;
};

TEST_F(HeldUpTest, ADeliveryHasAWatcherAdded)
{
    EXPECT_EQ(schedule.OnDeliveryBegins(), Wake::NewThread);
    schedule.OnThreadAdded();
    EXPECT_EQ(schedule.OnCommand(), Wake::Nobody) << "the thread that starts will watch";
}

TEST_F(HeldUpTest, TheWatcherStepsInAfterALookWithoutProgress)
{
    schedule.OnDeliveryBegins();
    schedule.OnWatchBegins();
    for (const EngineSchedule::Work& work : {WorkWith(Ready::Complete, false, false),
                                             WorkWith(Ready::None, true, false), WorkWith(Ready::None, false, true)}) {
        EXPECT_EQ(schedule.OnLookBegins(), EngineSchedule::Look::Soon);
        EXPECT_TRUE(schedule.OnLookEnds(work));
    }
    schedule.OnLookBegins();
    EXPECT_FALSE(schedule.OnLookEnds(WorkWith(Ready::None, false, false)));
}

TEST_F(HeldUpTest, TheWatcherWaitsWhileTheOthersGetOn)
{
    schedule.OnWatchBegins();
    schedule.OnLookBegins();
    schedule.OnDeliveryBegins();
    schedule.OnDeliveryEnds();
    EXPECT_FALSE(schedule.OnLookEnds(WorkWith(Ready::Complete, false, false)));
    schedule.OnLookBegins();
    schedule.OnLeadBegins(WorkWith(Ready::None, false, true));
    schedule.OnLeadEnds();
    EXPECT_FALSE(schedule.OnLookEnds(WorkWith(Ready::None, true, true)));
}

TEST_F(HeldUpTest, TheWatcherSleepsAfterQuietLooksAndIsWokenByWork)
{
    schedule.OnWatchBegins();
    int looks = 0;
    while (schedule.OnLookBegins() == EngineSchedule::Look::Soon) {
        ASSERT_LT(++looks, 1000);
        EXPECT_FALSE(schedule.OnLookEnds(WorkWith(Ready::None, false, false)));
    }
    EXPECT_EQ(looks, 25);
    EXPECT_EQ(schedule.OnCommand(), Wake::Watcher);
}

TEST_F(HeldUpTest, ABodyThatStillArrivesIsLeftToOthersThanTheLeader)
{
    EXPECT_EQ(schedule.NextStep(WorkWith(Ready::Streaming, false, true)), Step::Lead);
    EXPECT_EQ(schedule.NextStep(WorkWith(Ready::Complete, false, true)), Step::Deliver);
    schedule.OnLeadBegins(WorkWith(Ready::Streaming, false, true));
    EXPECT_EQ(schedule.NextStep(WorkWith(Ready::Streaming, false, true)), Step::Deliver);
}

TEST_F(HeldUpTest, TheSleepingLeaderIsWokenOnce)
{
    schedule.OnLeadBegins(WorkWith(Ready::None, false, false));
    EXPECT_TRUE(schedule.OnDriveBegins(WorkWith(Ready::None, false, false)));
    EXPECT_EQ(schedule.OnCommand(), Wake::Leader);
    EXPECT_EQ(schedule.OnCommand(), Wake::Nobody);
    EXPECT_EQ(schedule.OnReady(EngineSchedule::Role::Outsider), Wake::Nobody);
}

TEST_F(HeldUpTest, TheLastFollowerStays)
{
    schedule.OnThreadAdded();
    schedule.OnThreadStarted();
    const EngineSchedule::Work nothing = WorkWith(Ready::None, false, false);
    schedule.OnRestBegins();
    schedule.OnRestBegins();
    EXPECT_FALSE(schedule.OnRestEnds(false, nothing));
    EXPECT_TRUE(schedule.OnRestEnds(false, nothing));
}

} // namespace
