#include "Cases.h"
#include "Peers.h"
#include "Stopwatch.h"
#include "common/utils/LumBase64.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <stdexcept>

namespace LumBench {

namespace {

constexpr double kGiga = 1e9;
constexpr std::size_t kSmall = 48;

struct Size {
    const char* name;
    std::size_t bytes; // a multiple of three: no peer's padding counts
};

constexpr Size kSizes[] = {
    {"48 B", kSmall}, {"1 KiB", 1023}, {"64 KiB", 65535}, {"16 MiB", (std::size_t{16} << 20U) - 1}};

std::string randomBytes(std::size_t count)
{
    std::mt19937 random(1);
    std::string bytes(count, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random() % 256); });
    return bytes;
}

/// The library has to be ahead of OpenSSL by as much, and of nobody behind for a few bytes.
std::optional<double> goal(const std::string& peer, const Size& size)
{
    constexpr double kManyTimes = 5;
    if (size.bytes == kSmall) {
        return 1;
    }
    return peer == "OpenSSL" ? std::optional<double>(kManyTimes) : std::nullopt;
}

void addRows(const std::string& caseName, const Size& size, const std::vector<Contestant>& contestants,
             const std::vector<double>& seconds, BenchReport& report)
{
    const auto speed = [&](std::size_t index) { return static_cast<double>(size.bytes) / seconds[index] / kGiga; };
    for (std::size_t index = 1; index < contestants.size(); ++index) {
        const std::string& peer = contestants[index].name;
        const bool isLimit = index + 1 == contestants.size();
        report.AddMoreIsBetter(caseName, peer, "GB/s", speed(0), speed(index),
                               isLimit ? std::nullopt : goal(peer, size));
    }
}

void expectSame(const std::string& peer, const std::string& ours, const char* theirs, std::size_t length)
{
    if (std::string_view(theirs, length) != ours) {
        throw std::runtime_error(peer + " has another result of base64 than the library");
    }
}

template <typename Call>
void measure(const std::string& caseName, const Size& size, const std::string& input, const std::string& output,
             std::string (*ours)(const std::string&), Call Base64Peer::*theirs, const BenchOptions& options,
             BenchReport& report)
{
    if (!options.WantsCase(caseName)) {
        return;
    }
    std::string room(std::max(input.size(), output.size()) + 64, '\0');
    std::vector<Contestant> contestants{{"ours", [&] { Keep(ours(input).data()); }}};
    for (const Base64Peer& peer : AllPeers().base64) {
        if (options.WantsPeer(peer.name)) {
            expectSame(peer.name, output, room.data(), (peer.*theirs)(input, room.data()));
            contestants.push_back({peer.name, [&] {
                                       (peer.*theirs)(input, room.data());
                                       Keep(room.data());
                                   }});
        }
    }
    contestants.push_back({"memcpy, the limit", [&] {
                               std::memcpy(room.data(), input.data(), input.size());
                               Keep(room.data());
                           }});
    addRows(caseName, size, contestants, BestSeconds(contestants, options), report);
}

} // namespace

void MeasureBase64(const BenchOptions& options, BenchReport& report)
{
    for (const Size& size : kSizes) {
        const std::string bytes = randomBytes(size.bytes);
        const std::string text = LumUtils::base64Encode(bytes);
        const auto encode = [](const std::string& input) { return LumUtils::base64Encode(input); };
        const auto decode = [](const std::string& input) { return LumUtils::base64Decode(input); };
        measure(std::string("base64 encode ") + size.name, size, bytes, text, encode, &Base64Peer::encode, options,
                report);
        measure(std::string("base64 decode ") + size.name, size, text, bytes, decode, &Base64Peer::decode, options,
                report);
    }
}

} // namespace LumBench
