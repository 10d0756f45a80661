#include "common/utils/LumDebuggerUtilsBase.h"

#include "common/utils/LumLog.h"
#include "platform/LumPlatform.h"

#include <stdexcept>
#include <thread>
#include <utility>

namespace LumUtils {

namespace {

constexpr const char* kWait = "LumUtils::LumDebuggerUtilsBase::waitForDebugger";
constexpr const char* kWaitWithCallback = "LumUtils::LumDebuggerUtilsBase::waitForDebuggerWithCallback";
constexpr std::chrono::milliseconds kPause(100);

/// Counted in whole milliseconds: the longest time-outs do not fit into nanoseconds.
bool hasPassed(std::chrono::milliseconds timeout, std::chrono::steady_clock::time_point start)
{
    const auto elapsed = std::chrono::steady_clock::now() - start;
    return timeout <= std::chrono::duration_cast<std::chrono::milliseconds>(elapsed);
}

} // namespace

LumDebuggerUtilsBase::LumDebuggerUtilsBase(std::shared_ptr<ILumUtilsLoggerDelegate> loggerDelegate)
    : logger(std::move(loggerDelegate))
{
}

void LumDebuggerUtilsBase::waitForDebugger(std::optional<std::chrono::milliseconds> timeout)
{
    LUM_LOG_AT(logger, Info, kWait, 28, "LumDebuggerUtils %s: Waiting for debugger to attach...", kLumPlatformName);
    const auto start = std::chrono::steady_clock::now();
    while (!isDebuggerAttached()) {
        if (timeout && hasPassed(*timeout, start)) {
            LUM_LOG_AT(logger, Warning, kWait, 37, "LumDebuggerUtils %s: Timeout waiting for debugger",
                       kLumPlatformName);
            throw std::runtime_error("Timeout waiting for debugger to attach");
        }
        std::this_thread::sleep_for(kPause);
    }
    LUM_LOG_AT(logger, Info, kWait, 45, "LumDebuggerUtils %s: Debugger attached successfully", kLumPlatformName);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): a copy outlives what the caller does to its own meanwhile
void LumDebuggerUtilsBase::waitForDebuggerWithCallback(std::function<bool()> shouldContinue,
                                                       std::chrono::milliseconds pollInterval)
{
    if (!shouldContinue) {
        LUM_LOG_AT(logger, Error, kWaitWithCallback, 53, "LumDebuggerUtils %s: Invalid callback provided",
                   kLumPlatformName);
        throw std::invalid_argument("shouldContinue callback cannot be null");
    }
    LUM_LOG_AT(logger, Info, kWaitWithCallback, 57, "LumDebuggerUtils %s: Waiting for debugger with callback...",
               kLumPlatformName);
    while (!isDebuggerAttached() && shouldContinue()) {
        std::this_thread::sleep_for(pollInterval);
    }
    if (isDebuggerAttached()) {
        LUM_LOG_AT(logger, Info, kWaitWithCallback, 64, "LumDebuggerUtils %s: Debugger attached successfully",
                   kLumPlatformName);
    } else {
        LUM_LOG_AT(logger, Info, kWaitWithCallback, 66, "LumDebuggerUtils %s: Wait cancelled by callback",
                   kLumPlatformName);
    }
}

} // namespace LumUtils
