#pragma once

#include "common/utils/ILumUtilsLoggerDelegate.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace LumUtils {

/// Stops a component at start-up until a debugger has attached to its process, so that code that runs early can be
/// debugged:
///
///     LumUtils::LumDebuggerUtils debugger(logger); // the class of this platform
///     debugger.waitForDebugger(std::chrono::seconds(30));
///
/// Both waits block the calling thread and look for a debugger again and again; their progress is logged with the
/// platform's name. Several threads may wait at once. A wait also ends with what the delegate throws, and with
/// std::bad_alloc if there is no memory for a record or for what the wait throws itself.
///
/// The order of the operations is part of the binary interface.
class LumDebuggerUtilsBase {
public:
    /// The delegate gets all messages; an empty one logs nothing.
    explicit LumDebuggerUtilsBase(std::shared_ptr<ILumUtilsLoggerDelegate> loggerDelegate);
    virtual ~LumDebuggerUtilsBase() = default;

    /// Whether a debugger is attached to this process now.
    virtual bool isDebuggerAttached() const = 0;

    /// Returns when a debugger is attached, which it looks for every 100 milliseconds; at once if one is.
    ///
    /// Throws std::runtime_error("Timeout waiting for debugger to attach") when the time-out has passed, which it may
    /// overrun by one such pause. A time-out of 0 or less looks once. Without one it waits for ever.
    void waitForDebugger(std::optional<std::chrono::milliseconds> timeout);

    /// Returns when a debugger is attached or the callback returns false; only the log says which. The callback is
    /// called on this thread, before each pause of the given length; what it throws passes through. The last look for a
    /// debugger comes after it.
    ///
    ///     debugger.waitForDebuggerWithCallback([&] { return !isClosing; }, std::chrono::milliseconds(50));
    ///
    /// Throws std::invalid_argument("shouldContinue callback cannot be null") if the callback is empty.
    void waitForDebuggerWithCallback(std::function<bool()> shouldContinue, std::chrono::milliseconds pollInterval);

private:
    std::shared_ptr<ILumUtilsLoggerDelegate> logger;
};

} // namespace LumUtils
