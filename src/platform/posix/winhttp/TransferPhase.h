#pragma once

namespace LumPlatform {

/// How far a transfer has come with the request that it carries.
enum class TransferPhase {
    /// It carries no request.
    Idle,
    /// A connection is looked for or made; the server has seen nothing of the request.
    Connecting,
    /// The request goes out: parts of it may have reached the server.
    Sending,
    /// The whole request has gone out, which was announced.
    AwaitingHead,
    /// The body of a redirect that is followed is read and dropped.
    SkippingBody,
    /// The head of the response was delivered; its body follows.
    ReceivingBody,
};

enum class TransferEvent {
    /// A request is taken up.
    Begun,
    /// The connection is there, and the request begins to go out.
    Connected,
    /// That the whole request has gone out was announced.
    SentWhole,
    /// The head of a redirect that is followed has arrived.
    RedirectArrived,
    /// The head of the response has arrived.
    HeadArrived,
    /// The request, or the one that the redirect asks for, is sent over another connection.
    Restarted,
    /// The transfer lets go of its request.
    Ended,
};

/// The one place where a phase changes. An event that has no meaning in a phase leaves the phase as it is.
///
/// | event           | from                                                  | to            |
/// |-----------------|-------------------------------------------------------|---------------|
/// | Begun           | Idle                                                  | Connecting    |
/// | Connected       | Connecting                                            | Sending       |
/// | SentWhole       | Sending                                               | AwaitingHead  |
/// | RedirectArrived | Sending, AwaitingHead                                 | SkippingBody  |
/// | HeadArrived     | Sending, AwaitingHead                                 | ReceivingBody |
/// | Restarted       | Connecting, Sending, AwaitingHead, SkippingBody       | Connecting    |
/// | Ended           | any                                                   | Idle          |
TransferPhase phaseAfter(TransferPhase phase, TransferEvent event);

} // namespace LumPlatform
