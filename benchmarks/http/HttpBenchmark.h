#pragma once

#include "LibraryClient.h"
#include "ServerStatus.h"
#include "support/BenchOptions.h"
#include "support/BenchReport.h"

#include <map>
#include <vector>

namespace LumBench {

/// Measures the library's client beside others against the server at baseUrl. Rounds take turns, so that whatever else
/// the machine does meets all of them alike; each number is the median of its rounds.
class HttpBenchmark {
public:
    HttpBenchmark(BenchOptions newOptions, std::string newBaseUrl);

    static constexpr std::size_t kSmallBody = 32;
    static constexpr std::size_t kMediumBody = std::size_t{64} << 10U;
    static constexpr std::size_t kLargeBody = std::size_t{256} << 20U;

    /// Measures all that the options ask for. Throws std::runtime_error if a request failed.
    BenchReport Run();

    /// The log records that the library wrote per request.
    double LogRecordsPerRequest() const;

private:
    struct Participant {
        std::string name;
        std::unique_ptr<LoadClient> client;
    };

    /// What one participant did in the rounds of one case.
    struct Series {
        std::vector<double> requestsPerSecond;
        std::vector<double> cpuPerRequest;
        std::vector<double> connectionsPerRequest;
        std::uint64_t requests = 0;
        std::uint64_t connections = 0;
    };

    using SeriesByName = std::map<std::string, Series>;

    void MeasureLoads(BenchReport& report);
    void MeasureLoad(BenchReport& report, std::size_t bodySize, std::size_t concurrency);
    void MeasureRound(const Participant& participant, const Load& load, Series& series);
    void AddLoadRows(BenchReport& report, const std::string& caseName, const std::string& ours,
                     const SeriesByName& measured, double goal) const;
    void MeasureLargeBody(BenchReport& report);
    void MeasureUpload(BenchReport& report) const;
    void MeasureBurst(BenchReport& report) const;

    BenchOptions options;
    std::string baseUrl;
    ServerStatus serverStatus;
    std::vector<Participant> participants;
    const LibraryClient* chained = nullptr;
    std::uint64_t chainedRequests = 0;
};

} // namespace LumBench
