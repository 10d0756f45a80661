#include "platform/posix/winhttp/TransferPhase.h"

namespace LumPlatform {

namespace {

using Phase = TransferPhase;
using Event = TransferEvent;

Phase fromConnecting(Event event)
{
    return event == Event::Connected ? Phase::Sending : Phase::Connecting;
}

/// From Sending and from AwaitingHead.
Phase fromExchange(Phase phase, Event event)
{
    switch (event) {
    case Event::SentWhole:
        return Phase::AwaitingHead;
    case Event::RedirectArrived:
        return Phase::SkippingBody;
    case Event::HeadArrived:
        return Phase::ReceivingBody;
    case Event::Restarted:
        return Phase::Connecting;
    default:
        return phase;
    }
}

} // namespace

TransferPhase phaseAfter(TransferPhase phase, TransferEvent event)
{
    if (event == Event::Ended) {
        return Phase::Idle;
    }
    switch (phase) {
    case Phase::Idle:
        return event == Event::Begun ? Phase::Connecting : Phase::Idle;
    case Phase::Connecting:
        return fromConnecting(event);
    case Phase::Sending:
    case Phase::AwaitingHead:
        return fromExchange(phase, event);
    case Phase::SkippingBody:
        return event == Event::Restarted ? Phase::Connecting : Phase::SkippingBody;
    default:
        return phase;
    }
}

} // namespace LumPlatform
