#pragma once

#include <cstddef>

/// Where the platform below the Windows builds differs from what the tests expect everywhere else. The tests run there
/// under Wine 8; each constant says what it does. This is the only place of the tests that asks for the system.

namespace LumTests::Quirks {

#ifdef _WIN32

/// The error of a request is notified while the thread's last error is that of an inner call, or 0: the number and text
/// of such a failure say little.
constexpr bool kNotifiesWithLastError = false;

/// Only these redirects are followed.
constexpr bool isFollowed(int status)
{
    return status != 303 && status != 308;
}

/// A redirect without a target is no response but a failure.
constexpr bool kFailsWithoutRedirectTarget = true;

/// White space before the value of a request header is dropped.
constexpr bool kTrimsSentHeaders = true;

/// Of the methods with a body, PATCH says nothing of an empty one.
constexpr bool kSendsNoLengthForEmptyPatch = true;

/// A connection that is reset within the headers brings the process down: an announced size of -1 is copied.
constexpr bool kCrashesOnResetInHeaders = true;

constexpr std::size_t kRequestsInARow = 2000;
constexpr std::size_t kRequestsAtOnce = 1000;

/// Handles that the platform keeps for reuse.
constexpr std::size_t kDescriptorSlack = 16;

#else

constexpr bool kNotifiesWithLastError = true;
constexpr bool isFollowed(int /*status*/)
{
    return true;
}
constexpr bool kFailsWithoutRedirectTarget = false;
constexpr bool kTrimsSentHeaders = false;
constexpr bool kSendsNoLengthForEmptyPatch = false;
constexpr bool kCrashesOnResetInHeaders = false;
constexpr std::size_t kRequestsInARow = 20000;
constexpr std::size_t kRequestsAtOnce = 1000;
constexpr std::size_t kDescriptorSlack = 4;

#endif

} // namespace LumTests::Quirks
