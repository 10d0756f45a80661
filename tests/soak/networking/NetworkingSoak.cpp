#include "soak/networking/NetworkingSoak.h"

#include "Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.h"
#include "Windows/networking/WinHttpClientAsync.h"
#include "common/networking/LumNetworkingError.h"
#include "support/RequestRecorder.h"
#include "support/TestServers.h"

#include <PlatformQuirks.h>

#include <algorithm>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace LumTests {

using LumNetworking::LumAsynchronousSocksHttpClient;
using LumNetworking::WinHttpClientAsync;
using std::chrono::milliseconds;

namespace {

constexpr double kMebibyte = 1 << 20U;

#ifdef LUM_HAS_SANITIZER
constexpr bool kHasSanitizer = true;
constexpr std::size_t kDirectInFlight = 300;
constexpr std::size_t kProxiedInFlight = 40;
#else
constexpr bool kHasSanitizer = false;
constexpr std::size_t kDirectInFlight = Quirks::kSoakRequests;
constexpr std::size_t kProxiedInFlight = Quirks::kSoakProxiedRequests;
#endif

/// The transport keeps so many threads while it has nothing to do, and frees the others after some seconds.
constexpr std::size_t kRestingThreads = 3;
constexpr std::chrono::seconds kLongestRest{20};

/// Buffers of the transfers that are kept for reuse, 64 of them, which get them with their first uploads; and what the
/// allocator cannot give back.
constexpr std::size_t kHeapSlack = Quirks::kSoakHeapSlack;
constexpr std::size_t kResidentSlack = std::size_t{36} << 20U;

constexpr const char* kHeldAgainst =
    Quirks::kRestingThreadsKeepMemory
        ? "  (the end, which is when the platform's threads have ended, is held against the start)\n"
        : "  (the end is held against the start, but of memory, of which caches keep some, against the end of round "
          "1,\n"
          "  which is the first quarter of the time)\n";

/// One request in so many asks for TLS, for which the system's certificates are read.
constexpr std::uint64_t kSecureOnes = 500;

constexpr int kMostSamples = 600;
constexpr milliseconds kShortestInterval{Quirks::kSoakSampleMilliseconds};

/// The platform's numbers.
constexpr int kInvalidParameter = 87;
constexpr int kCannotConnect = 12029;
constexpr int kConnectionError = 12030;
constexpr int kSecureChannelError = 12157;

std::u16string toUtf16(const std::string& text)
{
    return std::u16string(text.begin(), text.end());
}

/// The number at the end of the URL.
std::uint64_t numberOf(const std::u16string& url)
{
    return std::stoull(std::string(url.begin() + static_cast<std::ptrdiff_t>(url.rfind(u'/')) + 1, url.end()));
}

Outcome outcomeOf(const std::string& url)
{
    WinHttpClientAsync client(nullptr);
    const RequestRecorder recorder;
    client.Get(url, {}, recorder.Completion(), true, 30);
    Outcome outcome = recorder.WaitForOutcome();
    recorder.WaitForRelease();
    return outcome;
}

/// Makes the transport start its threads, and look after connections that have ended.
void askClosedServer()
{
    outcomeOf(TestServers::url(TestServers::closedPort(), "/"));
}

} // namespace

NetworkingSoak::NetworkingSoak(Settings newSettings)
    : settings(std::move(newSettings)),
      ports(TestServers::hostilePorts()), faults{settings.seed, !Quirks::kSurvivesResetsInHeaders}
{
    proxy->keepsRequests = false;
    proxy->onSend = [this](const FakeRequest& request) { return Answer(request); };
}

bool NetworkingSoak::Run()
{
    AskServer(beginningPath(settings.seed));
    askClosedServer();
    start = takeSample(true);
    direct = std::make_unique<SoakLoad>(DirectSettings());
    proxied = std::make_unique<SoakLoad>(ProxiedSettings());
    const milliseconds duration = settings.duration;
    const milliseconds interval = std::max(kShortestInterval, duration / kMostSamples);
    ProcessWatch watch(interval, [this] {
        return std::vector<std::uint64_t>{direct->Ledger().InFlight(), proxied->Ledger().InFlight()};
    });
    RunRound(duration / 4);
    warm = takeSample(true);
    RunRound(duration - duration / 4);
    samples = watch.Take();
    end = takeSample(true);
    Report();
    return isGood;
}

void NetworkingSoak::RunRound(milliseconds duration)
{
    direct->Begin();
    proxied->Begin();
    std::this_thread::sleep_for(duration);
    std::thread ending([this] { proxied->End(); });
    direct->End();
    ending.join();
}

bool NetworkingSoak::IsAtRest(const ProcessSample& sample) const
{
    return sample.descriptors <= start.descriptors + Quirks::kSoakDescriptorSlack &&
           sample.threads < start.threads + kRestingThreads;
}

/// Sees that no connection is kept for reuse, and waits for threads that rest.
void NetworkingSoak::WaitForRest() const
{
    // The transport looks after its connections once a second with the next request, or at those to a port with the
    // next request to it.
    std::this_thread::sleep_for(milliseconds(1100));
    for (const std::uint16_t port : ports) {
        outcomeOf(TestServers::url(port, kEndPath));
    }
    std::this_thread::sleep_for(milliseconds(1100));
    askClosedServer();
    waitUntil([this] { return IsAtRest(takeSample(false)); }, kLongestRest);
    waitUntil([this] { return host.nativeHandles() == 0; }, kLongestRest);
}

void NetworkingSoak::Report()
{
    std::cout << "requests of the WinHTTP client\n";
    direct->Ledger().Print(std::cout);
    std::cout << "requests of the SOCKS client\n";
    proxied->Ledger().Print(std::cout);
    PrintFaults();
    WaitForRest();
    const ProcessSample rest = takeSample(true);
    end.descriptors = rest.descriptors;
    end.threads = rest.threads;
    end.winHttpHandles = rest.winHttpHandles;
    if (Quirks::kRestingThreadsKeepMemory) {
        end.residentBytes = rest.residentBytes;
    }
    PrintResources();
    Judge();
    if (!settings.picture.empty()) {
        Draw();
    }
}

/// The body of its answer; empty if something is wrong with the server, which the soak does not pass then.
std::string NetworkingSoak::AskServer(const std::string& path)
{
    const Outcome outcome = outcomeOf(TestServers::url(ports.front(), path));
    if (!Holds(outcome.response != nullptr, "the server lives")) {
        return "";
    }
    const std::string& body = outcome.response->body;
    return Holds(outcome.response->statusCode == 200, ("all is well in the server: " + body).c_str()) ? body : "";
}

void NetworkingSoak::PrintFaults()
{
    std::uint64_t sum = 0;
    std::ostringstream rows;
    std::istringstream answer(AskServer(kEndPath));
    for (std::string line; std::getline(answer, line);) {
        const std::size_t space = line.find(' ');
        const std::uint64_t count = std::stoull(line.substr(0, space));
        sum += count;
        rows << "  " << std::left << std::setw(24) << line.substr(space + 1) << std::right << std::setw(10) << count
             << '\n';
    }
    std::cout << "what the server did: " << sum << '\n' << rows.str();
}

void NetworkingSoak::PrintResources() const
{
    const auto peakOf = [this](auto member) {
        std::size_t peak = 0;
        for (const ProcessSample& sample : samples) {
            peak = std::max(peak, sample.*member);
        }
        return peak;
    };
    const auto row = [&](const char* name, auto member, double unit) {
        std::cout << "  " << std::left << std::setw(24) << name << std::right << std::fixed << std::setprecision(1);
        for (const std::size_t value : {start.*member, warm.*member, peakOf(member), end.*member}) {
            std::cout << std::setw(12) << static_cast<double>(value) / unit;
        }
        std::cout << '\n';
    };
    std::cout << "resources                        start  after round 1      peak       end\n";
    row("resident memory, MiB", &ProcessSample::residentBytes, kMebibyte);
    row("heap in use, MiB", &ProcessSample::heapBytes, kMebibyte);
    row("descriptors", &ProcessSample::descriptors, 1);
    row("threads", &ProcessSample::threads, 1);
    row("WinHTTP handles", &ProcessSample::winHttpHandles, 1);
    std::cout << kHeldAgainst << "  managed handles: " << host.allocatedHandles() << " lent, " << host.nativeHandles()
              << " left\n"
              << "log records: " << logger->Records() << ", with a secret: " << logger->Leaks() << std::endl;
}

bool NetworkingSoak::Holds(bool condition, const char* what)
{
    if (!condition) {
        std::cout << "NOT SO: " << what << std::endl;
        isGood = false;
    }
    return condition;
}

void NetworkingSoak::Judge()
{
    Holds(direct->Ledger().IsGood(), "every request of the WinHTTP client was completed once, and as it may be");
    Holds(proxied->Ledger().IsGood(), "every request of the SOCKS client was completed once, and as it may be");
    Holds(IsAtRest(end), "no descriptor and no thread is left");
    Holds(end.winHttpHandles == 0, "no WinHTTP handle is left");
    Holds(host.nativeHandles() == 0, "no managed handle is left");
    Holds(logger->Leaks() == 0, "no secret was logged");
    if (!kHasSanitizer) {
        const ProcessSample& before = Quirks::kRestingThreadsKeepMemory ? start : warm;
        Holds(end.heapBytes <= before.heapBytes + kHeapSlack, "the heap is back to where it was");
        Holds(end.residentBytes <= before.residentBytes + kResidentSlack,
              "the resident memory is back to where it was");
    }
}

void NetworkingSoak::Draw() const
{
    std::vector<double> seconds;
    std::vector<ChartLine> lines = {{"resident", "#c0392b", {}},       {"heap in use", "#2e7d4f", {}},
                                    {"WinHTTP client", "#1f5fa8", {}}, {"SOCKS client", "#b8860b", {}},
                                    {"threads", "#6a3d9a", {}},        {"descriptors", "#555555", {}}};
    for (const ProcessSample& sample : samples) {
        seconds.push_back(sample.seconds);
        lines[0].values.push_back(static_cast<double>(sample.residentBytes) / kMebibyte);
        lines[1].values.push_back(static_cast<double>(sample.heapBytes) / kMebibyte);
        lines[2].values.push_back(static_cast<double>(sample.inFlight[0]));
        lines[3].values.push_back(static_cast<double>(sample.inFlight[1]));
        lines[4].values.push_back(static_cast<double>(sample.threads));
        lines[5].values.push_back(static_cast<double>(sample.descriptors));
    }
    std::ofstream file(settings.picture);
    file << drawLineChart("Soak \"networking\", seed " + std::to_string(settings.seed), seconds,
                          {{"Memory, MiB", {lines[0], lines[1]}},
                           {"Requests in flight", {lines[2], lines[3]}},
                           {"Threads and descriptors", {lines[4], lines[5]}}});
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + settings.picture);
    }
    std::cout << "  " << settings.picture << std::endl;
}

SoakLoad::Settings NetworkingSoak::DirectSettings()
{
    SoakLoad::Settings load;
    load.seed = settings.seed;
    load.inFlight = kDirectInFlight;
    load.makeClient = [this] { return std::make_shared<WinHttpClientAsync>(logger); };
    load.targetOf = [this](std::uint64_t number, Dice& dice, bool followsRedirects) {
        return TargetOf(number, dice, followsRedirects);
    };
    load.failureOfHeader = {LumNetworking::LumNetworkingErrorCode::kSendFailed, kInvalidParameter};
    return load;
}

/// What the port does to connections is more than the request's plan.
SoakLoad::Target NetworkingSoak::TargetOf(std::uint64_t number, Dice& dice, bool followsRedirects) const
{
    const bool isSecure = dice.OneIn(kSecureOnes);
    const std::size_t port = dice.SizeBelow(ports.size());
    SoakLoad::Target target = {std::string(isSecure ? "https" : "http") +
                                   "://127.0.0.1:" + std::to_string(ports[port]) + pathOf(faults, number),
                               makeExpectation(faults, number, followsRedirects)};
    FaultPlan& expected = target.expected;
    if (isSecure) {
        expected.verdict = FaultPlan::Verdict::Broken;
        expected.failures = {failureOf(kSecureChannelError)};
    }
    if (kindOfPort(port) != PortKind::Steady) {
        // The platform may notice a reset before it takes the connection for made.
        expected.failures.push_back(failureOf(kCannotConnect));
        expected.failures.push_back(failureOf(kConnectionError));
    }
    return target;
}

SoakLoad::Settings NetworkingSoak::ProxiedSettings()
{
    SoakLoad::Settings load;
    load.seed = ~settings.seed;
    load.inFlight = kProxiedInFlight;
    load.mayLackResponse = true;
    load.makeClient = [this] { return std::make_shared<LumAsynchronousSocksHttpClient>(logger, host.lend(proxy)); };
    load.targetOf = [this](std::uint64_t number, Dice& /*dice*/, bool /*followsRedirects*/) -> SoakLoad::Target {
        return {"http://host/" + std::to_string(number), makeProxiedPlan(settings.seed, number)};
    };
    return load;
}

/// What the host's client answers, or throws, on the request's worker.
FakeResponse NetworkingSoak::Answer(const FakeRequest& request) const
{
    const FaultPlan plan = makeProxiedPlan(settings.seed, numberOf(request.url));
    std::this_thread::sleep_for(plan.steps.front().pause);
    if (plan.hostFault == FaultPlan::HostFault::Throws) {
        throw ManagedThrow{exceptionOf("System.Net.Http.HttpRequestException", u"the proxy is hostile")};
    }
    FakeResponse response;
    response.httpCode = plan.status;
    response.headers = {{u"X-Number: " + toUtf16(std::to_string(plan.number)), u"no separator", u":"}};
    std::u16string body = toUtf16(plan.body);
    if (plan.hostFault == FaultPlan::HostFault::HalfCharacter) {
        body.back() = 0xD800;
    }
    response.body = body;
    return response;
}

} // namespace LumTests
