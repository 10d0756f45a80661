#include "platform/posix/winhttp/TransferClock.h"

#include <gtest/gtest.h>

namespace {

using LumPlatform::TransferClock;
using std::chrono::seconds;

constexpr TransferClock::Time kStart{seconds(1000)};

TEST(TransferClockTest, NothingIsDueWhileNothingIsAwaited)
{
    TransferClock clock;
    EXPECT_EQ(clock.Due(), TransferClock::Time::max());
    clock.StartExchange(kStart);
    clock.Stop();
    EXPECT_EQ(clock.Due(), TransferClock::Time::max());
}

TEST(TransferClockTest, AServerMayBeSilentForThirtySeconds)
{
    TransferClock clock;
    clock.StartExchange(kStart);
    EXPECT_EQ(clock.Due(), kStart + seconds(30));
    clock.OnSent(kStart + seconds(10));
    EXPECT_EQ(clock.Due(), kStart + seconds(40));
    clock.OnReceived(kStart + seconds(20));
    EXPECT_EQ(clock.Due(), kStart + seconds(50));
}

TEST(TransferClockTest, AHeadMayTakeNinetySecondsFromTheEndOfTheRequest)
{
    TransferClock clock;
    clock.StartExchange(kStart);
    clock.OnSent(kStart + seconds(25));
    for (int second = 45; second <= 105; second += 20) {
        clock.OnReceived(kStart + seconds(second));
    }
    EXPECT_EQ(clock.Due(), kStart + seconds(25 + 90));
}

TEST(TransferClockTest, ABodyMayTakeAsLongAsItArrives)
{
    TransferClock clock;
    clock.StartExchange(kStart);
    clock.StartBody(kStart + seconds(1));
    clock.OnReceived(kStart + seconds(29));
    clock.OnReceived(kStart + seconds(5000));
    EXPECT_EQ(clock.Due(), kStart + seconds(5030));
}

TEST(TransferClockTest, WhenTheReaderGoesOnTheServerHasThirtySecondsAgain)
{
    TransferClock clock;
    clock.StartExchange(kStart);
    clock.StartBody(kStart);
    clock.Stop();
    clock.StartBody(kStart + seconds(500));
    EXPECT_EQ(clock.Due(), kStart + seconds(530));
}

} // namespace
