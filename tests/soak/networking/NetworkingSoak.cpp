#include "soak/networking/NetworkingSoak.h"

#include "Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.h"
#include "Windows/networking/WinHttpClientAsync.h"
#include "common/networking/LumNetworkingError.h"
#include "soak/networking/HostileServer.h"
#include "support/RequestRecorder.h"

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
constexpr std::uint64_t kDirectInFlight = 300;
constexpr std::uint64_t kProxiedInFlight = 40;
#else
constexpr bool kHasSanitizer = false;
constexpr std::uint64_t kDirectInFlight = 3000;
constexpr std::uint64_t kProxiedInFlight = 300;
#endif

/// The transport keeps so many threads while it has nothing to do, and frees the others after some seconds.
constexpr std::size_t kRestingThreads = 3;
constexpr std::chrono::seconds kLongestRest{20};

/// Buffers of the transfers that are kept for reuse, 64 of them, which get them with their first uploads; and what the
/// allocator cannot give back.
constexpr std::size_t kHeapSlack = std::size_t{8} << 20U;
constexpr std::size_t kResidentSlack = std::size_t{36} << 20U;

/// One request in so many asks for TLS, for which the system's certificates are read.
constexpr std::uint64_t kSecureOnes = 500;

constexpr std::size_t kMostSamples = 600;

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

std::vector<std::string> wordsOf(const std::string& line)
{
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

/// Makes the transport start its threads, and look after connections that have ended.
void askClosedServer(const std::string& port)
{
    WinHttpClientAsync client(nullptr);
    const RequestRecorder recorder;
    client.Get("http://127.0.0.1:" + port + "/0", {}, recorder.Completion(), true, 30);
    recorder.WaitForRelease();
}

} // namespace

NetworkingSoak::NetworkingSoak(Settings newSettings) : settings(std::move(newSettings))
{
    proxy->keepsRequests = false;
    proxy->onSend = [this](const FakeRequest& request) { return Answer(request); };
}

bool NetworkingSoak::Run()
{
    // Nobody listens there.
    askClosedServer("1");
    start = takeSample(true);
    server = std::make_unique<ChildProgram>(settings.program,
                                            std::vector<std::string>{"server", std::to_string(settings.seed)});
    ports = wordsOf(server->readLine());
    if (ports.empty()) {
        throw std::runtime_error("the hostile server did not start");
    }
    direct = std::make_unique<SoakLoad>(DirectSettings());
    proxied = std::make_unique<SoakLoad>(ProxiedSettings());
    const milliseconds duration = settings.duration;
    const milliseconds interval = std::max(milliseconds(50), duration / static_cast<int>(kMostSamples));
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

/// Takes the connections that are kept for reuse away with the server, and waits for threads that rest.
void NetworkingSoak::WaitForRest() const
{
    // The transport looks after its connections once a second, with the next request.
    std::this_thread::sleep_for(milliseconds(1100));
    askClosedServer(ports.front());
    waitUntil([this] { return takeSample(false).threads < start.threads + kRestingThreads; }, kLongestRest);
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
    PrintResources();
    Judge();
    if (!settings.picture.empty()) {
        Draw();
    }
}

void NetworkingSoak::PrintFaults()
{
    std::uint64_t sum = 0;
    std::ostringstream rows;
    server->closeInput();
    for (std::string line = server->readLine(); !line.empty(); line = server->readLine()) {
        const std::size_t space = line.find(' ');
        const std::uint64_t count = std::stoull(line.substr(0, space));
        sum += count;
        rows << "  " << std::left << std::setw(24) << line.substr(space + 1) << std::right << std::setw(10) << count
             << '\n';
    }
    std::cout << "what the server did: " << sum << '\n' << rows.str();
    Holds(server->wait() == 0, "the server lived to the end");
    server.reset();
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
    std::cout << "  (the end is held against the start, but of memory, of which caches keep some, against the end of "
                 "round 1,\n"
                 "  which is the first quarter of the time)\n"
              << "  managed handles: " << host.allocatedHandles() << " lent, " << host.nativeHandles() << " left\n"
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
    Holds(end.descriptors <= start.descriptors, "no descriptor is left");
    Holds(end.threads < start.threads + kRestingThreads, "no thread is left");
    Holds(end.winHttpHandles == 0, "no WinHTTP handle is left");
    Holds(host.nativeHandles() == 0, "no managed handle is left");
    Holds(logger->Leaks() == 0, "no secret was logged");
    if (!kHasSanitizer) {
        Holds(end.heapBytes <= warm.heapBytes + kHeapSlack,
              "the heap is back to where it was after the first round, within 8 MiB");
        Holds(end.residentBytes <= warm.residentBytes + kResidentSlack,
              "the resident memory is back to where it was after the first round, within 36 MiB");
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
    const std::size_t port = dice.Below(ports.size());
    SoakLoad::Target target = {std::string(isSecure ? "https" : "http") + "://127.0.0.1:" + ports[port] + "/" +
                                   std::to_string(number),
                               makeExpectation(settings.seed, number, followsRedirects)};
    FaultPlan& expected = target.expected;
    if (isSecure) {
        expected.verdict = FaultPlan::Verdict::Broken;
        expected.failures = {failureOf(kSecureChannelError)};
    }
    if (HostileServer::KindOf(port) != HostileServer::PortKind::Steady) {
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
    if (plan.verdict == FaultPlan::Verdict::Broken && plan.number % 2 == 0) {
        throw ManagedThrow{exceptionOf("System.Net.Http.HttpRequestException", u"the proxy is hostile")};
    }
    FakeResponse response;
    response.httpCode = plan.status;
    response.headers = {{u"X-Number: " + toUtf16(std::to_string(plan.number)), u"no separator", u":"}};
    // Half a character cannot be taken over as UTF-8.
    const char16_t half[] = {0xD800, 0};
    response.body = toUtf16(plan.body) + (plan.verdict == FaultPlan::Verdict::Broken ? half : u"");
    return response;
}

} // namespace LumTests
