#pragma once

namespace LumNetworking {

/// The handle of a started request. Dropping it does not cancel the request.
///
///     const auto transaction = client->Get("https://example.org/", {}, completion, true, 30);
///     transaction->Cancel(); // the completion will say CANCELLED
///
/// Both operations may be called from any thread. The order of the operations is part of the binary interface.
class ILumAsynchronousTransaction {
public:
    virtual ~ILumAsynchronousTransaction() = default;

    /// Asks for the request to be reported as CANCELLED. It only sets a flag: the transfer runs on, and the completion
    /// comes when it ends. Cancelling twice, or after the completion, is harmless.
    virtual void Cancel() = 0;

    virtual bool IsCancelled() const = 0;
};

} // namespace LumNetworking
