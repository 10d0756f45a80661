#pragma once

#include <cstddef>

/// What the tests expect; the header of the same name for Windows says what is otherwise there.

namespace LumTests::Quirks {

constexpr bool kTellsOfSendingBeforeTheAnswer = true;
constexpr bool kNotifiesWithLastError = true;
constexpr unsigned int kErrorOfReset = 12030;
constexpr unsigned int kErrorOfNoAnswer = 12030;
constexpr bool isNotifiedInsteadOf(int /*expected*/, int /*notified*/)
{
    return false;
}
constexpr unsigned int kErrorOfRefusedTunnel = 12030;
constexpr unsigned int kErrorOfBadCertificate = 12175;
constexpr bool kKnowsAddressesInCertificates = true;
constexpr bool isFollowed(int /*status*/)
{
    return true;
}
constexpr bool kFailsWithoutRedirectTarget = false;
constexpr bool kTrimsSentHeaders = false;
constexpr bool kSendsNoLengthForEmptyPatch = false;
constexpr bool kAcceptsShortBodies = false;
constexpr bool kAcceptsShortHeaders = false;
constexpr bool kEndsHeadersAtLineWithoutColon = false;
constexpr std::size_t kLongestHeaderLine = std::size_t{1} << 20U;
constexpr bool kBoundsHeaders = true;
constexpr int kManyHeaderLines[] = {12000, 50000};
constexpr int kEndlessHeaderLines = 1000000;
constexpr bool kTakesHostileResponses = false;
constexpr bool kTakesInterimForFinal = false;
constexpr bool kFailsWherePostBecomesGet = false;
constexpr bool kClosingEndsTheWait = true;
constexpr bool kTellsOfHandlesThatAreKnown = true;
constexpr bool kKeepsSecretsFromOtherServers = true;
constexpr bool kRedirectsToIpv6Addresses = true;
constexpr int kDefaultPortOfTunnels = 443;
constexpr bool kEmptyHostIsNone = true;
constexpr bool kRefusesToReceiveBeforeSending = true;
constexpr bool kRefusesCallsOutOfTurn = true;
constexpr bool kHasTextsOfWinHttp = true;
constexpr bool kConnectionsOutliveTheirSession = true;
constexpr bool kRepeatsOnANewConnection = true;
constexpr bool kServesThousandAtOnce = true;
constexpr std::size_t kRequestsInARow = 100000;
constexpr std::size_t kProxiedRequestsInARow = 20000;
constexpr std::size_t kDescriptorSlack = 4;
constexpr bool kKeepsDescriptorsForReuse = false;
constexpr std::size_t kLargeFile = std::size_t{3} << 30U;
constexpr bool kSucceedsWithoutRoomForAll = false;
constexpr int kSoakSeconds = 20;
constexpr bool kSurvivesResetsInHeaders = true;
constexpr int kErrorAtLastChunk = 0;
constexpr bool kTakesAnyLineForStatus = false;
constexpr bool kTakesSpareBytesForBody = false;
constexpr int kNetworkingSoakSeconds = 5;
constexpr std::size_t kSoakRequests = 3000;
constexpr std::size_t kSoakProxiedRequests = 300;
constexpr std::size_t kSoakSampleMilliseconds = 50;
constexpr std::size_t kSoakDescriptorSlack = 0;
constexpr std::size_t kSoakHeapSlack = std::size_t{8} << 20U;
constexpr bool kRestingThreadsKeepMemory = false;

/// A caller's own Host goes to the server that it is given for.
constexpr bool kSendsHostOfCaller = true;

/// What a request that has ended keeps of the memory until it is closed: its buffers.
constexpr std::size_t kKeptByHeldRequest = std::size_t{64} << 10U;

} // namespace LumTests::Quirks
