#include "platform/posix/winhttp/TransferPhase.h"

#include <gtest/gtest.h>

#include <map>
#include <utility>

namespace {

using LumPlatform::phaseAfter;
using Phase = LumPlatform::TransferPhase;
using Event = LumPlatform::TransferEvent;

constexpr Phase kPhases[] = {Phase::Idle,         Phase::Connecting,   Phase::Sending,
                             Phase::AwaitingHead, Phase::SkippingBody, Phase::ReceivingBody};
constexpr Event kEvents[] = {Event::Begun,       Event::Connected, Event::SentWhole, Event::RedirectArrived,
                             Event::HeadArrived, Event::Restarted, Event::Ended};

/// The rows of the header's table.
const std::map<std::pair<Phase, Event>, Phase> kChanges = {
    {{Phase::Idle, Event::Begun}, Phase::Connecting},
    {{Phase::Connecting, Event::Connected}, Phase::Sending},
    {{Phase::Sending, Event::SentWhole}, Phase::AwaitingHead},
    {{Phase::AwaitingHead, Event::SentWhole}, Phase::AwaitingHead},
    {{Phase::Sending, Event::RedirectArrived}, Phase::SkippingBody},
    {{Phase::AwaitingHead, Event::RedirectArrived}, Phase::SkippingBody},
    {{Phase::Sending, Event::HeadArrived}, Phase::ReceivingBody},
    {{Phase::AwaitingHead, Event::HeadArrived}, Phase::ReceivingBody},
    {{Phase::Sending, Event::Restarted}, Phase::Connecting},
    {{Phase::AwaitingHead, Event::Restarted}, Phase::Connecting},
    {{Phase::SkippingBody, Event::Restarted}, Phase::Connecting},
};

TEST(TransferPhaseTest, ChangesAsTheTableSaysAndNotOtherwise)
{
    for (const Phase phase : kPhases) {
        for (const Event event : kEvents) {
            const auto change = kChanges.find({phase, event});
            const Phase expected = event == Event::Ended      ? Phase::Idle
                                   : change != kChanges.end() ? change->second
                                                              : phase;
            EXPECT_EQ(phaseAfter(phase, event), expected)
                << "phase " << static_cast<int>(phase) << ", event " << static_cast<int>(event);
        }
    }
}

} // namespace
