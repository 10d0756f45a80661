#include "HttpBenchmark.h"

#include "BurstProbe.h"
#include "LargeBodyProbe.h"
#include "LoadTally.h"
#include "MultiLoopClient.h"
#include "ThreadedEasyClient.h"
#include "UploadProbe.h"
#include "UploadSink.h"
#include "support/ProcessUsage.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>

namespace LumBench {

namespace {

using namespace std::chrono_literals;

constexpr const char* kChained = "chained";
constexpr const char* kSubmitted = "submitted";
constexpr const char* kMultiLoop = "curl multi loop";
constexpr const char* kThreads = "curl, thread per request";
constexpr const char* kCpprest = "cpprestsdk";
constexpr const char* kConnectionLimit = "limit";

constexpr const char* kUploadCase = "256 MiB upload";
constexpr const char* kBurstCase = "100,000 at once";

constexpr double kConnectionsPerRequestLimit = 0.001;
constexpr double kLargeBodyGoal = 0.95;

/// The time per request may be half as much again as that of a thousand at once.
constexpr double kBurstGoal = 1 / 1.5;
constexpr std::size_t kLargeBurst = 100000;
constexpr std::size_t kSmallBurst = 1000;
constexpr std::size_t kSmallBursts = 20;

constexpr double kMebibyte = 1024.0 * 1024.0;
constexpr double kMemoryLimit = HttpBenchmark::kLargeBody / kMebibyte + 8;

double chainedGoal(std::size_t concurrency)
{
    return concurrency <= 16 ? 0.95 : 0.90;
}

double submittedGoal(std::size_t concurrency)
{
    if (concurrency == 1) {
        return 0.70;
    }
    return concurrency <= 16 ? 0.78 : 0.85;
}

double largest(const std::vector<double>& values)
{
    return *std::max_element(values.begin(), values.end());
}

std::string bodyName(std::size_t size)
{
    return size == HttpBenchmark::kSmallBody ? "32 B" : "64 KiB";
}

} // namespace

HttpBenchmark::HttpBenchmark(BenchOptions newOptions, std::string newBaseUrl)
    : options(std::move(newOptions)), baseUrl(std::move(newBaseUrl)), serverStatus(baseUrl + "/status")
{
    auto chainedClient = std::make_unique<LibraryClient>(Submission::Chained);
    chained = chainedClient.get();
    participants.push_back({kChained, std::move(chainedClient)});
    participants.push_back({kMultiLoop, std::make_unique<MultiLoopClient>()});
    participants.push_back({kSubmitted, std::make_unique<LibraryClient>(Submission::Separate)});
    participants.push_back({kThreads, std::make_unique<ThreadedEasyClient>()});
    if (auto cpprest = MakeCpprestClient()) {
        participants.push_back({kCpprest, std::move(cpprest)});
    } else {
        std::cerr << "cpprestsdk was not there when this was built: it is left out\n";
    }
}

BenchReport HttpBenchmark::Run()
{
    BenchReport report("http");
    MeasureLoads(report);
    if (options.WantsCase("256 MiB")) {
        MeasureLargeBody(report);
    }
    if (options.WantsCase(kUploadCase)) {
        MeasureUpload(report);
    }
    if (options.WantsCase(kBurstCase)) {
        MeasureBurst(report);
    }
    return report;
}

double HttpBenchmark::LogRecordsPerRequest() const
{
    return chainedRequests > 0 ? static_cast<double>(chained->LogRecords()) / static_cast<double>(chainedRequests) : 0;
}

void HttpBenchmark::MeasureLoads(BenchReport& report)
{
    for (const std::size_t bodySize : {kSmallBody, kMediumBody}) {
        for (const std::size_t concurrency : {std::size_t{1}, std::size_t{16}, std::size_t{64}}) {
            MeasureLoad(report, bodySize, concurrency);
        }
    }
}

void HttpBenchmark::MeasureLoad(BenchReport& report, std::size_t bodySize, std::size_t concurrency)
{
    const std::string common = bodyName(bodySize) + " x" + std::to_string(concurrency) + " ";
    const bool wantsChained = options.WantsCase(common + kChained);
    const bool wantsSubmitted = options.WantsCase(common + kSubmitted);
    if (!wantsChained && !wantsSubmitted) {
        return;
    }
    std::vector<const Participant*> measuredOnes;
    for (const Participant& participant : participants) {
        const bool isOurs = participant.name == kChained || participant.name == kSubmitted;
        if (isOurs ? options.WantsCase(common + participant.name) : options.WantsPeer(participant.name)) {
            measuredOnes.push_back(&participant);
        }
    }

    Load load{baseUrl, "/" + std::to_string(bodySize), bodySize, concurrency, 100ms};
    for (const Participant* participant : measuredOnes) {
        Series warmUp;
        MeasureRound(*participant, load, warmUp);
    }
    load.duration = options.isQuick ? 150ms : 300ms;
    const int rounds = options.isQuick ? 3 : 9;
    std::cerr << common << "in flight: " << rounds << " rounds of " << measuredOnes.size() << " clients\n";
    SeriesByName measured;
    for (int round = 0; round < rounds; ++round) {
        for (const Participant* participant : measuredOnes) {
            MeasureRound(*participant, load, measured[participant->name]);
        }
        // The next round goes the other way: nobody is always the one after the heaviest.
        std::reverse(measuredOnes.begin(), measuredOnes.end());
    }
    if (wantsChained) {
        AddLoadRows(report, common + kChained, kChained, measured, chainedGoal(concurrency));
    }
    if (wantsSubmitted) {
        AddLoadRows(report, common + kSubmitted, kSubmitted, measured, submittedGoal(concurrency));
    }
}

void HttpBenchmark::MeasureRound(const Participant& participant, const Load& load, Series& series)
{
    const std::uint64_t connectionsBefore = serverStatus.AcceptedConnections();
    LoadTally tally(load);
    const double cpuBefore = ProcessUsage::CpuMicroseconds();
    const auto start = std::chrono::steady_clock::now();
    participant.client->Run(load, tally);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    const double cpu = ProcessUsage::CpuMicroseconds() - cpuBefore;
    if (tally.Failures() > 0) {
        throw std::runtime_error(participant.name + ": " + std::to_string(tally.Failures()) + " of " +
                                 std::to_string(tally.Requests()) + " requests for " + load.path + " failed");
    }
    const auto requests = static_cast<double>(tally.Requests());
    series.requestsPerSecond.push_back(requests / elapsed.count());
    series.cpuPerRequest.push_back(cpu / requests);
    const std::uint64_t connections = serverStatus.AcceptedConnections() - connectionsBefore;
    series.connectionsPerRequest.push_back(static_cast<double>(connections) / requests);
    series.requests += tally.Requests();
    series.connections += connections;
    if (participant.client.get() == chained) {
        chainedRequests += tally.Requests();
    }
}

void HttpBenchmark::AddLoadRows(BenchReport& report, const std::string& caseName, const std::string& ours,
                                const SeriesByName& measured, double goal) const
{
    const Series& own = measured.at(ours);
    for (const char* peer : {kMultiLoop, kThreads, kCpprest}) {
        const auto place = measured.find(peer);
        if (place == measured.end()) {
            continue;
        }
        const Series& other = place->second;
        const std::optional<double> peerGoal = peer == kMultiLoop ? std::optional<double>(goal) : std::nullopt;
        report.AddMoreIsBetter(caseName, peer, "requests/s", own.requestsPerSecond, other.requestsPerSecond, peerGoal);
        report.AddLessIsBetter(caseName, peer, "CPU us/request", own.cpuPerRequest, other.cpuPerRequest, std::nullopt);
    }
    report.AddLimit(caseName, kConnectionLimit, "connections/request",
                    static_cast<double>(own.connections) / static_cast<double>(own.requests), own.connectionsPerRequest,
                    kConnectionsPerRequestLimit);
}

void HttpBenchmark::MeasureLargeBody(BenchReport& report)
{
    using namespace LargeBodyProbe;
    const int rounds = options.isQuick ? 3 : 7;
    std::cerr << "256 MiB: " << rounds << " rounds of 3 clients\n";
    std::map<std::string, std::vector<double>> speeds;
    std::map<std::string, std::vector<double>> peaks;
    std::vector<const char*> clients{kOurs, kPlain, kReserving};
    for (int round = 0; round < rounds; ++round) {
        for (const char* client : clients) {
            const LargeBodyMeasurement result = Measure(client, baseUrl, "/" + std::to_string(kLargeBody), kLargeBody);
            speeds[client].push_back(kLargeBody / kMebibyte / result.seconds);
            peaks[client].push_back(result.peakBytes / kMebibyte);
        }
        std::reverse(clients.begin(), clients.end());
    }
    const char* const caseName = "256 MiB";
    report.AddMoreIsBetter(caseName, "curl", "MiB/s", speeds[kOurs], speeds[kPlain], kLargeBodyGoal);
    report.AddMoreIsBetter(caseName, "curl, length reserved", "MiB/s", speeds[kOurs], speeds[kReserving], std::nullopt);
    report.AddLimit(caseName, "body + 8 MiB", "peak MiB", largest(peaks[kOurs]), peaks[kOurs], kMemoryLimit);
    report.AddLessIsBetter(caseName, "curl", "peak MiB", peaks[kOurs], peaks[kPlain], std::nullopt);
    report.AddLessIsBetter(caseName, "curl, length reserved", "peak MiB", peaks[kOurs], peaks[kReserving],
                           std::nullopt);
}

/// The caller's body is copied once, as the caller may let it go when the operation returns. Curl reads it in its
/// place.
void HttpBenchmark::MeasureUpload(BenchReport& report) const
{
    using namespace UploadProbe;
    const int rounds = options.isQuick ? 3 : 7;
    std::cerr << kUploadCase << ": " << rounds << " rounds of 2 clients\n";
    const UploadSink sink;
    std::map<std::string, std::vector<double>> speeds;
    std::map<std::string, std::vector<double>> peaks;
    std::vector<const char*> clients{kOurs, kCurl};
    for (int round = 0; round < rounds; ++round) {
        for (const char* client : clients) {
            const UploadMeasurement result = Measure(client, sink.Url(), kLargeBody);
            speeds[client].push_back(kLargeBody / kMebibyte / result.seconds);
            peaks[client].push_back(result.peakBytes / kMebibyte);
        }
        std::reverse(clients.begin(), clients.end());
    }
    report.AddMoreIsBetter(kUploadCase, "curl", "MiB/s", speeds[kOurs], speeds[kCurl], kLargeBodyGoal);
    report.AddLimit(kUploadCase, "one copy + 8 MiB", "peak MiB", largest(peaks[kOurs]), peaks[kOurs], kMemoryLimit);
    report.AddLessIsBetter(kUploadCase, "curl, no copy", "peak MiB", peaks[kOurs], peaks[kCurl], std::nullopt);
}

/// What was given up counts with the time that it took until then, so that the goal is missed by far.
void HttpBenchmark::MeasureBurst(BenchReport& report) const
{
    const int rounds = options.isQuick ? 1 : 3;
    const std::string url = baseUrl + "/" + std::to_string(kSmallBody);
    std::vector<double> large;
    std::vector<double> small;
    bool isComplete = true;
    for (int round = 0; round < rounds && isComplete; ++round) {
        std::cerr << kBurstCase << ": round " << round + 1 << " of " << rounds << "\n";
        small.push_back(BurstProbe::Measure(url, kSmallBurst, kSmallBursts).MicrosecondsPerRequest());
        const BurstMeasurement result = BurstProbe::Measure(url, kLargeBurst, 1);
        large.push_back(result.MicrosecondsPerRequest());
        isComplete = result.succeeded == kLargeBurst;
        if (!isComplete) {
            std::cerr << kBurstCase << ": only " << result.succeeded << " succeeded within " << result.seconds
                      << " s\n";
        }
    }
    report.AddLessIsBetter(kBurstCase, "1,000 at once", "us/request", large, small, kBurstGoal);
}

} // namespace LumBench
