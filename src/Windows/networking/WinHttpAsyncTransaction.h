#pragma once

#include "common/networking/ILumAsynchronousTransaction.h"

#include <atomic>
#include <memory>

namespace LumNetworking {

/// The handle of a request whose state is a Context. It holds the context, and knows nothing of it.
template <typename Context>
class WinHttpAsyncTransaction : public ILumAsynchronousTransaction {
public:
    WinHttpAsyncTransaction() = default;

    void Cancel() override { cancelled.store(true); }
    bool IsCancelled() const override { return cancelled.load(); }

    /// To be called once, before the transaction is handed out.
    void SetContext(const std::shared_ptr<Context>& newContext) { context = newContext; }

private:
    std::atomic<bool> cancelled{false};
    std::shared_ptr<Context> context;
};

} // namespace LumNetworking
