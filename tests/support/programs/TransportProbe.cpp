#include "PlatformQuirks.h"
#include "Windows/networking/WinHttpClientAsync.h"
#include "support/BodyPattern.h"
#include "support/ProcessResources.h"
#include "support/RecordingLogger.h"
#include "support/RequestRecorder.h"
#include "support/SystemProxy.h"
#include "support/TestServers.h"
#include "support/TrustedAuthority.h"

#include <algorithm>
#include <cstdlib>
#include <future>
#include <iostream>
#include <string>
#include <thread>

/// Does what its argument names, in a process of its own. Exits with 0 if that went as it should.

namespace {

using namespace LumNetworking;
using LumTests::Outcome;
using LumTests::RecordingLogger;
using LumTests::RequestRecorder;
using LumTests::TrustedAuthority;
using LumTests::TestServers::Certificate;
namespace Quirks = LumTests::Quirks;
namespace TestServers = LumTests::TestServers;

constexpr int kConnectSeconds = 30;

/// A completion after the end would touch what is gone.
void ignoreOutcome(HttpRequestResult, std::unique_ptr<HttpResponse>, std::unique_ptr<LumUtils::ILumError>,
                   std::shared_ptr<ILumAsynchronousTransaction>)
{
}

Outcome fetch(const std::string& url)
{
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    const RequestRecorder recorder;
    client.Get(url, {}, recorder.Completion(), true, kConnectSeconds);
    return recorder.WaitForOutcome();
}

std::size_t silentConnections()
{
    return std::stoul(fetch(TestServers::scripted("/silent/count")).response->body);
}

/// Starts requests that are never answered, and waits until they have reached their server.
std::vector<std::shared_ptr<ILumAsynchronousTransaction>> startUnansweredRequests(WinHttpClientAsync& client)
{
    constexpr std::size_t kCount = 10;
    const std::size_t before = silentConnections();
    std::vector<std::shared_ptr<ILumAsynchronousTransaction>> transactions;
    while (transactions.size() < kCount) {
        transactions.push_back(client.Get(TestServers::silent(), {}, ignoreOutcome, true, kConnectSeconds));
    }
    if (!LumTests::waitUntil([&] { return silentConnections() >= before + kCount; })) {
        throw std::runtime_error("the requests do not reach the server");
    }
    return transactions;
}

void leaveWithRequestsToASilentServer()
{
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    startUnansweredRequests(client);
}

/// Client and transactions go after main.
void leaveHoldingRequestsToASilentServer()
{
    static WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    static const std::vector<std::shared_ptr<ILumAsynchronousTransaction>> transactions =
        startUnansweredRequests(client);
}

void leaveAtOnce()
{
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    for (int index = 0; index < 100; ++index) {
        client.Get(TestServers::scripted("/bytes?n=1000"), {}, ignoreOutcome, true, kConnectSeconds);
    }
}

void exitInACompletion()
{
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    client.Get(
        TestServers::scripted("/bytes?n=10"), {}, [](auto...) { std::exit(0); }, true, kConnectSeconds);
    std::this_thread::sleep_for(std::chrono::seconds(30));
    std::_Exit(1);
}

void leaveWhileACompletionRuns()
{
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    static std::promise<void> started;
    client.Get(
        TestServers::scripted("/bytes?n=10"), {},
        [](auto...) {
            started.set_value();
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
        },
        true, kConnectSeconds);
    started.get_future().wait();
}

void leaveWhileANameIsLookedUp()
{
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    client.Get("http://no-such-host.invalid/", {}, ignoreOutcome, true, kConnectSeconds);
}

/// Fetches the URL and says on the error stream if that does not end as expected.
bool isAccepted(const std::string& url, bool isExpected)
{
    const Outcome outcome = fetch(url);
    const bool isSuccess = outcome.result == HttpRequestResult::SUCCESS && outcome.response->statusCode == 200;
    const bool isFailure = outcome.result == HttpRequestResult::FAILED && outcome.error->getCode() == 13;
    if (isExpected ? isSuccess : isFailure) {
        return true;
    }
    std::cerr << url << (isExpected ? " is not accepted\n" : " is not refused\n");
    return false;
}

/// With its authority in the system's store a good certificate is accepted, also on the way to a redirect to http, and
/// a bad one is not. Without it none is.
bool fetchFromTrustedServer()
{
    using TestServers::secureByName;
    const std::string good = secureByName(Certificate::UnknownAuthority, "/one.bin");
    const TrustedAuthority authority(std::getenv("LUM_TEST_CA_FILE"));
    return isAccepted(good, true) && isAccepted(secureByName(Certificate::UnknownAuthority, "/to-http"), true) &&
           isAccepted(TestServers::secure(Certificate::UnknownAuthority, "/one.bin"),
                      Quirks::kKnowsAddressesInCertificates) &&
           isAccepted(secureByName(Certificate::WrongHost, "/one.bin"), false) &&
           isAccepted(secureByName(Certificate::Expired, "/one.bin"), false) &&
           isAccepted(secureByName(Certificate::SelfSigned, "/one.bin"), false);
}

/// A redirect from https to http at the same host and port: the other scheme is another server.
bool redirectToOtherScheme()
{
    const TrustedAuthority authority(std::getenv("LUM_TEST_CA_FILE"));
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    const RequestRecorder recorder;
    client.Get(TestServers::secureByName(Certificate::UnknownAuthority, "/to-same-port"),
               {{"Authorization", "secret"}, {"Cookie", "own=secret"}, {"X-Other", "kept"}}, recorder.Completion(),
               true, kConnectSeconds);
    const Outcome outcome = recorder.WaitForOutcome();
    if (!outcome.response) {
        std::cerr << outcome.error->getDescription() << '\n';
        return false;
    }
    const std::string& seen = outcome.response->body;
    const bool isKept = seen.find("X-Other: kept") != std::string::npos;
    const bool isSecretKnown = seen.find("secret") != std::string::npos;
    if (isKept && isSecretKnown == !Quirks::kKeepsSecretsFromOtherServers) {
        return true;
    }
    std::cerr << "the other server has seen:\n" << seen;
    return false;
}

bool fetchFromUntrustedServer()
{
    return isAccepted(TestServers::secureByName(Certificate::UnknownAuthority, "/one.bin"), false);
}

Outcome fetch(const std::string& host, bool isSecure, std::uint32_t port)
{
    UrlComponents url;
    url.host = host;
    url.isSecure = isSecure;
    url.port = port;
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    const RequestRecorder recorder;
    client.Get(url, {}, recorder.Completion(), true, kConnectSeconds);
    return recorder.WaitForOutcome();
}

/// Asks a proxy for servers with and without a port. It alone gets to know which one is meant, and refuses them all.
bool askProxyForPorts()
{
    LumTests::setSystemProxy("127.0.0.1:" + std::to_string(TestServers::scriptedPort()));
    const std::uint32_t none = UrlComponents::kNoPort;
    const auto isRefused = [](const Outcome& outcome) {
        return outcome.response && outcome.response->statusCode == 404;
    };
    const auto hasFailed = [](const Outcome& outcome) { return outcome.result == HttpRequestResult::FAILED; };
    return isRefused(fetch("plain-none.invalid", false, none)) && isRefused(fetch("plain-zero.invalid", false, 0)) &&
           isRefused(fetch("plain-own.invalid", false, 443)) && isRefused(fetch("lowest.invalid", false, 1)) &&
           isRefused(fetch("highest.invalid", false, 65535)) && hasFailed(fetch("secure-none.invalid", true, none)) &&
           hasFailed(fetch("secure-zero.invalid", true, 0)) && hasFailed(fetch("secure-own.invalid", true, 80));
}

/// A sanitizer's own bookkeeping is most of the memory that is used.
#ifdef LUM_HAS_SANITIZER
constexpr bool kHasSanitizer = true;
#else
constexpr bool kHasSanitizer = false;
#endif

constexpr std::size_t kMebibyte = std::size_t{1} << 20U;

/// What the memory at the peak exceeds `before` by. The system counts the two apart, and may know of the peak later.
std::size_t costSince(std::size_t before)
{
    return std::max(LumTests::peakMemory(), before) - before;
}

/// What a large body costs at the peak: once its size, and so much more.
bool isLargeBodyHeldOnce(const std::string& framing, std::size_t slack)
{
    constexpr std::size_t kSize = 256 * kMebibyte;
    if (!isAccepted(TestServers::scripted("/bytes?n=100000"), true)) {
        return false;
    }
    const std::size_t before = LumTests::usedMemory();
    const Outcome outcome = fetch(TestServers::scripted("/bytes?n=" + std::to_string(kSize) + framing));
    const std::size_t cost = costSince(before);
    const bool hasArrived =
        outcome.response && outcome.response->body.size() == kSize && LumTests::isBodyPattern(outcome.response->body);
    const bool isMeasured = cost > kSize / 2;
    if (!hasArrived || !isMeasured || (!kHasSanitizer && cost > kSize + slack)) {
        std::cerr << "the body arrives: " << hasArrived << ", and costs " << cost / kMebibyte << " MiB\n";
        return false;
    }
    return true;
}

/// What 30 MB of headers cost at the peak. Where they have a bound there is no response, else one with what is kept.
bool areLargeHeadersCheap(const std::string& path)
{
    const std::size_t before = LumTests::usedMemory();
    const Outcome outcome = fetch(TestServers::scripted(path));
    const std::size_t cost = costSince(before);
    const bool isResponse = outcome.result == HttpRequestResult::SUCCESS;
    if (isResponse == Quirks::kBoundsHeaders || (!kHasSanitizer && cost > 8 * kMebibyte)) {
        std::cerr << path << " is a response: " << isResponse << ", and costs " << cost / kMebibyte << " MiB\n";
        return false;
    }
    return true;
}

bool areAllLargeHeadersCheap()
{
    return isAccepted(TestServers::scripted("/bytes?n=100000"), true) &&
           areLargeHeadersCheap("/headers/many?n=" + std::to_string(Quirks::kEndlessHeaderLines)) &&
           areLargeHeadersCheap("/headers/many?n=300&length=100000") &&
           areLargeHeadersCheap("/headers/large?n=30000000");
}

int run(const std::string& way)
{
    if (way == "silent") {
        leaveWithRequestsToASilentServer();
    } else if (way == "silent-held") {
        leaveHoldingRequestsToASilentServer();
    } else if (way == "at-once") {
        leaveAtOnce();
    } else if (way == "in-completion") {
        exitInACompletion();
    } else if (way == "completion-runs") {
        leaveWhileACompletionRuns();
    } else if (way == "looking-up") {
        leaveWhileANameIsLookedUp();
    } else if (way == "trusted") {
        return fetchFromTrustedServer() ? 0 : 1;
    } else if (way == "untrusted") {
        return fetchFromUntrustedServer() ? 0 : 1;
    } else if (way == "other-scheme") {
        return redirectToOtherScheme() ? 0 : 1;
    } else if (way == "ports") {
        return askProxyForPorts() ? 0 : 1;
    } else if (way == "large-body") {
        return isLargeBodyHeldOnce("", 8 * kMebibyte) ? 0 : 1;
    } else if (way == "large-chunked-body") {
        return isLargeBodyHeldOnce("&framing=chunked", 72 * kMebibyte) ? 0 : 1;
    } else if (way == "large-headers") {
        return areAllLargeHeadersCheap() ? 0 : 1;
    } else {
        return 2;
    }
    return 0;
}

} // namespace

int main(int argumentCount, char** arguments)
{
    try {
        return run(argumentCount > 1 ? arguments[1] : "");
    } catch (const std::exception& exception) {
        std::cerr << exception.what() << '\n';
        return 3;
    }
}
