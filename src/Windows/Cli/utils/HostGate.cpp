#include "Windows/Cli/utils/HostGate.h"

#include <atomic>
#include <chrono>
#include <new>
#include <thread>

/// The number of calls that are inside, with a bit of its own for "closed".
struct LumCliGate {
    std::atomic<std::uint32_t> state{0};
};

namespace {

constexpr std::uint32_t kClosed = std::uint32_t{1} << 31U;
constexpr std::chrono::milliseconds kPause{1};

} // namespace

LumCliGate* LUM_CDECL LumCliCreateGate()
{
    return new (std::nothrow) LumCliGate();
}

std::int32_t LUM_CDECL LumCliCloseGate(LumCliGate* gate, std::int32_t milliseconds)
{
    gate->state.fetch_or(kClosed);
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (gate->state.load() != kClosed && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(kPause);
    }
    return static_cast<std::int32_t>(gate->state.load() & ~kClosed);
}

namespace LumUtilsCli {

HostCall::HostCall(const LumCliHostTable& host) noexcept
    : gate(host.gate), isLetIn(gate == nullptr || (gate->state.fetch_add(1) & kClosed) == 0)
{
}

HostCall::~HostCall()
{
    if (gate != nullptr) {
        gate->state.fetch_sub(1);
    }
}

} // namespace LumUtilsCli
