#include "Cases.h"
#include "Peers.h"
#include "Stopwatch.h"
#include "common/networking/UrlComponents.h"

#include <optional>
#include <stdexcept>

namespace LumBench {

namespace {

using LumNetworking::ParseUrl;
using LumNetworking::UrlComponents;
using LumNetworking::UrlParseStatus;

/// 95 characters, in an order that printing keeps.
const std::string kUrl =
    "https://api.example.com:8443/clients/v2/list?cursor=eyJpZCI6NDJ9&folder=Team%20Reports&limit=50";

constexpr double kGoal = 2;
constexpr double kNano = 1e9;

UrlComponents parsed()
{
    UrlComponents components;
    if (ParseUrl(kUrl, components) != UrlParseStatus::Parsed || components.GetUrl() != kUrl) {
        throw std::runtime_error("the URL does not come back from the library");
    }
    return components;
}

/// The last contestant is the limit, and no goal.
void measure(const std::string& caseName, std::vector<Contestant> contestants, const BenchOptions& options,
             BenchReport& report)
{
    if (!options.WantsCase(caseName)) {
        return;
    }
    const std::vector<double> seconds = BestSeconds(contestants, options);
    for (std::size_t index = 1; index < contestants.size(); ++index) {
        const bool isLimit = index + 1 == contestants.size();
        report.AddLessIsBetter(caseName, contestants[index].name, "ns/call", seconds[0] * kNano, seconds[index] * kNano,
                               isLimit ? std::nullopt : std::optional(kGoal));
    }
}

/// What parsing leaves behind, without any reading.
void fillIn(const UrlComponents& finished)
{
    UrlComponents components;
    components.host = finished.host;
    components.path = finished.path;
    auto& parameters = components.queryParameters;
    for (const auto& [key, value] : finished.queryParameters) {
        parameters.emplace_hint(parameters.end(), key, value);
    }
    Keep(&components);
}

} // namespace

void MeasureUrls(const BenchOptions& options, BenchReport& report)
{
    const UrlComponents components = parsed();
    std::vector<Contestant> parsers{{"ours", [] {
                                         UrlComponents out;
                                         ParseUrl(kUrl, out);
                                         Keep(&out);
                                     }}};
    std::vector<Contestant> printers{{"ours", [&] { Keep(components.GetUrl().data()); }}};
    for (const UrlPeer& peer : AllPeers().url) {
        if (!options.WantsPeer(peer.name)) {
            continue;
        }
        if (!peer.parse(kUrl) || !peer.open(kUrl) || (peer.print && peer.print() != kUrl.size())) {
            throw std::runtime_error("the URL does not come back from " + peer.name);
        }
        parsers.push_back({peer.name, [&peer] { peer.parse(kUrl); }});
        if (peer.print) {
            printers.push_back({peer.name, [&peer] { peer.print(); }});
        }
    }
    parsers.push_back({"filling in what is known, the limit", [&] { fillIn(components); }});
    printers.push_back({"a copy of the finished text, the limit", [] { Keep(std::string(kUrl).data()); }});
    measure("ParseUrl", std::move(parsers), options, report);
    measure("GetUrl", std::move(printers), options, report);
}

} // namespace LumBench
