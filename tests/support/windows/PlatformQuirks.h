#pragma once

#include <cstddef>

/// What Wine 8, on which the Windows builds are tested, does otherwise than the tests expect.

namespace LumTests::Quirks {

/// That a request has been sent is notified when its answer has come, not before.
constexpr bool kTellsOfSendingBeforeTheAnswer = false;

/// The error of a request is notified while the thread's last error is that of an inner call, or 0: the number and text
/// of such a failure say little.
constexpr bool kNotifiesWithLastError = false;

/// A reset before the answer is notified with the socket's own number.
constexpr unsigned int kErrorOfReset = 10054;

/// A connection that is closed instead of an answer is an answer that is no HTTP.
constexpr unsigned int kErrorOfNoAnswer = 12152;

/// Whether the error of a request may have that number where another is expected: the connection has ended too early.
constexpr bool isNotifiedInsteadOf(int expected, int notified)
{
    constexpr int kConnectionError = 12030;
    return expected == kConnectionError &&
           (notified == static_cast<int>(kErrorOfReset) || notified == static_cast<int>(kErrorOfNoAnswer));
}

/// What a proxy says when it is asked for a tunnel is not looked at. If it closes the connection, the handshake fails.
constexpr unsigned int kErrorOfRefusedTunnel = 12157;

/// A certificate that is not good is notified as a handshake that failed, whatever is wrong with it.
constexpr unsigned int kErrorOfBadCertificate = 12157;

/// Of the names in a certificate those that are addresses are not looked at.
constexpr bool kKnowsAddressesInCertificates = false;

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

/// A body that ends before its length, or before its last chunk, is a success with what has come.
constexpr bool kAcceptsShortBodies = true;

/// Headers that end before the empty line are a success with the lines that have come.
constexpr bool kAcceptsShortHeaders = true;

/// A line without a colon, which the second line of a folded header is too, ends the headers: the rest is the body.
constexpr bool kEndsHeadersAtLineWithoutColon = true;

/// Of a longer header line the rest is dropped.
constexpr std::size_t kLongestHeaderLine = 1459;

/// A block of headers has no bound, but each line takes the time of all lines before it.
constexpr bool kBoundsHeaders = false;
constexpr int kManyHeaderLines[] = {2000, 3000};
constexpr int kEndlessHeaderLines = 4000;

/// The first line of the headers may be a folded one, and "HTTP" may be spelt in any case.
constexpr bool kTakesHostileResponses = true;

/// An interim response makes the request fail (100), or is taken for the final one (102, 103).
constexpr bool kTakesInterimForFinal = true;

/// A POST that a redirect turns into a GET fails.
constexpr bool kFailsWherePostBecomesGet = true;

/// A request that is closed while it waits for its answer ends when the server answers or goes.
constexpr bool kClosingEndsTheWait = false;

/// That a handle was made is told before the call that makes it returns, so nobody knows the handle yet.
constexpr bool kTellsOfHandlesThatAreKnown = false;

/// The headers of the caller go to every server that a redirect leads to.
constexpr bool kKeepsSecretsFromOtherServers = false;

/// An address in brackets is no host that a redirect could lead to.
constexpr bool kRedirectsToIpv6Addresses = false;

/// The port that a proxy is asked for a tunnel to if the URL names none.
constexpr int kDefaultPortOfTunnels = 0;

/// An empty host name is this machine.
constexpr bool kEmptyHostIsNone = false;

/// That a request is received before it is sent is notified, not refused.
constexpr bool kRefusesToReceiveBeforeSending = false;

/// Nor is any other call that comes too early or too late.
constexpr bool kRefusesCallsOutOfTurn = false;

/// The numbers of WinHTTP have no texts.
constexpr bool kHasTextsOfWinHttp = false;

/// As the tests expect, but not what every WinHTTP does: elsewhere a session may have its connections to itself.
constexpr bool kConnectionsOutliveTheirSession = true;

/// A request for which a kept connection was taken at the moment at which the server closes it fails as a reset.
constexpr bool kRepeatsOnANewConnection = false;

/// Each request that waits for its answer takes one of 500 threads; the others wait for a free one.
constexpr bool kServesThousandAtOnce = false;

constexpr std::size_t kRequestsInARow = 20000;

/// Handles that the platform keeps for reuse.
constexpr std::size_t kDescriptorSlack = 16;
constexpr bool kKeepsDescriptorsForReuse = true;

/// Threads take longer to start.
constexpr std::size_t kProxiedRequestsInARow = 2000;

/// A process of 64 bits could hold 3 GiB, but takes 15 seconds to read them; one of 32 bits must refuse them.
constexpr std::size_t kLargeFile = sizeof(void*) == 4 ? std::size_t{3} << 30U : std::size_t{256} << 20U;

/// A write that there is room for in part only is a success with what was written.
constexpr bool kSucceedsWithoutRoomForAll = true;

/// For how long processes read and write one file. The locks are the platform's own.
constexpr int kSoakSeconds = 5;

/// A reset within the headers ends the process.
constexpr bool kSurvivesResetsInHeaders = false;

/// A first line whose second word has three characters is a status line, whatever else it is.
constexpr bool kTakesAnyLineForStatus = true;

/// If the line of the last chunk arrives in two pieces, which may be wherever the platform's buffer of 8 KiB was full,
/// the request fails with this number although it has all of the body, and the next one on the connection begins with
/// what was left.
constexpr int kErrorAtLastChunk = 122;

/// What arrives together with the end of a body is taken for more of it, and the body then ends with the connection.
constexpr bool kTakesSpareBytesForBody = true;

/// For how long the soak of the network goes on, how many requests of each kind of client it keeps in flight, and how
/// often it looks what the process uses, which takes time too.
constexpr int kNetworkingSoakSeconds = 4;
constexpr std::size_t kSoakRequests = 60;
constexpr std::size_t kSoakProxiedRequests = 40;
constexpr std::size_t kSoakSampleMilliseconds = 500;
constexpr std::size_t kSoakDescriptorSlack = kDescriptorSlack;
constexpr std::size_t kSoakHeapSlack = std::size_t{2} << 20U;

/// A caller's own Host is replaced by the server's name.
constexpr bool kSendsHostOfCaller = false;

/// What a request that has ended keeps of the memory until it is closed.
constexpr std::size_t kKeptByHeldRequest = std::size_t{64} << 10U;

/// The platform's threads stay for some seconds, and their memory with them.
constexpr bool kRestingThreadsKeepMemory = true;

} // namespace LumTests::Quirks
