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

/// A body that ends before its length, or before its last chunk, is a success with what has come.
constexpr bool kAcceptsShortBodies = true;

/// Headers that end before the empty line are a success with the lines that have come.
constexpr bool kAcceptsShortHeaders = true;

/// A line without a colon, which the second line of a folded header is too, ends the headers: the rest is the body.
constexpr bool kEndsHeadersAtLineWithoutColon = true;

/// Of a longer header line the rest is dropped.
constexpr std::size_t kLongestHeaderLine = 1459;

/// An interim response makes the request fail (100), or is taken for the final one (102, 103).
constexpr bool kTakesInterimForFinal = true;

/// A POST that a redirect turns into a GET fails.
constexpr bool kFailsWherePostBecomesGet = true;

/// Each request that waits for its answer takes one of 500 threads; the others wait for a free one.
constexpr bool kServesThousandAtOnce = false;

constexpr std::size_t kRequestsInARow = 2000;

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
constexpr bool kAcceptsShortBodies = false;
constexpr bool kAcceptsShortHeaders = false;
constexpr bool kEndsHeadersAtLineWithoutColon = false;
constexpr std::size_t kLongestHeaderLine = std::size_t{1} << 20U;
constexpr bool kTakesInterimForFinal = false;
constexpr bool kFailsWherePostBecomesGet = false;
constexpr bool kServesThousandAtOnce = true;
constexpr std::size_t kRequestsInARow = 20000;
constexpr std::size_t kDescriptorSlack = 4;

#endif

} // namespace LumTests::Quirks
