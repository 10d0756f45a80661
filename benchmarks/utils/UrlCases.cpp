#include "Cases.h"
#include "Peers.h"
#include "Stopwatch.h"
#include "common/networking/UrlComponents.h"

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

void measure(const std::string& caseName, std::vector<Contestant> contestants, const BenchOptions& options,
             BenchReport& report)
{
    if (!options.WantsCase(caseName)) {
        return;
    }
    const std::vector<double> seconds = BestSeconds(contestants, options);
    for (std::size_t index = 1; index < contestants.size(); ++index) {
        report.AddLessIsBetter(caseName, contestants[index].name, "ns/call", seconds[0] * kNano, seconds[index] * kNano,
                               kGoal);
    }
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
    measure("ParseUrl", std::move(parsers), options, report);
    measure("GetUrl", std::move(printers), options, report);
}

} // namespace LumBench
