#include "Cases.h"
#include "Peers.h"
#include "Stopwatch.h"
#include "common/utils/LumMemoryUtils.h"
#include "common/utils/LumUuidUtils.h"

#include <algorithm>
#include <stdexcept>

namespace LumBench {

namespace {

constexpr double kNano = 1e9;

/// What the library does here is prescribed, so that the rows tell its price and have no goal.
void measure(const std::string& caseName, const std::vector<Contestant>& contestants, const BenchOptions& options,
             BenchReport& report)
{
    const std::vector<double> seconds = BestSeconds(contestants, options);
    for (std::size_t index = 1; index < contestants.size(); ++index) {
        report.AddLessIsBetter(caseName, contestants[index].name, "ns/call", seconds[0] * kNano, seconds[index] * kNano,
                               std::nullopt);
    }
}

void measureWipe(const std::string& caseName, std::size_t size, const BenchOptions& options, BenchReport& report)
{
    if (!options.WantsCase(caseName)) {
        return;
    }
    std::string memory(size, 'x');
    std::vector<Contestant> contestants{{"ours", [&] { LumUtils::secureZeroMemory(memory.data(), memory.size()); }}};
    for (const WipePeer& peer : AllPeers().wipe) {
        if (!options.WantsPeer(peer.name)) {
            continue;
        }
        std::fill(memory.begin(), memory.end(), 'x');
        peer.wipe(memory.data(), memory.size());
        if (memory != std::string(size, '\0')) {
            throw std::runtime_error(peer.name + " does not wipe");
        }
        contestants.push_back({peer.name, [&] { peer.wipe(memory.data(), memory.size()); }});
    }
    measure(caseName, contestants, options, report);
}

} // namespace

void MeasureUuid(const BenchOptions& options, BenchReport& report)
{
    constexpr const char* kCase = "generateUuid";
    if (!options.WantsCase(kCase)) {
        return;
    }
    std::vector<Contestant> contestants{{"ours", [] { Keep(LumUtils::generateUuid().data()); }}};
    for (const UuidPeer& peer : AllPeers().uuid) {
        if (!options.WantsPeer(peer.name)) {
            continue;
        }
        if (peer.generate().size() != LumUtils::generateUuid().size()) {
            throw std::runtime_error(peer.name + " has another form of UUID than the library");
        }
        contestants.push_back({peer.name, [&peer] { Keep(peer.generate().data()); }});
    }
    measure(kCase, contestants, options, report);
}

void MeasureWipe(const BenchOptions& options, BenchReport& report)
{
    measureWipe("wipe 64 B", 64, options, report);
    measureWipe("wipe 64 KiB", std::size_t{64} << 10U, options, report);
}

} // namespace LumBench
